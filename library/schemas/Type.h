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
    for (std::size_t i = 0; i < detail::typeRawValues.size(); ++i) {
        if (detail::typeRawValues[i] == text) return static_cast<Type>(i);
    }
    return std::nullopt;
}

}  // namespace zentara
