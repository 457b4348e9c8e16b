#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "text/UTF16Text.h"

namespace zentara {

/// What compiling and matching an expression can cost at most, told from its text alone. ICU says
/// nothing of a match before it has saved 10,000 states, so what it may do in between must be
/// bounded beforehand. Everything is rounded up: characters count for what they mean anywhere.
class PatternForm {
  public:
    /// Compiling takes time that grows with the square of the length.
    static constexpr std::size_t longestPattern = 16'384;

    explicit PatternForm(std::string_view pattern) noexcept;

    /// Whether compiling would take longer than a host can wait, about a tenth of a second: it
    /// cannot be interrupted.
    [[nodiscard]] bool isTooCostlyToCompile() const noexcept;

    /// How many bytes the compiled form takes.
    [[nodiscard]] std::size_t compiledSize() const noexcept;

    /// How many bytes each saved state takes.
    [[nodiscard]] std::size_t frameSize() const noexcept { return 8 * (4 + 3 * slots_); }

    /// Whether a matcher holds more than its stack: iterators over words or characters.
    [[nodiscard]] bool usesBreakIterators() const noexcept { return clusters_ + wordRules_ > 0; }

    /// How many nanoseconds may pass between two saved states, scans of sets apart, when no more
    /// than `piece` units of the text are looked at without a report.
    [[nodiscard]] std::int64_t timePerState(const UTF16Text& text, std::size_t piece) const;

  private:
    std::size_t size_;
    std::size_t sets_ = 0;
    std::size_t largeSets_ = 0;  ///< those that may hold hundreds of ranges
    std::size_t repetitions_ = 0;
    std::size_t slots_ = 0;       ///< groups and counters, which each state has a copy of
    std::size_t assertions_ = 0;  ///< what consumes nothing and saves no state
    std::size_t wordBoundaries_ = 0;
    std::size_t backReferences_ = 0;
    std::size_t clusters_ = 0;
    std::size_t wordRules_ = 0;
    bool ignoresCase_ = false;
};

}  // namespace zentara
