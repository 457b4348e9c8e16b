#include "text/Unicode.h"

#include <unicode/utf8.h>

#include <cstdint>
#include <cstring>

namespace zentara {

namespace {

template <typename Word>
std::uint64_t highBitsAt(const char* bytes) noexcept {
    Word word = 0;
    std::memcpy(&word, bytes, sizeof(word));
    return word & std::uint64_t{0x8080808080808080};
}

/// How many bytes at the start of `text` are surely ASCII, looked at by eights. The last word may
/// overlap the one before: most strings are short, and their ends took most of the time.
std::size_t asciiLength(std::string_view text) noexcept {
    constexpr std::size_t whole = sizeof(std::uint64_t);
    constexpr std::size_t half = sizeof(std::uint32_t);
    const auto* const end = text.data() + text.size();
    if (text.size() < whole) {
        const bool isASCII = text.size() >= half && (highBitsAt<std::uint32_t>(text.data()) |
                                                     highBitsAt<std::uint32_t>(end - half)) == 0;
        return isASCII ? text.size() : 0;
    }
    std::size_t length = 0;
    for (; length + whole <= text.size(); length += whole) {
        if (highBitsAt<std::uint64_t>(text.data() + length) != 0) return length;
    }
    return highBitsAt<std::uint64_t>(end - whole) == 0 ? text.size() : length;
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
