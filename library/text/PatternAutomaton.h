#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

#include <zentara/Language.h>

namespace zentara {

/// A simple expression as positions where a character is read, for plain ASCII text: no byte below
/// U+000E or above U+007F. At run time and at compile time, where texts are checked by it
/// (`<zentara/TypedEvent.h>`).
///
/// Understands literals, character classes, `\d` `\w` `\s` and their opposites, dots, groups,
/// alternation and greedy or lazy repetition, with at most 64 positions after repetitions are
/// written out, and ^ and $ around the whole.
class PatternAutomaton {
  public:
    static constexpr unsigned maximumPositions = 64;

    /// A set of ASCII characters.
    struct Characters {
        std::uint64_t low = 0;   ///< 0 to 63
        std::uint64_t high = 0;  ///< 64 to 127

        [[nodiscard]] constexpr bool contains(char c) const noexcept {
            const auto number = static_cast<unsigned char>(c);
            return ((number < 64 ? low : high) >> (number % 64) & 1U) != 0;
        }
        constexpr void add(char c) noexcept {
            const auto number = static_cast<unsigned char>(c);
            (number < 64 ? low : high) |= std::uint64_t{1} << (number % 64);
        }
        constexpr void add(const Characters& other) noexcept {
            low |= other.low;
            high |= other.high;
        }
        [[nodiscard]] constexpr Characters others() const noexcept { return {~low, ~high}; }
    };

    /// Nothing when the pattern is not such an expression, or may be invalid.
    [[nodiscard]] static constexpr std::optional<PatternAutomaton> compile(
        std::string_view pattern);

    [[nodiscard]] static constexpr bool isPlain(std::string_view text) noexcept {
        for (const char c : text)
            if (static_cast<unsigned char>(c) < 0x0E || static_cast<unsigned char>(c) > 0x7F)
                return false;
        return true;
    }

    /// Whether the expression matches somewhere in a plain text.
    [[nodiscard]] constexpr bool matches(std::string_view text) const noexcept {
        auto next = first;
        bool isMatch = canBeEmpty;
        for (const char c : text) {
            if (isMatch && !isAnchoredAtEnd) return true;
            const auto reached = next;
            next = isAnchoredAtStart ? 0 : first;
            isMatch = canBeEmpty && !isAnchoredAtStart;
            for (std::size_t position = 0; position < count; ++position) {
                if ((reached >> position & 1U) == 0 || !readable[position].contains(c)) continue;
                next |= following[position];
                isMatch = isMatch || (last >> position & 1U) != 0;
            }
        }
        return isMatch;
    }

    // Positions are bits.
    std::array<Characters, maximumPositions> readable{};      ///< at each position
    std::array<std::uint64_t, maximumPositions> following{};  ///< after each position
    std::size_t count = 0;
    std::uint64_t first = 0;
    std::uint64_t last = 0;
    bool canBeEmpty = false;
    bool isAnchoredAtStart = false;
    bool isAnchoredAtEnd = false;

  private:
    class Parser;
};

/// Builds the automaton while it reads, without a tree. A part of the expression is described
/// by the positions where it can start and end, and by whether it can be empty. A repetition
/// reads its part again for each copy.
class PatternAutomaton::Parser {
  public:
    constexpr explicit Parser(std::string_view pattern) : rest_(pattern) {}

    constexpr std::optional<PatternAutomaton> parse() {
        result_.isAnchoredAtStart = take('^');
        result_.isAnchoredAtEnd = rest_.ends_with('$') && !rest_.ends_with("\\$");
        if (result_.isAnchoredAtEnd) rest_.remove_suffix(1);
        bool hasAlternatives = false;
        const auto whole = alternatives(0, hasAlternatives);
        if (!whole || !rest_.empty()) return std::nullopt;
        // In ^a|b$ each anchor belongs to one alternative.
        if (hasAlternatives && (result_.isAnchoredAtStart || result_.isAnchoredAtEnd)) {
            return std::nullopt;
        }
        result_.first = whole->first;
        result_.last = whole->last;
        result_.canBeEmpty = whole->canBeEmpty;
        return result_;
    }

  private:
    static constexpr int maximumGroupDepth = 16;

    struct Part {
        std::uint64_t first = 0;
        std::uint64_t last = 0;
        bool canBeEmpty = true;
    };

    struct Repetition {
        unsigned least = 1;
        unsigned most = 1;
        bool isUnbounded = false;
    };

    static constexpr bool isOneOf(char c, std::string_view characters) {
        return characters.find(c) != std::string_view::npos;
    }
    static constexpr bool isDigit(char c) { return c >= '0' && c <= '9'; }
    static constexpr bool isAlphanumeric(char c) {
        return isDigit(c) || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
    }
    /// Whether `c` stands for itself without a backslash, outside and inside of a class.
    static constexpr bool isLiteral(char c) {
        return isAlphanumeric(c) || isOneOf(c, " _-/@,;:=#%&!~<>'\"`");
    }
    static constexpr bool isClassLiteral(char c) {
        return isAlphanumeric(c) || isOneOf(c, " _./@,;:=#%!~<>'\"`+*?()|");
    }

    static constexpr Characters range(char from, char to) {
        Characters characters;
        for (char c = from; c <= to; ++c)
            characters.add(c);
        return characters;
    }

    /// The characters that a backslash and `c` stand for.
    static constexpr std::optional<Characters> escaped(char c) {
        Characters named;
        if (c == 'd' || c == 'D' || c == 'w' || c == 'W') named = range('0', '9');
        if (c == 'w' || c == 'W') {
            named.add(range('a', 'z'));
            named.add(range('A', 'Z'));
            named.add('_');
        }
        if (c == 's' || c == 'S') named.add(' ');  // the only one in plain text
        if (isOneOf(c, "dws")) return named;
        if (isOneOf(c, "DWS")) return named.others();
        if (!isOneOf(c, "^$\\.*+?()[]{}|-/@:&,;=#%!~<>_'\" ")) return std::nullopt;
        return range(c, c);
    }

    constexpr bool take(char c) {
        if (rest_.empty() || rest_.front() != c) return false;
        rest_.remove_prefix(1);
        return true;
    }

    /// The next character; NUL, which is no literal, at the end.
    constexpr char read() {
        const char c = rest_.empty() ? '\0' : rest_.front();
        rest_.remove_prefix(rest_.empty() ? 0 : 1);
        return c;
    }

    constexpr std::optional<Part> alternatives(int depth, bool& hasAlternatives) {
        auto all = sequence(depth);
        while (all && take('|')) {
            hasAlternatives = true;
            const auto next = sequence(depth);
            if (!next) return std::nullopt;
            all->first |= next->first;
            all->last |= next->last;
            all->canBeEmpty = all->canBeEmpty || next->canBeEmpty;
        }
        return all;
    }

    /// One part or more: empty alternatives are not understood.
    constexpr std::optional<Part> sequence(int depth) {
        Part all;
        do {
            const auto next = repeated(depth);
            if (!next) return std::nullopt;
            follow(all.last, next->first);
            all = {all.canBeEmpty ? all.first | next->first : all.first,
                   next->canBeEmpty ? all.last | next->last : next->last,
                   all.canBeEmpty && next->canBeEmpty};
        } while (!rest_.empty() && rest_.front() != '|' && rest_.front() != ')');
        return all;
    }

    constexpr void follow(std::uint64_t positions, std::uint64_t next) {
        for (std::size_t position = 0; position < result_.count; ++position)
            if ((positions >> position & 1U) != 0) result_.following[position] |= next;
    }

    constexpr std::optional<Part> repeated(int depth) {
        const auto start = rest_;
        auto part = single(depth);
        if (!part) return std::nullopt;
        const auto repetition = quantifier();
        if (!repetition) return std::nullopt;
        // How a loop over the empty text ends is not understood.
        if (part->canBeEmpty && (repetition->isUnbounded || repetition->most > 1)) {
            return std::nullopt;
        }
        const auto end = rest_;
        Part all = *part;
        all.canBeEmpty = part->canBeEmpty || repetition->least == 0;
        for (unsigned copy = 2; copy <= repetition->most; ++copy) {
            // A copy follows the previous copy only, so that few positions are active.
            const auto previous = part->last;
            rest_ = start;
            part = single(depth);
            if (!part) return std::nullopt;
            follow(previous, part->first);
            all.last = copy <= repetition->least ? part->last : all.last | part->last;
        }
        if (repetition->isUnbounded) follow(part->last, part->first);
        rest_ = end;
        return all;
    }

    constexpr std::optional<Repetition> quantifier() {
        Repetition repetition;
        if (take('?')) {
            repetition = {0, 1, false};
        } else if (take('*')) {
            repetition = {0, 1, true};
        } else if (take('+')) {
            repetition = {1, 1, true};
        } else if (take('{')) {
            if (!number(repetition.least)) return std::nullopt;
            repetition.most = repetition.least;
            if (take(',')) {
                if (!rest_.empty() && rest_.front() == '}') {
                    repetition.isUnbounded = true;
                    repetition.most = repetition.least == 0 ? 1 : repetition.least;
                } else if (!number(repetition.most)) {
                    return std::nullopt;
                }
            }
            if (!take('}') || repetition.most == 0 || repetition.most < repetition.least) {
                return std::nullopt;
            }
        } else {
            return repetition;
        }
        take('?');  // affects which match is found, not whether there is a match
        if (!rest_.empty() && isOneOf(rest_.front(), "?*+{")) return std::nullopt;
        return repetition;
    }

    constexpr bool number(unsigned& value) {
        if (rest_.empty() || !isDigit(rest_.front())) return false;
        for (value = 0; !rest_.empty() && isDigit(rest_.front()); rest_.remove_prefix(1)) {
            value = value * 10 + static_cast<unsigned>(rest_.front() - '0');
            if (value > maximumPositions) return false;
        }
        return true;
    }

    constexpr std::optional<Part> single(int depth) {
        const char c = read();
        if (c == '(') return group(depth);
        if (c == '[') return characterClass();
        if (c == '.') return position(Characters().others());
        if (c == '\\') {
            const auto characters = escaped(read());
            return characters ? position(*characters) : std::nullopt;
        }
        return isLiteral(c) ? position(range(c, c)) : std::nullopt;
    }

    constexpr std::optional<Part> group(int depth) {
        if (depth == maximumGroupDepth) return std::nullopt;
        if (rest_.starts_with("?:")) rest_.remove_prefix(2);
        bool hasAlternatives = false;
        const auto part = alternatives(depth + 1, hasAlternatives);
        return take(')') ? part : std::nullopt;
    }

    constexpr std::optional<Part> characterClass() {
        Characters characters;
        const bool isNegated = take('^');
        if (!rest_.empty() && isOneOf(rest_.front(), ":]")) return std::nullopt;
        for (bool isFirst = true; !take(']'); isFirst = false) {
            const char c = read();
            if (c == '\\') {
                const auto members = escaped(read());
                if (!members || rest_.starts_with('-')) return std::nullopt;
                characters.add(*members);
            } else if (c == '-') {
                // Stands for itself at either end only.
                const bool isAtEnd = !rest_.empty() && rest_.front() == ']';
                if ((!isFirst && !isAtEnd) || rest_.starts_with('-')) return std::nullopt;
                characters.add('-');
            } else if (!isClassLiteral(c)) {
                return std::nullopt;
            } else if (rest_.size() > 1 && rest_[0] == '-' && rest_[1] != ']') {
                const char to = rest_[1];
                if (!isAlphanumeric(c) || !isAlphanumeric(to) || to < c) return std::nullopt;
                rest_.remove_prefix(2);
                if (rest_.size() > 1 && rest_[0] == '-' && rest_[1] != ']') return std::nullopt;
                characters.add(range(c, to));
            } else {
                characters.add(c);
            }
        }
        return position(isNegated ? characters.others() : characters);
    }

    constexpr std::optional<Part> position(const Characters& characters) {
        if (result_.count == maximumPositions) return std::nullopt;
        const auto bit = std::uint64_t{1} << result_.count;
        result_.readable[result_.count++] = characters;
        return Part{bit, bit, false};
    }

    std::string_view rest_;
    PatternAutomaton result_{};
};

constexpr std::optional<PatternAutomaton> PatternAutomaton::compile(std::string_view pattern) {
    return Parser(pattern).parse();
}

}  // namespace zentara
