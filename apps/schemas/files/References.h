#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "json/JSONValue.h"

namespace zentara::schemas {

/// Where a "$ref" leads.
struct ReferenceTarget {
    const JSONObject* schema;
    std::string pointer;  ///< of the nearest value around it if it is long (`mayExtend`)
    std::string name;     ///< the last component
};

/// As the engine follows references; nothing for one that leads nowhere or to another document.
[[nodiscard]] std::optional<ReferenceTarget> referenceTarget(const JSONObject& document,
                                                             std::string_view reference);

}  // namespace zentara::schemas
