#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "text/Unicode.h"

namespace zentara {

[[nodiscard]] inline bool isOneOf(char c, std::string_view characters) noexcept {
    return characters.find(c) != std::string_view::npos;
}

/// The most that compiling and matching an expression with ICU can cost, estimated from its text.
/// ICU reports on a match only after each 10,000 saved states, so its work in between must be
/// bounded beforehand. The estimate is rounded up: it assumes that every character has its special
/// meaning.
class PatternCost {
  public:
    /// Compiling takes time that grows with the square of the length.
    static constexpr std::size_t longestPattern = 16'384;

    explicit PatternCost(std::string_view pattern) noexcept;

    /// Whether compiling, which cannot be interrupted, might take longer than a tenth of a second.
    [[nodiscard]] bool isTooHigh() const noexcept;

    /// The bytes of the compiled form.
    [[nodiscard]] std::size_t compiledSize() const noexcept;

    /// The bytes of a saved state.
    [[nodiscard]] std::size_t frameSize() const noexcept { return 8 * (4 + 3 * slots_); }

    /// Whether a matcher holds more than its stack: iterators over words or characters.
    [[nodiscard]] bool usesBreakIterators() const noexcept { return clusters_ + wordRules_ > 0; }

    /// The most nanoseconds between two saved states, apart from scans of sets, if ICU reports
    /// after each `piece` units of the text that it reads.
    [[nodiscard]] std::int64_t timePerState(const UTF16Text& text, std::int64_t piece) const;

  private:
    std::size_t size_;
    std::size_t sets_ = 0;
    std::size_t largeSets_ = 0;  ///< those that may hold hundreds of ranges
    std::size_t repetitions_ = 0;
    std::size_t slots_ = 0;       ///< groups and counters, copied for each state
    std::size_t assertions_ = 0;  ///< what consumes nothing and saves no state
    std::size_t wordBoundaries_ = 0;
    std::size_t backReferences_ = 0;
    std::size_t clusters_ = 0;
    std::size_t wordRules_ = 0;
    bool ignoresCase_ = false;
};

}  // namespace zentara
