#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string_view>

namespace zentara {

/// The quick road for the expressions that schemas are mostly made of, applied to ASCII text: a
/// non-deterministic automaton whose states are the bits of one word, run in time linear to the
/// text. Everything else is left to the full engine, whose answers are the same.
///
/// Understands literals, character classes, \d \w \s and their opposites, dots, groups, alternation
/// and greedy or lazy repetition, with at most 64 character positions after repetitions are written
/// out, and ^ and $ around the whole.
class ASCIIPattern {
  public:
    /// Nothing when the pattern is not such an expression, or possibly not a valid one: whether
    /// it is valid, the full engine has to say.
    [[nodiscard]] static std::optional<ASCIIPattern> compile(std::string_view pattern);

    /// Whether this may be asked about `text`: ASCII without line terminators and the like.
    [[nodiscard]] static bool accepts(std::string_view text) noexcept;

    /// About how many nanoseconds a character may take at most.
    [[nodiscard]] std::int64_t costPerByte() const noexcept { return 2 + positions_ * 5 / 4; }

    /// Whether the expression matches somewhere in an accepted text.
    [[nodiscard]] bool matches(std::string_view text) const noexcept;

  private:
    friend class ASCIIPatternParser;

    ASCIIPattern() = default;

    /// For each character, the positions that it can be read at.
    std::array<std::uint64_t, 128> readable_{};
    /// For each position, those that may be read next.
    std::array<std::uint64_t, 64> following_{};
    std::uint64_t first_ = 0;
    std::uint64_t last_ = 0;
    std::int64_t positions_ = 0;
    bool matchesNothing_ = false;  ///< the empty text is a match
    bool isAnchoredAtStart_ = false;
    bool isAnchoredAtEnd_ = false;
};

}  // namespace zentara
