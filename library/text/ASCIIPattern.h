#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

namespace zentara {

/// A simple expression (`PatternAutomaton`), as most patterns in schemas are, for plain ASCII text
/// (`isPlainASCII`): an automaton that runs in time linear to the text. Gives the same answers as
/// ICU.
class ASCIIPattern {
  public:
    /// Null when the pattern is not such an expression, or may be invalid: ICU decides then.
    [[nodiscard]] static std::unique_ptr<const ASCIIPattern> compile(std::string_view pattern);

    /// The most nanoseconds that a character takes, roughly.
    [[nodiscard]] std::int64_t costPerByte() const noexcept {
        return 3 + static_cast<std::int64_t>(following_.size()) * 5 / 4;
    }

    /// Whether the expression matches somewhere in a plain text.
    [[nodiscard]] bool matches(std::string_view text) const noexcept;

  private:
    /// The positions of the expression, as bits, where the next character may be read, and whether
    /// the text so far is a match.
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
    /// For each class of characters, the positions where they can be read.
    std::vector<std::uint64_t> readable_;
    /// For each position, the positions that may follow.
    std::vector<std::uint64_t> following_;
    std::uint64_t last_ = 0;
    State start_;
    bool isAnchoredAtStart_ = false;
    bool isAnchoredAtEnd_ = false;

    /// The states that can be reached, if they are few. Each has a row: for each class of
    /// characters the offset of the next row, then whether the state is a match.
    std::vector<std::uint16_t> rows_;
    std::uint16_t undecided_ = 0;  ///< the first row that another character can change
    std::uint16_t startRow_ = 0;
};

}  // namespace zentara
