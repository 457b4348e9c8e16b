#include "json/JSONText.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <utility>

#include "text/Unicode.h"

namespace zentara {

namespace {

/// For each byte, how a string literal holds it: 0 as it is, 'u' as \u00XX, else the letter after
/// the backslash.
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

/// Whether eight bytes all stand for themselves: none is a control character, a quote or a
/// backslash.
bool isPlain(std::uint64_t word) noexcept {
    constexpr std::uint64_t ones = 0x0101010101010101;
    // Sets the high bit of bytes that are below `bound`, and at times of those that follow one.
    const auto below = [](std::uint64_t bytes, std::uint64_t bound) {
        return (bytes - ones * bound) & ~bytes & (ones * 0x80);
    };
    return (below(word, 0x20) | below(word ^ (ones * '"'), 1) | below(word ^ (ones * '\\'), 1)) ==
           0;
}

/// How many bytes at the start of `text` surely stand for themselves. Most do, and examining them
/// singly took most of the time of writing an event.
std::size_t plainLength(std::string_view text) noexcept {
    return lengthOfWords(text, isPlain);
}

}  // namespace

void JSONWriter::grow(std::size_t size) {
    constexpr std::size_t ahead = 256;
    const auto used = length();
    const auto needed = used + size;
    // What the caller has reserved is used up before the string moves.
    text_.resize(std::max(needed, std::min(needed + ahead, text_.capacity())));
    cut(used);
}

void JSONWriter::string(std::string_view value) {
    makeRoom(value.size() + 2);
    put('"');
    std::size_t copied = 0;
    for (std::size_t i = plainLength(value); i < value.size(); ++i) {
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
        i += plainLength(value.substr(i + 1));
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

JSONObject withValidUTF8(JSONObject object) {
    JSONValue value(std::move(object));
    repair(value, maximumJSONDepth + 1);
    return std::move(value.object());
}

}  // namespace zentara
