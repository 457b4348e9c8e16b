#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

namespace zentara {

/// The expressions that schemas are mostly made of, for plain ASCII text (`isPlainASCII`): an
/// automaton that runs in time linear to the text. Its answers are those of ICU.
///
/// Understands literals, character classes, \d \w \s and their opposites, dots, groups, alternation
/// and greedy or lazy repetition, with at most 64 character positions after repetitions are written
/// out, and ^ and $ around the whole.
class ASCIIPattern {
  public:
    /// Null when the pattern is not such an expression, or possibly not a valid one: whether it is
    /// valid is for ICU to say.
    [[nodiscard]] static std::unique_ptr<const ASCIIPattern> compile(std::string_view pattern);

    /// About how many nanoseconds a character may take at most.
    [[nodiscard]] std::int64_t costPerByte() const noexcept {
        return 3 + static_cast<std::int64_t>(following_.size()) * 5 / 4;
    }

    /// Whether the expression matches somewhere in a plain text.
    [[nodiscard]] bool matches(std::string_view text) const noexcept;

  private:
    friend class ASCIIPatternParser;

    /// The positions of the expression, as bits, that the next character may be read at, and
    /// whether what has been read is a match.
    struct State {
        std::uint64_t next = 0;
        bool isMatch = false;

        friend bool operator==(const State&, const State&) = default;
    };
    static constexpr State failed{0, false};
    static constexpr State matched{0, true};

    [[nodiscard]] State after(State state, std::size_t characterClass) const noexcept;
    void tabulate();

    /// For each character, the index of its class.
    std::array<std::uint8_t, 128> classes_{};
    /// For each class of characters, the positions that its characters can be read at.
    std::vector<std::uint64_t> readable_;
    /// For each position, those that may be read next.
    std::vector<std::uint64_t> following_;
    std::uint64_t last_ = 0;
    State start_;
    bool isAnchoredAtStart_ = false;
    bool isAnchoredAtEnd_ = false;

    /// The states that can be reached, if they are few: a row for each, with the row after each
    /// class of characters and then whether the state is a match. Rows go by their offset.
    std::vector<std::uint16_t> rows_;
    std::uint16_t undecided_ = 0;  ///< the first row that a further character may lead away from
    std::uint16_t startRow_ = 0;
};

}  // namespace zentara
