#include "model/JSONText.h"

#include <array>
#include <boost/json/parser.hpp>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <memory>
#include <new>
#include <utility>

#include "platform/PlatformError.h"

namespace zentara {

namespace {

template <typename Integer>
void appendDigits(std::string& text, Integer number) {
    std::array<char, 24> digits;
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr;
    text.append(digits.data(), end);
}

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

bool write(std::string& text, const JSONValue& value, std::size_t depth);

bool write(std::string& text, const JSONObject& object, std::size_t depth) {
    if (depth == 0) return false;
    text += '{';
    bool first = true;
    for (const auto& [key, member] : object) {
        if (!first) text += ',';
        first = false;
        appendJSONString(text, key);
        text += ':';
        if (!write(text, member, depth - 1)) return false;
    }
    text += '}';
    return true;
}

bool write(std::string& text, const JSONArray& array, std::size_t depth) {
    if (depth == 0) return false;
    text += '[';
    bool first = true;
    for (const auto& element : array) {
        if (!first) text += ',';
        first = false;
        if (!write(text, element, depth - 1)) return false;
    }
    text += ']';
    return true;
}

bool write(std::string& text, const JSONValue& value, std::size_t depth) {
    switch (value.kind()) {
        case boost::json::kind::null:
            text += "null";
            return true;
        case boost::json::kind::bool_:
            text += value.get_bool() ? "true" : "false";
            return true;
        case boost::json::kind::int64:
            appendDigits(text, value.get_int64());
            return true;
        case boost::json::kind::uint64:
            appendDigits(text, value.get_uint64());
            return true;
        case boost::json::kind::double_:
            if (!std::isfinite(value.get_double())) return false;
            appendDouble(text, value.get_double());
            return true;
        case boost::json::kind::string:
            appendJSONString(text, value.get_string());
            return true;
        case boost::json::kind::array:
            return write(text, value.get_array(), depth);
        case boost::json::kind::object:
            return write(text, value.get_object(), depth);
    }
    return false;
}

template <typename Value>
bool appendWhole(std::string& text, const Value& value, std::size_t depth) {
    const auto start = text.size();
    if (write(text, value, depth)) return true;
    text.resize(start);
    return false;
}

ParsedJSON failure(int code, std::string message) {
    return {JSONValue(), std::make_shared<PlatformError>(PlatformError::Domain::json, code,
                                                         "JSON: " + std::move(message))};
}

}  // namespace

void appendInteger(std::string& text, std::int64_t number) {
    appendDigits(text, number);
}

void appendDouble(std::string& text, double number) {
    if (std::isnan(number)) {
        text += "nan";
        return;
    }
    if (std::isinf(number)) {
        text += number < 0 ? "-inf" : "inf";
        return;
    }
    constexpr double largestExactInteger = 9007199254740992.0;  // 2^53
    const double magnitude = std::fabs(number);
    const bool decimal =
        magnitude == 0 || (magnitude >= 0.0001 && magnitude <= largestExactInteger);
    std::array<char, 40> digits;
    const auto end =
        std::to_chars(digits.data(), digits.data() + digits.size(), number,
                      decimal ? std::chars_format::fixed : std::chars_format::scientific)
            .ptr;
    const std::string_view written(digits.data(), static_cast<std::size_t>(end - digits.data()));
    text += written;
    if (decimal && written.find('.') == std::string_view::npos) text += ".0";
}

void appendJSONString(std::string& text, std::string_view value) {
    text += '"';
    std::size_t copied = 0;
    for (std::size_t i = plainLength(value); i < value.size(); ++i) {
        const auto byte = static_cast<unsigned char>(value[i]);
        const char escape = escapes[byte];
        if (escape == 0) continue;
        text.append(value, copied, i - copied);
        copied = i + 1;
        text += '\\';
        text += escape;
        if (escape == 'u') {
            constexpr std::string_view hexadecimal = "0123456789abcdef";
            text += "00";
            text += hexadecimal[byte >> 4U];
            text += hexadecimal[byte & 0xFU];
        }
        i += plainLength(value.substr(i + 1));
    }
    text.append(value, copied);
    text += '"';
}

bool appendJSON(std::string& text, const JSONValue& value, std::size_t depth) {
    return appendWhole(text, value, depth);
}

bool appendJSON(std::string& text, const JSONObject& object, std::size_t depth) {
    return appendWhole(text, object, depth);
}

ParsedJSON parseJSON(std::string_view text, boost::json::storage_ptr storage) {
    constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";
    if (text.starts_with(byteOrderMark)) text.remove_prefix(byteOrderMark.size());

    boost::json::parse_options options;
    options.max_depth = maximumJSONDepth;
    // The parser's own scratch space: enough for most documents without the heap.
    std::array<unsigned char, 4096> scratch;
    boost::json::parser parser(storage, options, scratch.data(), scratch.size());
    boost::json::error_code code;
    try {
        parser.write(text.data(), text.size(), code);
    } catch (const std::bad_alloc&) {
        // Small texts can need much: a document is not worth the process.
        return failure(0, "not enough memory");
    }
    if (code) return failure(code.value(), code.message());
    ParsedJSON parsed{parser.release(), nullptr};
    if (!parsed.value.is_object() && !parsed.value.is_array()) {
        return failure(0, "the top level is neither an object nor an array");
    }
    return parsed;
}

}  // namespace zentara
