#include "platform/Unicode.h"

#include <simdjson.h>
#include <unicode/utf8.h>

#include <cstdint>

namespace zentara {

bool isValidUTF8(std::string_view text) noexcept {
    // Names and values are mostly a few letters, which are seen sooner than the validator is
    // called.
    constexpr std::size_t few = 32;
    if (text.size() <= few) {
        unsigned char bits = 0;
        for (const char c : text)
            bits |= static_cast<unsigned char>(c);
        if (bits < 0x80) return true;
    }
    return simdjson::validate_utf8(text.data(), text.size());
}

std::string repairedUTF8(std::string_view text) {
    std::string repaired;
    repaired.reserve(text.size() + 8);
    const auto* const source = reinterpret_cast<const std::uint8_t*>(text.data());
    const auto length = static_cast<std::int64_t>(text.size());
    for (std::int64_t next = 0; next < length;) {
        UChar32 character = 0;
        U8_NEXT_OR_FFFD(source, next, length, character);
        std::uint8_t bytes[U8_MAX_LENGTH];
        std::size_t count = 0;
        U8_APPEND_UNSAFE(bytes, count, static_cast<std::uint32_t>(character));
        repaired.append(reinterpret_cast<const char*>(bytes), count);
    }
    return repaired;
}

}  // namespace zentara
