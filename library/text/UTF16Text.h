#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string_view>

#include <unicode/utf16.h>
#include <unicode/utf8.h>

namespace zentara {

/// Whether `text` holds ASCII only.
[[nodiscard]] inline bool isASCII(std::string_view text) noexcept {
    constexpr std::uint64_t highBits = 0x8080808080808080U;
    std::uint64_t seen = 0;
    std::size_t i = 0;
    for (; i + sizeof(std::uint64_t) <= text.size(); i += sizeof(std::uint64_t)) {
        std::uint64_t word = 0;
        std::memcpy(&word, text.data() + i, sizeof word);
        seen |= word;
    }
    for (; i < text.size(); ++i)
        seen |= static_cast<unsigned char>(text[i]);
    return (seen & highBits) == 0;
}

/// The first units of UTF-8 text as UTF-16, on the stack when they are few. Ill-formed sequences
/// become U+FFFD; a surrogate pair that the limit cuts leaves its first half.
class UTF16Text {
  public:
    UTF16Text(std::string_view text, std::size_t limit) {
        // UTF-16 never takes more units than UTF-8 takes bytes; the spare one is for a cut pair.
        const std::size_t capacity = std::min(text.size(), limit) + 1;
        if (capacity > few_.size()) many_.reset(new char16_t[capacity]);
        char16_t* const units = many_ ? many_.get() : few_.data();
        if (isASCII(text)) {
            size_ = capacity - 1;
            for (std::size_t i = 0; i < size_; ++i) {
                units[i] = static_cast<unsigned char>(text[i]);
            }
            return;
        }
        const auto* const bytes = reinterpret_cast<const std::uint8_t*>(text.data());
        const auto length = static_cast<std::int64_t>(text.size());
        for (std::int64_t next = 0; next < length && size_ < limit;) {
            UChar32 character = 0;
            U8_NEXT_OR_FFFD(bytes, next, length, character);
            U16_APPEND_UNSAFE(units, size_, character);
        }
        size_ = std::min(size_, limit);
    }

    UTF16Text(const UTF16Text&) = delete;
    UTF16Text& operator=(const UTF16Text&) = delete;

    [[nodiscard]] const char16_t* data() const noexcept {
        return many_ ? many_.get() : few_.data();
    }
    [[nodiscard]] std::size_t size() const noexcept { return size_; }

  private:
    std::array<char16_t, 256> few_;  // left as it is: clearing would cost more than most texts
    std::unique_ptr<char16_t[]> many_;
    std::size_t size_ = 0;
};

}  // namespace zentara
