#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "json/JSONParser.h"

namespace zentara {

/// How deep the properties of an event may be nested. The event lies three levels deep: in the
/// envelope, its list of actions, the action.
inline constexpr std::size_t maximumPropertiesDepth = maximumJSONDepth - 3;

/// Appends the compact text of `value`: UTF-8, "/" not escaped, doubles as `appendDouble` writes
/// them so that they read back as doubles. Returns false, with `text` as it was, when JSON cannot
/// hold the value: NaN, an infinity, or a nesting deeper than `depth`.
[[nodiscard]] bool appendJSON(std::string& text, const JSONValue& value,
                              std::size_t depth = maximumJSONDepth);
[[nodiscard]] bool appendJSON(std::string& text, const JSONObject& object,
                              std::size_t depth = maximumJSONDepth);

/// Appends a JSON string literal.
void appendJSONString(std::string& text, std::string_view value);

/// Appends the shortest text that reads back as `number`: decimal with at least one fractional
/// digit ("5.0") while 0.0001 <= |number| <= 2^53 or for zero, exponential ("1e+16", "1e-05")
/// otherwise; "nan", "inf" and "-inf" for what is not finite.
void appendDouble(std::string& text, double number);

}  // namespace zentara
