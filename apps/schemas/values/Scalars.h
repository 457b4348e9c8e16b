#pragma once

#include <string>
#include <string_view>

#include "schemas/values/Random.h"
#include "schemas/values/SchemaIndex.h"

namespace zentara::schemas {

/// What a number or text is drawn for.
struct ScalarDemands {
    const SchemaIndex& index;
    const JointSchemas& all;
    std::string_view name;  ///< of the property
    bool isPleasant;
};

/// An integer if `kinds` has no fractions, a double if it has no integers.
[[nodiscard]] JSONValue drawNumber(const ScalarDemands& demands, unsigned kinds, Random& random);

[[nodiscard]] std::string drawText(const ScalarDemands& demands, Random& random);

}  // namespace zentara::schemas
