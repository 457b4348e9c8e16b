#include "json/JSONText.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <utility>

#include "support/WorkLimits.h"
#include "text/Unicode.h"

namespace zentara {

namespace {

/// How a string literal writes each byte: 0 for itself, 'u' for \u00XX, else the letter after the
/// backslash.
constexpr std::array<char, 256> escapes = [] {
    std::array<char, 256> table{};
    for (std::size_t control = 0; control < 0x20; ++control)
        table[control] = 'u';
    table['\b'] = 'b';
    table['\f'] = 'f';
    table['\n'] = 'n';
    table['\r'] = 'r';
    table['\t'] = 't';
    table['"'] = '"';
    table['\\'] = '\\';
    return table;
}();

/// Whether none of eight bytes needs an escape.
bool isPlain(std::uint64_t word) noexcept {
    constexpr std::uint64_t ones = 0x0101010101010101;
    // Sets the high bit of bytes below `bound`, and possibly of the next higher byte.
    const auto below = [](std::uint64_t bytes, std::uint64_t bound) {
        return (bytes - ones * bound) & ~bytes & (ones * 0x80);
    };
    return (below(word, 0x20) | below(word ^ (ones * '"'), 1) | below(word ^ (ones * '\\'), 1)) ==
           0;
}

}  // namespace

void JSONWriter::grow(std::size_t size) {
    constexpr std::size_t ahead = 256;
    const auto used = length();
    const auto needed = used + size;
    // Uses what the caller has reserved before the string is reallocated.
    text_.resize(std::max(needed, std::min(needed + ahead, text_.capacity())));
    cut(used);
}

void JSONWriter::string(std::string_view value) {
    makeRoom(value.size() + 2);
    put('"');
    std::size_t copied = 0;
    // Most bytes need no escape. Examining them singly took most of the time of writing an event.
    for (std::size_t i = lengthOfWords(value, isPlain); i < value.size(); ++i) {
        const auto byte = static_cast<unsigned char>(value[i]);
        const char escape = escapes[byte];
        if (escape == 0) continue;
        put(value.substr(copied, i - copied));
        copied = i + 1;
        constexpr std::size_t longestEscape = 6;
        makeRoom(longestEscape + (value.size() - copied) + 1);
        put('\\');
        put(escape);
        if (escape == 'u') {
            constexpr std::string_view hexadecimal = "0123456789abcdef";
            put("00");
            put(hexadecimal[byte >> 4U]);
            put(hexadecimal[byte & 0xFU]);
        }
        i += lengthOfWords(value.substr(i + 1), isPlain);
    }
    put(value.substr(copied));
    put('"');
}

void JSONWriter::number(double number) {
    if (std::isnan(number)) return text("nan");
    if (std::isinf(number)) return text(number < 0 ? "-inf" : "inf");
    constexpr double largestExactInteger = 9007199254740992.0;  // 2^53
    const double magnitude = std::fabs(number);
    const bool decimal =
        magnitude == 0 || (magnitude >= 0.0001 && magnitude <= largestExactInteger);
    makeRoom(longestNumber);
    const auto* const start = next_;
    next_ = std::to_chars(next_, end_, number,
                          decimal ? std::chars_format::fixed : std::chars_format::scientific)
                .ptr;
    const std::string_view written(start, static_cast<std::size_t>(next_ - start));
    if (decimal && written.find('.') == std::string_view::npos) text(".0");
}

// NOLINTNEXTLINE(misc-no-recursion)
void JSONWriter::write(const JSONValue& value, std::size_t depth) {
    switch (value.kind()) {
        case JSONValue::Kind::null:
            return text("null");
        case JSONValue::Kind::boolean:
            return text(value.boolean() ? "true" : "false");
        case JSONValue::Kind::integer:
            return integer(value.integer());
        case JSONValue::Kind::unsignedInteger:
            return integer(value.unsignedInteger());
        case JSONValue::Kind::number:
            if (std::isfinite(value.number())) return number(value.number());
            isExact_ = false;
            return text("null");
        case JSONValue::Kind::string:
            return string(value.string());
        case JSONValue::Kind::array:
        case JSONValue::Kind::object:
            break;
    }
    if (depth == 0) {
        isExact_ = false;
        return;
    }
    bool isFirst = true;
    if (const auto* const array = value.ifArray()) {
        text("[");
        for (const auto& element : *array) {
            if (!std::exchange(isFirst, false)) text(",");
            write(element, depth - 1);
        }
        return text("]");
    }
    text("{");
    for (const auto& [key, member] : value.object()) {
        if (!std::exchange(isFirst, false)) text(",");
        string(key);
        text(":");
        write(member, depth - 1);
    }
    text("}");
}

std::string JSONValue::text() const {
    std::string text;
    (void)JSONWriter(text).value(*this, std::numeric_limits<std::size_t>::max());
    return text;
}

void appendDouble(std::string& text, double number) {
    JSONWriter(text).number(number);
}

void appendJSONString(std::string& text, std::string_view value) {
    JSONWriter(text).string(value);
}

bool appendJSON(std::string& text, const JSONValue& value, std::size_t depth) {
    JSONWriter writer(text);
    const auto start = writer.length();
    if (writer.value(value, depth)) return true;
    writer.cut(start);
    return false;
}

namespace {

/// Prints a value behind the end of a text, or only counts the bytes when there is no text.
class Printer {
  public:
    Printer(std::string* text, std::size_t most) : text_(text), most_(most) {}

    [[nodiscard]] std::size_t size() const noexcept { return size_; }

    // NOLINTNEXTLINE(misc-no-recursion)
    void print(const JSONValue& value, int depth) {
        if (size_ > most_) return;
        switch (value.kind()) {
            case JSONValue::Kind::null:
                return add("<null>");
            case JSONValue::Kind::boolean:
                return add(value.boolean() ? "true" : "false");
            case JSONValue::Kind::integer:
                return add(std::to_string(value.integer()));
            case JSONValue::Kind::unsignedInteger:
                return add(std::to_string(value.unsignedInteger()));
            case JSONValue::Kind::number: {
                std::string digits;
                appendDouble(digits, value.number());
                return add(digits);
            }
            case JSONValue::Kind::string:
                return quote(value.string());
            case JSONValue::Kind::array:
            case JSONValue::Kind::object:
                break;
        }
        if (isTooDeep(depth)) return add("...");
        std::string_view separator = "[";
        if (const auto* const array = value.ifArray()) {
            for (const auto& element : *array) {
                add(std::exchange(separator, ", "));
                print(element, depth + 1);
            }
            return add(array->empty() ? "[]" : "]");
        }
        for (const auto& [key, member] : value.object()) {
            add(std::exchange(separator, ", "));
            quote(key);
            add(": ");
            print(member, depth + 1);
        }
        add(value.object().empty() ? "[:]" : "]");
    }

  private:
    void add(std::string_view piece) {
        size_ += piece.size();
        if (text_ != nullptr) *text_ += piece;
    }

    void quote(std::string_view text) {
        constexpr std::string_view escaped("\"\\\n\r\t\0", 6);
        constexpr std::string_view letters = "\"\\nrt0";
        add("\"");
        for (;;) {
            const auto plain = text.substr(0, text.find_first_of(escaped));
            add(plain);
            if (plain.size() == text.size()) return add("\"");
            const char escape[] = {'\\', letters[escaped.find(text[plain.size()])]};
            add({escape, sizeof escape});
            text.remove_prefix(plain.size() + 1);
        }
    }

    std::string* const text_;
    const std::size_t most_;
    std::size_t size_ = 0;
};

// NOLINTNEXTLINE(misc-no-recursion)
void repair(JSONValue& value, std::size_t depth) {
    if (const auto text = value.ifString()) {
        if (!isValidUTF8(*text)) value = withValidUTF8(std::string(*text));
    } else if (depth == 0) {
        return;
    } else if (auto* const array = value.ifArray()) {
        for (auto& element : *array)
            repair(element, depth - 1);
    } else if (auto* const object = value.ifObject()) {
        bool areKeysValid = true;
        for (auto& [key, member] : *object) {
            repair(member, depth - 1);
            areKeysValid = areKeysValid && isValidUTF8(key);
        }
        if (areKeysValid) return;
        JSONObject repaired;
        repaired.reserve(object->size());
        for (auto& [key, member] : *object)
            repaired.set(withValidUTF8(std::string(key)), std::move(member));
        value = std::move(repaired);
    }
}

}  // namespace

std::size_t printedSize(const JSONValue& value, std::size_t most) {
    if (const auto string = value.ifString()) return string->size();
    Printer printer(nullptr, most);
    printer.print(value, 0);
    return printer.size();
}

void appendPrinted(std::string& text, const JSONValue& value) {
    if (const auto string = value.ifString()) {
        text += *string;
    } else {
        Printer(&text, std::string::npos).print(value, 0);
    }
}

JSONObject withValidUTF8(JSONObject object) {
    JSONValue value(std::move(object));
    repair(value, maximumJSONDepth + 1);
    return std::move(value.object());
}

}  // namespace zentara
