#pragma once

#include <zentara/JSONValue.h>

#include <span>
#include <string>
#include <string_view>
#include <type_traits>

namespace zentara::collector {

/// Whether a number in `value`, however deep, is beyond what a double holds. JSON has no text for
/// it; `jsonText` writes null.
[[nodiscard]] bool holdsInfinity(const JSONValue& value);

/// Appends `string` as a quoted JSON string. Text that is not UTF-8, which header fields may hold,
/// is read as Latin-1, so that what is written is JSON in any case.
void appendJSONString(std::string& text, std::string_view string);

// Members of an object whose text is being written. The names need no escapes.

void appendMember(std::string& json, std::string_view name);  ///< the value is for the caller
void appendMember(std::string& json, std::string_view name, std::string_view text);
/// `value` is JSON already.
void appendRaw(std::string& json, std::string_view name, std::string_view value);

template <typename Number>
requires std::is_integral_v<Number>
void appendMember(std::string& json, std::string_view name, Number number) {
    appendRaw(json, name, std::to_string(number));
}

/// Appends a list of what is JSON text already.
void appendJSONList(std::string& text, std::span<const std::string> elements);

}  // namespace zentara::collector
