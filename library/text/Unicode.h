#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>

#include "support/WorkLimits.h"

namespace zentara {

/// Whether `text` is well-formed UTF-8.
[[nodiscard]] bool isValidUTF8(std::string_view text) noexcept;

/// `text` with each maximal ill-formed sequence replaced by U+FFFD.
[[nodiscard]] std::string withValidUTF8(std::string text);

/// The length of the words of eight bytes at the start of `text` that `passes` accepts. The last
/// word overlaps the previous word, and a short text is padded with spaces: examining the last
/// bytes singly would take most of the time, since most texts are short.
template <typename Predicate>
[[nodiscard]] std::size_t lengthOfWords(std::string_view text, const Predicate& passes) noexcept {
    const auto* const bytes = text.data();
    const auto size = text.size();
    const auto wordAt = [bytes]<typename Word>(Word word, std::size_t position) {
        std::memcpy(&word, bytes + position, sizeof word);
        return std::uint64_t{word};
    };
    const auto byteAt = [bytes](std::size_t position) {
        return std::uint64_t{static_cast<unsigned char>(bytes[position])};
    };
    constexpr std::uint64_t spaces = 0x2020202020202020U;
    auto last = spaces;
    if (size >= 8) {
        for (std::size_t length = 0; length + 8 <= size; length += 8)
            if (!passes(wordAt(std::uint64_t{}, length))) return length;
        last = wordAt(std::uint64_t{}, size - 8);
    } else if (size >= 4) {
        last = wordAt(std::uint32_t{}, 0) | wordAt(std::uint32_t{}, size - 4) << 32U;
    } else if (size > 0) {
        last = spaces << 24U | byteAt(0) << 16U | byteAt(size / 2) << 8U | byteAt(size - 1);
    }
    return passes(last) ? size : size & ~std::size_t{7};
}

/// Whether `text` is ASCII without the control characters below U+000E. Each byte is then a
/// character, and none is a line terminator.
[[nodiscard]] bool isPlainASCII(std::string_view text) noexcept;

/// The number of user-perceived characters (extended grapheme clusters) in UTF-8 text: a family
/// emoji counts 1, CR LF counts 1. An ill-formed sequence counts as U+FFFD. Counting takes from
/// `allowance`.
[[nodiscard]] std::size_t characterCount(std::string_view text, WorkAllowance* allowance = nullptr);

/// The first units of UTF-8 text as UTF-16, on the stack when they are few. Ill-formed sequences
/// become U+FFFD; a surrogate pair that the limit cuts leaves its first half.
class UTF16Text {
  public:
    UTF16Text(std::string_view text, std::size_t limit);

    UTF16Text(const UTF16Text&) = delete;
    UTF16Text& operator=(const UTF16Text&) = delete;

    [[nodiscard]] const char16_t* data() const noexcept {
        return many_ ? many_.get() : few_.data();
    }
    [[nodiscard]] std::size_t size() const noexcept { return size_; }

  private:
    std::array<char16_t, 256> few_;  // not initialised, which would take longer than most texts
    std::unique_ptr<char16_t[]> many_;
    std::size_t size_ = 0;
};

}  // namespace zentara
