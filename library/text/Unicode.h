#pragma once

#include <array>
#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

#include "support/WorkLimits.h"

namespace zentara {

/// Whether `text` is well-formed UTF-8.
[[nodiscard]] bool isValidUTF8(std::string_view text) noexcept;

/// `text` with each maximal ill-formed sequence replaced by U+FFFD.
[[nodiscard]] std::string repairedUTF8(std::string_view text);

/// Whether `text` is ASCII without the control characters below U+000E. Each byte is then a
/// character, and none is a line terminator.
[[nodiscard]] bool isPlainASCII(std::string_view text) noexcept;

/// The number of user-perceived characters (extended grapheme clusters) in UTF-8 text: a family
/// emoji counts 1, CR LF counts 1. An ill-formed sequence counts as U+FFFD. What counting costs is
/// taken from `allowance`.
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
    std::array<char16_t, 256> few_;  // not initialised: that would cost more than most texts
    std::unique_ptr<char16_t[]> many_;
    std::size_t size_ = 0;
};

}  // namespace zentara
