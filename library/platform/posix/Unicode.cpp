#include "platform/Unicode.h"

#include <unicode/utf8.h>

#include <cstdint>
#include <cstring>

namespace zentara {

namespace {

/// How many bytes at the start of `text` are surely ASCII, looked at by eights.
std::size_t asciiLength(std::string_view text) noexcept {
    constexpr std::uint64_t highBits = 0x8080808080808080;
    std::size_t length = 0;
    for (std::uint64_t word = 0; length + sizeof(word) <= text.size(); length += sizeof(word)) {
        std::memcpy(&word, text.data() + length, sizeof(word));
        if ((word & highBits) != 0) break;
    }
    return length;
}

}  // namespace

// Not simdjson's, which is faster on long text that is not ASCII, but destroyed at exit: workers
// and a host's own threads may still send then.
bool isValidUTF8(std::string_view text) noexcept {
    const auto* const source = reinterpret_cast<const std::uint8_t*>(text.data());
    const std::size_t length = text.size();
    for (std::size_t next = asciiLength(text); next < length;) {
        UChar32 character = 0;
        U8_NEXT(source, next, length, character);
        if (character < 0) return false;
        if (character >= 0x80) continue;
        next += asciiLength(text.substr(next));
    }
    return true;
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
