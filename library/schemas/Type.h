#pragma once

#include <array>
#include <cstdint>
#include <cstring>
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
[[nodiscard]] inline std::optional<Type> typeFromRawValue(std::string_view text) noexcept {
    // Comparing a length known when compiling takes a word or two instead of a call.
    const auto spells = [text]<std::size_t size>(const char(&word)[size]) {
        return std::memcmp(text.data(), word, size - 1) == 0;
    };
    switch (text.size()) {
        case 4:
            if (spells("null")) return Type::Null;
            break;
        case 5:
            if (spells("array")) return Type::Array;
            break;
        case 6:
            if (spells("string")) return Type::String;
            if (spells("number")) return Type::Number;
            if (spells("object")) return Type::Object;
            break;
        case 7:
            if (spells("integer")) return Type::Integer;
            if (spells("boolean")) return Type::Boolean;
            break;
        default:
            break;
    }
    return std::nullopt;
}

}  // namespace zentara
