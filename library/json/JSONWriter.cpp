#include "json/JSONWriter.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstring>

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

template <typename Word>
std::uint64_t wordAt(const char* bytes) noexcept {
    Word word = 0;
    std::memcpy(&word, bytes, sizeof(word));
    return word;
}

/// How many of the bytes at the start of `text` surely stand for themselves, looked at by eights
/// since most do, and looking at one after the other took most of the time of writing an event.
std::size_t plainLength(std::string_view text) noexcept {
    constexpr std::size_t whole = sizeof(std::uint64_t);
    constexpr std::size_t half = sizeof(std::uint32_t);
    const auto* const end = text.data() + text.size();
    if (text.size() < whole) {
        // Two halves, which may overlap.
        return text.size() >= half && isPlain(wordAt<std::uint32_t>(text.data()) |
                                              wordAt<std::uint32_t>(end - half) << 32U)
                   ? text.size()
                   : 0;
    }
    std::size_t length = 0;
    for (; length + whole <= text.size(); length += whole) {
        if (!isPlain(wordAt<std::uint64_t>(text.data() + length))) return length;
    }
    return isPlain(wordAt<std::uint64_t>(end - whole)) ? text.size() : length;
}

/// More than any number takes: 24 characters, or 22 and ".0".
constexpr std::size_t longestNumber = 32;

}  // namespace

void JSONWriter::grow(std::size_t size) {
    constexpr std::size_t ahead = 256;
    const auto used = length();
    const auto needed = used + size;
    // What the caller has reserved is used up before the string moves.
    text_.resize(std::max(needed, std::min(needed + ahead, text_.capacity())));
    lookAt(used);
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

void JSONWriter::integer(std::int64_t number) {
    digits(number);
}

template <typename Integer>
void JSONWriter::digits(Integer number) {
    makeRoom(longestNumber);
    next_ = std::to_chars(next_, end_, number).ptr;
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

bool JSONWriter::value(const JSONObject& object, std::size_t depth) {
    if (depth == 0) return false;
    text("{");
    bool first = true;
    for (const auto& [key, member] : object) {
        if (!first) text(",");
        first = false;
        string(key);
        text(":");
        if (!value(member, depth - 1)) return false;
    }
    text("}");
    return true;
}

bool JSONWriter::value(const JSONArray& array, std::size_t depth) {
    if (depth == 0) return false;
    text("[");
    bool first = true;
    for (const auto& element : array) {
        if (!first) text(",");
        first = false;
        if (!value(element, depth - 1)) return false;
    }
    text("]");
    return true;
}

bool JSONWriter::value(const JSONValue& value, std::size_t depth) {
    switch (value.kind()) {
        case JSONValue::Kind::null:
            text("null");
            return true;
        case JSONValue::Kind::boolean:
            text(value.boolean() ? "true" : "false");
            return true;
        case JSONValue::Kind::integer:
            digits(value.integer());
            return true;
        case JSONValue::Kind::unsignedInteger:
            digits(value.unsignedInteger());
            return true;
        case JSONValue::Kind::number:
            if (std::isfinite(value.number())) {
                number(value.number());
                return true;
            }
            text("null");
            return notFinite_ == NotFinite::null;
        case JSONValue::Kind::string:
            string(value.string());
            return true;
        case JSONValue::Kind::array:
            return this->value(value.array(), depth);
        case JSONValue::Kind::object:
            return this->value(value.object(), depth);
    }
    return false;
}

}  // namespace zentara
