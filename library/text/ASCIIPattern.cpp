#include "text/ASCIIPattern.h"

#include <algorithm>
#include <bit>
#include <bitset>
#include <charconv>
#include <optional>

#include "support/ASCII.h"
#include "text/PatternCost.h"

namespace zentara {

namespace {

constexpr unsigned maximumPositions = 64;
constexpr int maximumGroupDepth = 16;
/// Entries of the table of states, two bytes each.
constexpr std::size_t maximumEntries = 1024;

template <typename Visit>
void forEachBit(std::uint64_t bits, const Visit& visit) {
    for (; bits != 0; bits &= bits - 1)
        visit(static_cast<std::size_t>(std::countr_zero(bits)));
}

/// A set of ASCII characters.
using Characters = std::bitset<128>;

Characters range(char from, char to) {
    Characters characters;
    for (auto c = static_cast<unsigned char>(from); c <= static_cast<unsigned char>(to); ++c)
        characters.set(c);
    return characters;
}

Characters only(char c) {
    return range(c, c);
}

bool isAlphanumeric(char c) {
    return isLetter(c) || isDigit(c);
}

/// Whether `c` stands for itself without a backslash, outside and inside of a class.
bool isLiteral(char c) {
    return isAlphanumeric(c) || isOneOf(c, " _-/@,;:=#%&!~<>'\"`");
}
bool isClassLiteral(char c) {
    return isAlphanumeric(c) || isOneOf(c, " _./@,;:=#%!~<>'\"`+*?()|");
}

/// The characters that a backslash and `c` stand for.
std::optional<Characters> escaped(char c) {
    static const auto digits = range('0', '9');
    static const auto words = digits | range('a', 'z') | range('A', 'Z') | only('_');
    static const auto spaces = only(' ');  // in plain text
    const char letter = lowerCase(c);
    if (letter == 'd' || letter == 'w' || letter == 's') {
        const auto& named = letter == 'd' ? digits : letter == 'w' ? words : spaces;
        return c == letter ? named : ~named;
    }
    if (!isOneOf(c, "^$\\.*+?()[]{}|-/@:&,;=#%!~<>_'\" ")) return std::nullopt;
    return only(c);
}

}  // namespace

/// Builds the automaton while it reads, without a tree. A part of the expression is described by
/// the positions where it can start and end, and by whether it can be empty. A repetition reads its
/// part again for each copy.
class ASCIIPatternParser {
  public:
    explicit ASCIIPatternParser(std::string_view pattern) : rest_(pattern) {}

    std::unique_ptr<const ASCIIPattern> parse() {
        const bool isAnchoredAtStart = take('^');
        const bool isAnchoredAtEnd = rest_.ends_with('$') && !rest_.ends_with("\\$");
        if (isAnchoredAtEnd) rest_.remove_suffix(1);
        bool hasAlternatives = false;
        const auto whole = alternatives(0, hasAlternatives);
        if (!whole || !rest_.empty()) return nullptr;
        // In ^a|b$ each anchor belongs to one alternative.
        if (hasAlternatives && (isAnchoredAtStart || isAnchoredAtEnd)) return nullptr;

        auto result = std::make_unique<ASCIIPattern>();
        auto& classes = result->readable_;
        for (std::size_t c = 0; c < readable_.size(); ++c) {
            const auto found = std::find(classes.begin(), classes.end(), readable_[c]);
            result->classes_[c] = static_cast<std::uint8_t>(found - classes.begin());
            if (found == classes.end()) classes.push_back(readable_[c]);
        }
        result->following_.assign(following_.begin(), following_.begin() + count_);
        result->last_ = whole->last;
        result->start_ = {whole->first, whole->canBeEmpty};
        result->isAnchoredAtStart_ = isAnchoredAtStart;
        result->isAnchoredAtEnd_ = isAnchoredAtEnd;
        result->tabulate();
        return result;
    }

  private:
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

    bool take(char c) {
        if (rest_.empty() || rest_.front() != c) return false;
        rest_.remove_prefix(1);
        return true;
    }

    /// The next character; NUL, which is no literal, at the end.
    char read() {
        const char c = rest_.empty() ? '\0' : rest_.front();
        rest_.remove_prefix(rest_.empty() ? 0 : 1);
        return c;
    }

    std::optional<Part> alternatives(int depth, bool& hasAlternatives) {
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

    /// One part or more: empty alternatives are left to ICU.
    std::optional<Part> sequence(int depth) {
        Part all;
        do {
            const auto next = repeated(depth);
            if (!next) return std::nullopt;
            all = joined(all, *next);
        } while (!rest_.empty() && rest_.front() != '|' && rest_.front() != ')');
        return all;
    }

    Part joined(const Part& one, const Part& next) {
        follow(one.last, next.first);
        return {one.canBeEmpty ? one.first | next.first : one.first,
                next.canBeEmpty ? one.last | next.last : next.last,
                one.canBeEmpty && next.canBeEmpty};
    }

    void follow(std::uint64_t positions, std::uint64_t next) {
        forEachBit(positions, [&](std::size_t position) { following_[position] |= next; });
    }

    std::optional<Part> repeated(int depth) {
        const auto start = rest_;
        auto part = single(depth);
        if (!part) return std::nullopt;
        const auto repetition = quantifier();
        if (!repetition) return std::nullopt;
        // Leave to ICU how a loop over the empty text ends.
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

    std::optional<Repetition> quantifier() {
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
                    repetition.most = std::max(1U, repetition.least);
                } else if (!number(repetition.most)) {
                    return std::nullopt;
                }
            }
            if (!take('}') || repetition.most < std::max(1U, repetition.least)) {
                return std::nullopt;
            }
        } else {
            return repetition;
        }
        take('?');  // affects which match is found, not whether there is a match
        if (!rest_.empty() && isOneOf(rest_.front(), "?*+{")) return std::nullopt;
        return repetition;
    }

    bool number(unsigned& value) {
        const auto [end, error] = std::from_chars(rest_.data(), rest_.data() + rest_.size(), value);
        if (error != std::errc() || value > maximumPositions) return false;
        rest_.remove_prefix(static_cast<std::size_t>(end - rest_.data()));
        return true;
    }

    std::optional<Part> single(int depth) {
        const char c = read();
        if (c == '(') return group(depth);
        if (c == '[') return characterClass();
        if (c == '.') return position(~Characters());
        if (c == '\\') {
            const auto characters = escaped(read());
            return characters ? position(*characters) : std::nullopt;
        }
        return isLiteral(c) ? position(only(c)) : std::nullopt;
    }

    std::optional<Part> group(int depth) {
        if (depth == maximumGroupDepth) return std::nullopt;
        if (rest_.starts_with("?:")) rest_.remove_prefix(2);
        bool hasAlternatives = false;
        const auto part = alternatives(depth + 1, hasAlternatives);
        return take(')') ? part : std::nullopt;
    }

    std::optional<Part> characterClass() {
        Characters characters;
        const bool isNegated = take('^');
        if (!rest_.empty() && isOneOf(rest_.front(), ":]")) return std::nullopt;
        for (bool isFirst = true; !take(']'); isFirst = false) {
            const char c = read();
            if (c == '\\') {
                const auto members = escaped(read());
                if (!members || rest_.starts_with('-')) return std::nullopt;
                characters = characters | *members;
            } else if (c == '-') {
                // Stands for itself at either end only.
                const bool isAtEnd = !rest_.empty() && rest_.front() == ']';
                if ((!isFirst && !isAtEnd) || rest_.starts_with('-')) return std::nullopt;
                characters = characters | only('-');
            } else if (!isClassLiteral(c)) {
                return std::nullopt;
            } else if (rest_.size() > 1 && rest_[0] == '-' && rest_[1] != ']') {
                const char to = rest_[1];
                if (!isAlphanumeric(c) || !isAlphanumeric(to) || to < c) return std::nullopt;
                rest_.remove_prefix(2);
                if (rest_.size() > 1 && rest_[0] == '-' && rest_[1] != ']') return std::nullopt;
                characters = characters | range(c, to);
            } else {
                characters = characters | only(c);
            }
        }
        return position(isNegated ? ~characters : characters);
    }

    std::optional<Part> position(const Characters& characters) {
        if (count_ == maximumPositions) return std::nullopt;
        const auto bit = std::uint64_t{1} << count_++;
        for (std::size_t c = 0; c < characters.size(); ++c)
            if (characters[c]) readable_[c] |= bit;
        return Part{bit, bit, false};
    }

    std::string_view rest_;
    unsigned count_ = 0;  ///< of positions
    std::array<std::uint64_t, 128> readable_{};
    std::array<std::uint64_t, maximumPositions> following_{};
};

std::unique_ptr<const ASCIIPattern> ASCIIPattern::compile(std::string_view pattern) {
    if (pattern.size() > PatternCost::longestPattern || PatternCost(pattern).isTooHigh()) {
        return nullptr;
    }
    return ASCIIPatternParser(pattern).parse();
}

ASCIIPattern::State ASCIIPattern::after(State state, std::size_t characterClass) const noexcept {
    if (state.isMatch && !isAnchoredAtEnd_) return matched;
    const auto read = state.next & readable_[characterClass];
    State after{isAnchoredAtStart_ ? 0 : start_.next, (read & last_) != 0};
    // The empty text at the end matches.
    if (start_.isMatch && !isAnchoredAtStart_) after.isMatch = true;
    if (after.isMatch && !isAnchoredAtEnd_) return matched;
    forEachBit(read, [&](std::size_t position) { after.next |= following_[position]; });
    return after;
}

void ASCIIPattern::tabulate() {
    const auto width = readable_.size() + 1;
    std::vector<State> states{failed, matched, start_};
    for (std::size_t row = 0; row < states.size(); ++row) {
        if ((row + 1) * width > maximumEntries) {
            rows_.clear();
            return;
        }
        for (std::size_t each = 0; each < readable_.size(); ++each) {
            const auto next = after(states[row], each);
            const auto found = std::find(states.begin(), states.end(), next);
            rows_.push_back(static_cast<std::uint16_t>(
                static_cast<std::size_t>(found - states.begin()) * width));
            if (found == states.end()) states.push_back(next);
        }
        rows_.push_back(states[row].isMatch ? 1 : 0);
    }
    startRow_ = static_cast<std::uint16_t>(2 * width);
    undecided_ = static_cast<std::uint16_t>(isAnchoredAtEnd_ ? width : 2 * width);
}

bool ASCIIPattern::matches(std::string_view text) const noexcept {
    if (rows_.empty()) {
        auto state = start_;
        for (const char c : text)
            state = after(state, classes_[static_cast<unsigned char>(c)]);
        return state.isMatch;
    }
    std::size_t row = startRow_;
    for (const char c : text) {
        row = rows_[row + classes_[static_cast<unsigned char>(c)]];
        if (row < undecided_) break;
    }
    return rows_[row + readable_.size()] != 0;
}

}  // namespace zentara
