#pragma once

#include <string>
#include <string_view>
#include <vector>

#include <zentara/JSONValue.h>

namespace zentara::bench {

/// A realistic schema, with properties that fit it and properties that do not.
struct Sample {
    std::string name;
    JSONObject schema;
    JSONObject plainSchema;  ///< the same without its patterns and formats
    JSONValue valid;
    JSONValue invalid;
    std::string validText;  ///< compact
};

/// Six samples, of 5 to 25 properties.
[[nodiscard]] const std::vector<Sample>& samples();

/// Six others, of 5 to 25 properties, with more patterns and formats.
[[nodiscard]] const std::vector<Sample>& otherSamples();

/// The first sample of 20 properties.
[[nodiscard]] const Sample& twentyProperties();

}  // namespace zentara::bench
