#pragma once

#include <concepts>
#include <cstddef>
#include <span>
#include <string>
#include <string_view>

namespace zentara::collector {

/// `text` if it is UTF-8. Other text, which header fields may hold, is read as Latin-1.
[[nodiscard]] std::string inUTF8(std::string_view text);

/// The first `most` bytes of `text`, without a part of a character.
[[nodiscard]] std::string_view beginningOf(std::string_view text, std::size_t most);

// Members of an object that is written as text, for records that contain JSON texts. The names need
// no escapes.

/// The caller appends the value.
void appendMember(std::string& json, std::string_view name);
void appendMember(std::string& json, std::string_view name, std::string_view text);
/// `value` is JSON.
void appendRaw(std::string& json, std::string_view name, std::string_view value);

void appendMember(std::string& json, std::string_view name, std::integral auto number) {
    appendRaw(json, name, std::to_string(number));
}

/// Appends a list of JSON texts.
void appendJSONList(std::string& text, std::span<const std::string> elements);

}  // namespace zentara::collector
