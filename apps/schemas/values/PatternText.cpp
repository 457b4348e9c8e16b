#include "schemas/values/PatternText.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <utility>

#include "support/ASCII.h"
#include "text/PatternCost.h"
#include "text/Unicode.h"

namespace zentara::schemas {

namespace {

using Range = PatternText::Range;
using Ranges = PatternText::Ranges;
using Part = PatternText::Part;
using Alternatives = std::vector<std::vector<Part>>;

constexpr int deepestGroup = 60;
constexpr std::size_t mostRepetitions = 2000;
constexpr std::size_t longestText = 20'000;

const Ranges digits{{'0', '9'}};
const Ranges words{{'a', 'z'}, {'A', 'Z'}, {'0', '9'}, {'_', '_'}};
const Ranges spaces{{' ', ' '}};
const Ranges anything{{'a', 'z'}, {'A', 'Z'}, {'0', '9'}, {' ', ' '}, {'-', '-'}};

/// The characters that are not among `ranges`: printable ones of ASCII, or of Latin if there are
/// none.
Ranges others(const Ranges& ranges) {
    Ranges result;
    for (const auto& [from, to] : {Range{' ', '~'}, Range{0xC0, 0x17F}}) {
        for (auto c = from; c <= to; ++c) {
            const bool isListed = std::any_of(ranges.begin(), ranges.end(), [c](const Range& each) {
                return each.first <= c && c <= each.last;
            });
            if (isListed) continue;
            if (!result.empty() && result.back().last + 1 == c) {
                result.back().last = c;
            } else {
                result.push_back({c, c});
            }
        }
        if (!result.empty()) break;
    }
    return result;
}

void append(Ranges& all, const Ranges& more) {
    all.insert(all.end(), more.begin(), more.end());
}

void appendUTF8(std::string& text, char32_t c) {
    const auto byte = [&text](char32_t bits) {
        text += static_cast<char>(static_cast<unsigned char>(bits));
    };
    if (c < 0x80) return byte(c);
    if (c < 0x800) {
        byte(0xC0U | (c >> 6U));
    } else {
        if (c < 0x10000) {
            byte(0xE0U | (c >> 12U));
        } else {
            byte(0xF0U | (c >> 18U));
            byte(0x80U | ((c >> 12U) & 0x3FU));
        }
        byte(0x80U | ((c >> 6U) & 0x3FU));
    }
    byte(0x80U | (c & 0x3FU));
}

/// Reads an expression. The first construct that it does not understand ends the reading.
class Parser {
  public:
    explicit Parser(std::string_view pattern) : rest_(pattern) {}

    std::optional<Alternatives> parse() {
        // Flags that do not change what a drawn text looks like.
        for (const std::string_view flags : {"(?i)", "(?s)", "(?m)"})
            if (rest_.starts_with(flags)) rest_.remove_prefix(flags.size());
        auto all = alternatives(0);
        if (!isUnderstood_ || !rest_.empty()) return std::nullopt;
        return all;
    }

    [[nodiscard]] std::size_t groups() const noexcept { return groups_; }

  private:
    bool take(std::string_view text) {
        if (!rest_.starts_with(text)) return false;
        rest_.remove_prefix(text.size());
        return true;
    }

    char32_t giveUp() {
        isUnderstood_ = false;
        rest_ = {};
        return 0;
    }

    /// The next character; gives up at the end and at ill-formed text.
    char32_t read() {
        if (rest_.empty()) return giveUp();
        const auto lead = static_cast<unsigned char>(rest_.front());
        const std::size_t size = lead < 0x80 ? 1 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
        if (!isValidUTF8(rest_.substr(0, size))) return giveUp();
        char32_t c = size == 1 ? lead : lead & (0xFFU >> (size + 1));
        for (std::size_t i = 1; i < size; ++i)
            c = (c << 6U) | (static_cast<unsigned char>(rest_[i]) & 0x3FU);
        rest_.remove_prefix(size);
        return c;
    }

    Alternatives alternatives(int depth) {
        Alternatives all(1);
        if (depth == deepestGroup) giveUp();
        while (!rest_.empty() && rest_.front() != ')') {
            if (take("|")) {
                all.emplace_back();
            } else if (auto part = single(depth)) {
                quantify(*part);
                all.back().push_back(std::move(*part));
            }
        }
        return all;
    }

    /// Nothing for what takes no text.
    std::optional<Part> single(int depth) {
        if (take("^") || take("$")) return std::nullopt;
        if (take(".")) return of(anything);
        if (take("(")) return group(depth);
        if (take("[")) return of(characterClass(0));
        if (take("\\")) return escape();
        if (isOneOf(rest_.front(), "*+?{")) giveUp();
        const auto c = read();
        return of({{c, c}});
    }

    static Part of(Ranges characters) {
        Part part;
        part.characters = std::move(characters);
        return part;
    }

    std::optional<Part> group(int depth) {
        bool isAssertion = false;
        bool isCapturing = true;
        if (take("?=") || take("?!") || take("?<=") || take("?<!")) {
            isAssertion = true;
        } else if (take("?:") || take("?>")) {
            isCapturing = false;
        } else if (take("?<")) {
            rest_.remove_prefix(std::min(rest_.find('>'), rest_.size()));
            if (!take(">")) giveUp();
        } else if (take("?")) {
            giveUp();
        }
        Part part;
        if (isCapturing && !isAssertion) part.group = ++groups_;
        part.alternatives = alternatives(depth + 1);
        if (!take(")")) giveUp();
        if (isAssertion) return std::nullopt;
        return part;
    }

    std::optional<Part> escape() {
        if (take("Q")) {
            // A literal text is a group of its characters.
            Part part;
            part.alternatives.emplace_back();
            while (!rest_.empty() && !take("\\E")) {
                const auto c = read();
                part.alternatives.back().push_back(of({{c, c}}));
            }
            return part;
        }
        if (take("b") || take("B") || take("A") || take("z") || take("Z") || take("G"))
            return std::nullopt;
        if (!rest_.empty() && rest_.front() >= '1' && rest_.front() <= '9') {
            Part part;
            part.isReference = true;
            part.group = static_cast<std::size_t>(read() - '0');
            return part;
        }
        return of(escapedCharacters());
    }

    char32_t hexadecimal(std::size_t most) {
        std::uint32_t code = 0;
        const auto size = std::min(most, rest_.size());
        const auto [end, error] = std::from_chars(rest_.data(), rest_.data() + size, code, 16);
        if (error != std::errc() || code == 0 || code > 0x10FFFF || (code & 0xFFFFF800U) == 0xD800)
            return giveUp();
        rest_.remove_prefix(static_cast<std::size_t>(end - rest_.data()));
        return code;
    }

    char32_t codePoint(char kind) {
        if (kind == 'x' && take("{")) {
            const auto code = hexadecimal(8);
            return take("}") ? code : giveUp();
        }
        return hexadecimal(kind == 'x' ? 2 : kind == 'u' ? 4 : 8);
    }

    Ranges escapedCharacters() {
        const auto c = read();
        switch (c) {
            case 'd':
                return digits;
            case 'D':
                return others(digits);
            case 'w':
                return words;
            case 'W':
                return others(words);
            case 's':
            case 'h':
                return spaces;
            case 'S':
            case 'H':
                return others(spaces);
            case 't':
                return {{'\t', '\t'}};
            case 'n':
                return {{'\n', '\n'}};
            case 'r':
                return {{'\r', '\r'}};
            case 'f':
                return {{'\f', '\f'}};
            case 'p':
            case 'P': {
                const auto named = property();
                return c == 'p' ? named : others(named);
            }
            case 'x':
            case 'u':
            case 'U': {
                const auto code = codePoint(static_cast<char>(c));
                return {{code, code}};
            }
            default:
                break;
        }
        // Other letters and digits have meanings that are not understood.
        if (c < 0x80 && (isLetter(static_cast<char>(c)) || isDigit(static_cast<char>(c)))) giveUp();
        return {{c, c}};
    }

    /// The name of a set of characters, behind \p or [: .
    Ranges named(std::string_view name) {
        static const std::array<std::pair<std::string_view, Ranges>, 9> sets{{
            {"l|letter|alpha|alphabetic", {{'a', 'z'}, {'A', 'Z'}}},
            {"lu|upper|uppercase", {{'A', 'Z'}}},
            {"ll|lower|lowercase", {{'a', 'z'}}},
            {"n|nd|digit|number", digits},
            {"alnum", {{'a', 'z'}, {'A', 'Z'}, {'0', '9'}}},
            {"p|punct|punctuation", {{'!', '#'}, {'%', '*'}, {',', '/'}, {':', ';'}, {'?', '@'}}},
            {"z|zs|space|blank|white_space", spaces},
            {"xdigit|ahex", {{'0', '9'}, {'a', 'f'}}},
            {"ascii", {{' ', '~'}}},
        }};
        const auto wanted = '|' + lowerCase(std::string(name)) + '|';
        for (const auto& [names, ranges] : sets)
            if (('|' + std::string(names) + '|').find(wanted) != std::string::npos) return ranges;
        giveUp();
        return {};
    }

    Ranges property() {
        if (!take("{")) {
            if (rest_.empty()) giveUp();
            const auto name = rest_.substr(0, 1);
            rest_.remove_prefix(name.size());
            return named(name);
        }
        const auto name = rest_.substr(0, rest_.find('}'));
        rest_.remove_prefix(name.size());
        if (!take("}")) giveUp();
        return named(name);
    }

    Ranges characterClass(int depth) {
        Ranges all;
        if (depth == deepestGroup) giveUp();
        const bool isNegated = take("^");
        bool isFirst = true;
        for (; !take("]") || isFirst; isFirst = false) {
            if (rest_.empty() || rest_.starts_with("&&") || rest_.starts_with("--")) {
                giveUp();
                return {};
            }
            if (take("[:")) {
                const auto name = rest_.substr(0, rest_.find(":]"));
                rest_.remove_prefix(name.size());
                if (!take(":]")) giveUp();
                append(all, named(name));
                continue;
            }
            if (take("[")) {
                append(all, characterClass(depth + 1));
                continue;
            }
            auto next = member();
            if (next.size() == 1 && next[0].first == next[0].last && rest_.starts_with("-") &&
                rest_.size() > 1 && rest_[1] != ']') {
                take("-");
                const auto to = member();
                if (to.size() != 1 || to[0].first != to[0].last || to[0].last < next[0].first)
                    giveUp();
                if (isUnderstood_) next[0].last = to[0].last;
            }
            append(all, next);
        }
        return isNegated ? others(all) : all;
    }

    Ranges member() {
        if (take("\\")) return escapedCharacters();
        const auto c = read();
        return {{c, c}};
    }

    std::size_t number() {
        std::size_t value = 0;
        const auto [end, error] = std::from_chars(rest_.data(), rest_.data() + rest_.size(), value);
        if (error != std::errc() || value > mostRepetitions) return giveUp();
        rest_.remove_prefix(static_cast<std::size_t>(end - rest_.data()));
        return value;
    }

    void quantify(Part& part) {
        if (take("?")) {
            part.least = 0;
        } else if (take("*")) {
            part.least = 0;
            part.isUnbounded = true;
        } else if (take("+")) {
            part.isUnbounded = true;
        } else if (take("{")) {
            part.least = part.most = number();
            if (take(",")) {
                part.isUnbounded = rest_.starts_with("}");
                if (!part.isUnbounded) part.most = number();
            }
            if (!take("}") || part.most < part.least) giveUp();
        } else {
            return;
        }
        if (part.isUnbounded) part.most = part.least;
        if (!take("?")) take("+");
    }

    std::string_view rest_;
    std::size_t groups_ = 0;
    bool isUnderstood_ = true;
};

class Writer {
  public:
    Writer(Random& random, std::size_t extra, std::size_t groups)
        : random_(random), extra_(extra), texts_(groups + 1) {}

    std::optional<std::string> write(const Alternatives& alternatives) {
        one(alternatives);
        if (steps_ == 0) return std::nullopt;
        return std::move(text_);
    }

  private:
    void one(const Alternatives& alternatives) {
        for (const auto& part : random_.oneOf(alternatives)) {
            auto count = part.least;
            if (part.isUnbounded) {
                count += random_.below(extra_ + 1);
            } else if (part.most > part.least) {
                count += random_.below(part.most - part.least + 1);
            }
            for (std::size_t i = 0; i < count && steps_ > 0; ++i)
                write(part);
        }
    }

    void write(const Part& part) {
        --steps_;
        if (text_.size() > longestText) steps_ = 0;
        const auto start = text_.size();
        if (part.isReference) {
            if (part.group < texts_.size()) text_ += texts_[part.group];
        } else if (!part.alternatives.empty()) {
            one(part.alternatives);
            if (part.group != 0) texts_[part.group] = text_.substr(start);
        } else if (part.characters.empty()) {
            steps_ = 0;
        } else {
            const auto& [first, last] = random_.oneOf(part.characters);
            appendUTF8(text_, static_cast<char32_t>(
                                  random_.between(std::int64_t{first}, std::int64_t{last})));
        }
    }

    Random& random_;
    std::size_t extra_;
    std::vector<std::string> texts_;  ///< of the groups
    std::string text_;
    std::size_t steps_ = longestText;
};

}  // namespace

PatternText::PatternText(std::string_view pattern) : expression_(pattern) {
    // Does not recognise everything that is wrong.
    if (!expression_.isValid()) return;
    Parser parser(pattern);
    alternatives_ = parser.parse();
    groups_ = parser.groups();
}

std::optional<std::string> PatternText::draw(Random& random, std::size_t extra) const {
    if (!alternatives_) return std::nullopt;
    for (int attempt = 0; attempt < 20; ++attempt) {
        auto text = Writer(random, extra, groups_).write(*alternatives_);
        if (text && isValidUTF8(*text) && expression_.matches(*text)) return text;
    }
    return std::nullopt;
}

}  // namespace zentara::schemas
