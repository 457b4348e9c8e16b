#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string_view>

namespace zentara {

/// The primitive types of JSON Schema.
enum class Type : std::uint8_t { Object, Array, String, Integer, Number, Boolean, Null };

namespace detail {
inline constexpr std::array<std::string_view, 7> typeRawValues = {
    "object", "array", "string", "integer", "number", "boolean", "null"};
}

/// The name of the type in a schema, for example "object".
[[nodiscard]] constexpr std::string_view rawValue(Type type) noexcept {
    return detail::typeRawValues[static_cast<std::size_t>(type)];
}

/// The type of that name, letter by letter; nothing for any other text.
[[nodiscard]] constexpr std::optional<Type> typeFromRawValue(std::string_view text) noexcept {
    // The first letter and the length leave one candidate.
    if (text.size() < 4) return std::nullopt;
    Type candidate = Type::Object;
    switch (text.front()) {
        case 'o':
            break;
        case 'a':
            candidate = Type::Array;
            break;
        case 's':
            candidate = Type::String;
            break;
        case 'i':
            candidate = Type::Integer;
            break;
        case 'b':
            candidate = Type::Boolean;
            break;
        case 'n':
            candidate = text.size() == 4 ? Type::Null : Type::Number;
            break;
        default:
            return std::nullopt;
    }
    if (rawValue(candidate) != text) return std::nullopt;
    return candidate;
}

}  // namespace zentara
