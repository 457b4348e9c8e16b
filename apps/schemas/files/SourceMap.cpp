#include "schemas/files/SourceMap.h"

#include <algorithm>
#include <functional>
#include <utility>

#include "support/ASCII.h"

namespace zentara::schemas {

namespace {

constexpr std::uint64_t rootPath = 0x5A65'6E74;

std::uint64_t pathOf(std::uint64_t parent, std::string_view component) noexcept {
    constexpr std::uint64_t factor = 0x9E37'79B9'7F4A'7C15U;
    const auto mixed = (parent ^ std::hash<std::string_view>()(component)) * factor;
    return mixed ^ (mixed >> 29U);
}

constexpr bool isSpace(char c) noexcept {
    return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}

constexpr bool isContinuation(char c) noexcept {
    return (static_cast<unsigned char>(c) & 0xC0U) == 0x80;
}

/// The length of the UTF-8 sequence that starts the text; 0 when it is not well-formed.
std::size_t sequenceLength(std::string_view text) noexcept {
    const auto byteAt = [text](std::size_t i) -> unsigned {
        return i < text.size() ? static_cast<unsigned char>(text[i]) : 0U;
    };
    const unsigned first = byteAt(0);
    if (first < 0x80) return 1;
    const std::size_t length = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
    if (first < 0xC2 || first > 0xF4) return 0;
    for (std::size_t i = 1; i < length; ++i)
        if ((byteAt(i) & 0xC0U) != 0x80) return 0;
    const unsigned second = byteAt(1);
    const bool isOverlong = (first == 0xE0 && second < 0xA0) || (first == 0xF0 && second < 0x90);
    const bool isBeyond = (first == 0xED && second >= 0xA0) || (first == 0xF4 && second >= 0x90);
    return isOverlong || isBeyond ? 0 : length;
}

std::string inQuotes(std::string_view text) {
    return '"' + std::string(text) + '"';
}

}  // namespace

std::string childPointer(std::string_view pointer, std::string_view component) {
    std::string child(pointer);
    child += '/';
    for (const char c : component) {
        if (c == '~') {
            child += "~0";
        } else if (c == '/') {
            child += "~1";
        } else {
            child += c;
        }
    }
    return child;
}

std::string pointerTo(std::span<const std::string> path) {
    std::string pointer;
    for (const auto& component : path) {
        if (!mayExtend(pointer, component)) break;
        pointer = childPointer(pointer, component);
    }
    return pointer;
}

/// Reads a text once, from start to end. No recursion: the open arrays and objects are on a stack.
class SourceMap::Scanner {
  public:
    Scanner(std::string_view text, SourceMap& map) : text_(text), map_(map) {
        constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";
        if (text.starts_with(byteOrderMark)) text_.remove_prefix(byteOrderMark.size());
    }

    void scan() {
        skipSpace();
        if (isAtEnd()) return static_cast<void>(fail("there is no value"));
        add(rootPath, here());
        if (!readValue(rootPath)) return;
        while (!open_.empty())
            if (!step()) return;
        skipSpace();
        if (!isAtEnd()) fail("the text goes on behind the value");
    }

  private:
    struct Key {
        std::string text;
        Position position;
    };
    /// An array or object that has not been read to its end. Small: a text can open many.
    struct Open {
        std::uint64_t path;
        std::uint32_t line;      ///< where it begins
        std::uint32_t count;     ///< of its values
        std::uint32_t firstKey;  ///< in `keys_`
        bool isObject;
        bool isAfterComma = false;

        [[nodiscard]] char end() const noexcept { return isObject ? '}' : ']'; }
    };

    [[nodiscard]] bool isAtEnd() const noexcept { return at_ >= text_.size(); }
    [[nodiscard]] char next() const noexcept { return isAtEnd() ? '\0' : text_[at_]; }
    void skipSpace() noexcept {
        while (!isAtEnd() && isSpace(text_[at_]))
            ++at_;
    }

    /// Must not be called for an earlier offset than before.
    Position positionOf(std::size_t offset) noexcept {
        for (; measured_ < offset; ++measured_) {
            if (text_[measured_] == '\n') {
                ++position_.line;
                position_.column = 1;
            } else if (!isContinuation(text_[measured_])) {
                ++position_.column;
            }
        }
        return position_;
    }
    Position here() noexcept { return positionOf(at_); }

    bool fail(std::string reason) { return failAt(here(), std::move(reason)); }
    bool failAt(Position position, std::string reason) {
        map_.error_ = {position, std::move(reason)};
        return false;
    }

    void add(std::uint64_t path, Position position) {
        // The library reads nothing of what nests deeper.
        if (open_.size() > deepestSchema) return;
        map_.places_.push_back({path, static_cast<std::uint32_t>(position.line),
                                static_cast<std::uint32_t>(position.column)});
    }

    /// Reads the next member, element, comma or end of the innermost container.
    bool step() {
        auto& top = open_.back();
        skipSpace();
        if (isAtEnd()) {
            return fail(std::string("the text ends, but the ") + (top.isObject ? '{' : '[') +
                        " of line " + std::to_string(top.line) + " is not closed");
        }
        if (next() == top.end()) {
            if (top.isAfterComma) {
                return failAt(commaPosition_,
                              std::string("there is a comma before the ") + top.end());
            }
            ++at_;
            close();
            return true;
        }
        if (top.count > 0 && !top.isAfterComma) {
            if (next() == '/') return failForComment();
            if (next() != ',')
                return fail(std::string("a comma or ") + inQuotes({top.isObject ? "}" : "]"}) +
                            " is expected");
            commaPosition_ = here();
            top.isAfterComma = true;
            ++at_;
            return true;
        }
        top.isAfterComma = false;
        return top.isObject ? readMember() : readElement();
    }

    bool readElement() {
        const auto path = pathOf(open_.back().path, std::to_string(open_.back().count++));
        add(path, here());
        return readValue(path);
    }

    bool readMember() {
        if (next() == '/') return failForComment();
        if (next() != '"') return fail("a key in double quotes is expected");
        Key key{{}, here()};
        if (!readString(&key.text)) return false;
        skipSpace();
        if (next() != ':') return fail("a colon is expected behind the key " + inQuotes(key.text));
        ++at_;
        skipSpace();
        auto& top = open_.back();
        ++top.count;
        const auto path = pathOf(top.path, key.text);
        add(path, key.position);
        keys_.push_back(std::move(key));
        return readValue(path);
    }

    void close() {
        const auto byText = [](const Key& one, const Key& other) {
            return one.text < other.text;
        };
        const auto begin = keys_.begin() + open_.back().firstKey;
        std::stable_sort(begin, keys_.end(), byText);
        for (auto first = begin; first != keys_.end();) {
            const auto next = std::upper_bound(first, keys_.end(), *first, byText);
            const bool isKept = map_.repeatedKeys_.size() < mostRepeatedKeys;
            if (next - first > 1 && isKept) {
                map_.repeatedKeys_.push_back({pointerTo(first->text), first->text, first->position,
                                              std::prev(next)->position});
            }
            first = next;
        }
        keys_.resize(open_.back().firstKey);
        open_.pop_back();
    }

    /// The pointer of a key of the innermost object.
    [[nodiscard]] std::string pointerTo(std::string_view key) const {
        std::string pointer;
        for (std::size_t i = 0; i < open_.size(); ++i) {
            const bool isLast = i + 1 == open_.size();
            const auto component = isLast              ? std::string(key)
                                   : open_[i].isObject ? keys_[open_[i + 1].firstKey - 1].text
                                                       : std::to_string(open_[i].count - 1);
            if (!mayExtend(pointer, component)) break;
            pointer = childPointer(pointer, component);
        }
        return pointer;
    }

    bool failForComment() { return fail("JSON has no comments"); }

    bool readValue(std::uint64_t path) {
        const char first = next();
        if (first == '{' || first == '[') {
            open_.push_back({path, static_cast<std::uint32_t>(here().line), 0,
                             static_cast<std::uint32_t>(keys_.size()), first == '{'});
            if (open_.size() > deepestSchema && !map_.tooDeep_) map_.tooDeep_ = here();
            ++at_;
            return true;
        }
        if (first == '"') return readString(nullptr);
        if (first == '-' || isDigit(first)) return readNumber();
        for (const std::string_view word : {"true", "false", "null"}) {
            if (!text_.substr(at_).starts_with(word)) continue;
            const auto start = std::exchange(at_, at_ + word.size());
            if (isDelimited()) return true;
            at_ = start;
            break;
        }
        return failForValue(first);
    }

    bool failForValue(char first) {
        if (isAtEnd()) return fail("the text ends where a value is expected");
        if (first == '/') return failForComment();
        if (first == '\'') return fail("texts are in double quotes");
        if (first == '+' || first == '.') return fail("numbers begin with a digit or a minus");
        if (isLetter(first)) {
            auto end = at_;
            while (end < text_.size() && (isLetter(text_[end]) || isDigit(text_[end])))
                ++end;
            constexpr std::size_t longestShown = 40;
            const auto word = text_.substr(at_, std::min(end - at_, longestShown));
            return fail(inQuotes(word) +
                        " is no value: a text in double quotes, true, false or null is expected");
        }
        return fail("a value is expected");
    }

    /// Whether a number or a word ends here.
    [[nodiscard]] bool isDelimited() const noexcept {
        constexpr std::string_view delimiters = ",:[]{} \t\n\r";
        return isAtEnd() || delimiters.find(next()) != std::string_view::npos;
    }

    bool skipDigits() noexcept {
        const auto start = at_;
        while (isDigit(next()))
            ++at_;
        return at_ > start;
    }

    bool readNumber() {
        if (next() == '-') ++at_;
        const auto first = at_;
        if (!skipDigits()) return fail("a digit is expected behind the minus");
        if (text_[first] == '0' && at_ > first + 1) {
            at_ = first;
            return fail("a number does not begin with a 0 before other digits");
        }
        if (next() == '.') {
            ++at_;
            if (!skipDigits()) return fail("a digit is expected behind the decimal point");
        }
        if (next() == 'e' || next() == 'E') {
            ++at_;
            if (next() == '+' || next() == '-') ++at_;
            if (!skipDigits()) return fail("the exponent has no digits");
        }
        return isDelimited() || fail("the number is followed by something else");
    }

    /// Four hexadecimal digits; nothing for others.
    std::optional<unsigned> readUnit() {
        if (text_.size() - at_ < 4) return std::nullopt;
        unsigned unit = 0;
        for (const char c : text_.substr(at_, 4)) {
            const int digit = hexDigitValue(c);
            if (digit < 0) return std::nullopt;
            unit = unit * 16 + static_cast<unsigned>(digit);
        }
        at_ += 4;
        return unit;
    }

    static void append(std::string& text, unsigned character) {
        const auto put = [&text](unsigned byte) {
            text += static_cast<char>(byte);
        };
        const auto putRest = [&](unsigned shift) {
            put(0x80U | ((character >> shift) & 0x3FU));
        };
        if (character < 0x80) return put(character);
        if (character < 0x800) {
            put(0xC0U | (character >> 6U));
        } else if (character < 0x10000) {
            put(0xE0U | (character >> 12U));
            putRest(6);
        } else {
            put(0xF0U | (character >> 18U));
            putRest(12);
            putRest(6);
        }
        putRest(0);
    }

    bool readEscape(std::string* content) {
        const auto start = at_++;
        const auto failHere = [&](const char* reason) {
            at_ = start;
            return fail(reason);
        };
        const char letter = next();
        constexpr std::string_view letters = "\"\\/bfnrt";
        constexpr std::string_view meanings = "\"\\/\b\f\n\r\t";
        if (const auto known = letters.find(letter); known != std::string_view::npos) {
            ++at_;
            if (content != nullptr) *content += meanings[known];
            return true;
        }
        if (letter != 'u') return failHere("there is no such escape: a backslash is written \\\\");
        ++at_;
        auto unit = readUnit();
        if (!unit) return failHere("four hexadecimal digits are expected behind \\u");
        const auto isWithin = [](unsigned each, unsigned first, unsigned last) {
            return first <= each && each <= last;
        };
        if (isWithin(*unit, 0xDC00, 0xDFFF))
            return failHere("a low surrogate comes without a high one");
        if (isWithin(*unit, 0xD800, 0xDBFF)) {
            constexpr const char* alone = "a high surrogate comes without a low one";
            if (!text_.substr(at_).starts_with("\\u")) return failHere(alone);
            at_ += 2;
            const auto low = readUnit();
            if (!low || !isWithin(*low, 0xDC00, 0xDFFF)) return failHere(alone);
            unit = 0x10000U + ((*unit - 0xD800U) << 10U) + (*low - 0xDC00U);
        }
        if (content != nullptr) append(*content, *unit);
        return true;
    }

    /// Reads a text in quotes into `content`, unless that is null.
    bool readString(std::string* content) {
        const auto start = here();
        for (++at_; !isAtEnd();) {
            const char c = text_[at_];
            if (c == '"') {
                ++at_;
                return true;
            }
            if (c == '\\') {
                if (!readEscape(content)) return false;
                continue;
            }
            if (c == '\n' || c == '\r')
                return fail("the line ends within a text: a quote is missing, or \\n is meant");
            if (static_cast<unsigned char>(c) < 0x20)
                return fail("a control character within a text is written \\u and four digits");
            const auto length = sequenceLength(text_.substr(at_));
            if (length == 0) return fail("this is not UTF-8");
            if (content != nullptr) content->append(text_.substr(at_, length));
            at_ += length;
        }
        return failAt(start, "this text is not closed by a quote");
    }

    std::string_view text_;
    SourceMap& map_;
    std::size_t at_ = 0;
    std::size_t measured_ = 0;  ///< up to where `position_` counts
    Position position_;
    Position commaPosition_;
    std::vector<Open> open_;
    std::vector<Key> keys_;  ///< of the open objects
};

SourceMap::SourceMap(std::string_view text) {
    Scanner(text, *this).scan();
    std::sort(places_.begin(), places_.end());
}

Position SourceMap::of(std::string_view pointer) const {
    Position nearest;
    auto path = rootPath;
    const auto enter = [&] {
        // Of a repeated key the last place.
        const auto next = std::upper_bound(
            places_.begin(), places_.end(), path,
            [](std::uint64_t wanted, const Place& place) { return wanted < place.path; });
        if (next == places_.begin() || std::prev(next)->path != path) return false;
        nearest = {std::prev(next)->line, std::prev(next)->column};
        return true;
    };
    if (!enter()) return nearest;
    while (pointer.starts_with('/')) {
        pointer.remove_prefix(1);
        const auto end = std::min(pointer.find('/'), pointer.size());
        std::string component;
        for (std::size_t i = 0; i < end; ++i) {
            const bool isEscape = pointer[i] == '~' && i + 1 < end;
            component += isEscape ? (pointer[++i] == '1' ? '/' : '~') : pointer[i];
        }
        pointer.remove_prefix(end);
        path = pathOf(path, component);
        if (!enter()) break;
    }
    return nearest;
}

}  // namespace zentara::schemas
