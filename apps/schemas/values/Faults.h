#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>
#include <vector>

#include "json/JSONValue.h"
#include "schemas/values/Drawing.h"
#include "schemas/values/Random.h"
#include "schemas/values/SchemaIndex.h"

namespace zentara::schemas {

/// Breaks valid values, each time another keyword of the schema.
class Faults {
  public:
    explicit Faults(const SchemaIndex& index) : index_(index) {}

    /// The value with one fault, and the message of the engine; nothing when none of the keywords
    /// tried gave exactly one message. `kinds`: what the whole may be.
    [[nodiscard]] std::optional<std::pair<JSONValue, std::string>> breakOne(const Drawn& drawn,
                                                                            unsigned kinds,
                                                                            Random& random);

  private:
    /// A keyword of a schema, and the name that it is about if it lists names.
    using Requirement = std::tuple<const JSONObject*, std::string_view, std::string_view>;
    struct Target {
        std::size_t place;
        Requirement requirement;
        std::size_t tries;
    };

    std::vector<Target> targets(const Drawn& drawn, unsigned kinds) const;

    const SchemaIndex& index_;
    std::map<Requirement, std::size_t> tries_;
};

}  // namespace zentara::schemas
