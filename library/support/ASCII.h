#pragma once

#include <algorithm>
#include <optional>
#include <string>
#include <string_view>

namespace zentara {

// Characters and texts in ASCII, whatever the locale of the host.

[[nodiscard]] constexpr bool isDigit(char character) noexcept {
    return character >= '0' && character <= '9';
}

[[nodiscard]] constexpr char lowerCase(char character) noexcept {
    return character >= 'A' && character <= 'Z' ? static_cast<char>(character - 'A' + 'a')
                                                : character;
}

[[nodiscard]] constexpr bool isLetter(char character) noexcept {
    return lowerCase(character) >= 'a' && lowerCase(character) <= 'z';
}

/// The value of a hexadecimal digit; -1 for any other character.
[[nodiscard]] constexpr int hexDigitValue(char character) noexcept {
    if (isDigit(character)) return character - '0';
    const char letter = lowerCase(character);
    return letter >= 'a' && letter <= 'f' ? letter - 'a' + 10 : -1;
}

[[nodiscard]] inline std::string lowerCase(std::string text) {
    for (char& character : text)
        character = lowerCase(character);
    return text;
}

[[nodiscard]] inline bool equalsIgnoringCase(std::string_view one, std::string_view other) {
    return std::equal(one.begin(), one.end(), other.begin(), other.end(),
                      [](char a, char b) { return lowerCase(a) == lowerCase(b); });
}

/// The text with each `%XX` replaced by its byte; nothing when an escape is not whole.
[[nodiscard]] inline std::optional<std::string> percentDecoded(std::string_view text) {
    std::string decoded;
    decoded.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '%') {
            decoded += text[i];
            continue;
        }
        if (text.size() - i < 3) return std::nullopt;
        const int high = hexDigitValue(text[i + 1]);
        const int low = hexDigitValue(text[i + 2]);
        if (high < 0 || low < 0) return std::nullopt;
        decoded += static_cast<char>(high * 16 + low);
        i += 2;
    }
    return decoded;
}

}  // namespace zentara
