#include "schemas/Format.h"

#include <array>
#include <charconv>
#include <cstdint>
#include <string>

#include "json/PrintedForm.h"
#include "network/InternetAddress.h"
#include "support/Diagnostics.h"
#include "text/Unicode.h"

namespace zentara {

namespace {

bool isDigit(char c) noexcept {
    return c >= '0' && c <= '9';
}
bool isLetter(char c) noexcept {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}
bool isHexadecimal(char c) noexcept {
    return isDigit(c) || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}

/// The length of the decimal 0 to 255, of up to three digits, at the start of the text; else 0.
std::size_t octetLength(std::string_view text) noexcept {
    std::size_t length = 0;
    int number = 0;
    while (length < text.size() && length < 3 && isDigit(text[length])) {
        number = number * 10 + (text[length++] - '0');
    }
    return number <= 255 ? length : 0;
}

/// The number of UTF-16 units, 1, of a line terminator that starts the text; else 0.
std::size_t lineTerminatorLength(std::string_view text) noexcept {
    for (const std::string_view terminator :
         {"\n", "\v", "\f", "\r", "\xC2\x85", "\xE2\x80\xA8", "\xE2\x80\xA9"}) {
        if (text.starts_with(terminator)) return 1;
    }
    return 0;
}

/// Four octets joined by dots, as an expression that ends in "$" finds them in as many UTF-16 units
/// as the text has characters: "$" also matches before one last line terminator, and what lies
/// behind the searched range is not seen.
bool isIPv4(const JSONValue& value) {
    const auto string = value.ifString();
    if (!string) return true;
    const std::string_view text = *string;
    std::size_t position = 0;
    for (int octet = 0; octet < 4; ++octet) {
        if (octet > 0 && (position >= text.size() || text[position++] != '.')) return false;
        const auto length = octetLength(text.substr(position));
        if (length == 0) return false;
        position += length;
    }
    if (position == text.size()) return true;
    const auto searched = characterCount(text);
    if (position > searched) return false;
    const auto rest = text.substr(position);
    if (rest.starts_with("\r\n") && searched == position + 2) return true;
    return searched == position || searched == position + lineTerminatorLength(rest);
}

bool isIPv6(const JSONValue& value) {
    const auto string = value.ifString();
    return !string || isIPv6Address(*string);
}

constexpr std::array<bool, 256> uriCharacters = [] {
    std::array<bool, 256> table{};
    for (const char c : std::string_view("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz"
                                         "0123456789.-_~:/?#[]@!$&'()*+,;=")) {
        table[static_cast<unsigned char>(c)] = true;
    }
    return table;
}();

/// A scheme, a colon and one or more URI characters or percent escapes, over as many UTF-16 units
/// as the text has characters. All of those must be ASCII, so they are as many bytes.
bool isURI(const JSONValue& value) {
    const auto string = value.ifString();
    if (!string) return true;
    const std::string_view text = std::string_view(*string).substr(0, characterCount(*string));
    const auto colon = text.find(':');
    if (colon == std::string_view::npos || colon + 1 == text.size()) return false;
    if (!isLetter(text.front())) return false;
    for (const char c : text.substr(0, colon)) {
        if (!isLetter(c) && !isDigit(c) && c != '+' && c != '.' && c != '-') return false;
    }
    for (std::size_t i = colon + 1; i < text.size(); ++i) {
        if (uriCharacters[static_cast<unsigned char>(text[i])]) continue;
        if (text[i] != '%' || text.size() - i < 3) return false;
        if (!isHexadecimal(text[i + 1]) || !isHexadecimal(text[i + 2])) return false;
        i += 2;
    }
    return true;
}

/// Digits with exactly one point and at least one digit behind it, which as an integer must fit 64
/// signed bits.
bool isNumericString(const JSONValue& value) {
    const auto string = value.ifString();
    if (!string) {
        fatalError("The format numericString was applied to a value that is not a string.");
    }
    const std::string_view text = *string;
    if (text.find_first_not_of("0123456789.") != std::string_view::npos) return false;
    const auto point = text.find('.');
    if (point == std::string_view::npos) return false;
    const auto fraction = text.substr(point + 1);
    std::int64_t parsed = 0;
    const auto [end, error] =
        std::from_chars(fraction.data(), fraction.data() + fraction.size(), parsed);
    return error == std::errc() && end == fraction.data() + fraction.size();
}

constexpr std::array<Format, 4> formats = {{
    {"ipv4", &isIPv4, " is not valid IPv4 address."},
    {"ipv6", &isIPv6, " is not valid IPv6 address."},
    {"uri", &isURI, " is not a valid URI."},
    {"numericString", &isNumericString, " is not valid NumericString format."},
}};

}  // namespace

ValidationResult Format::operator()(const JSONValue& value) const {
    if (accepts(value)) return {};
    std::string message = "'";
    appendPrinted(message, value);
    message += '\'';
    message += complaint;
    return ValidationResult::invalid({std::move(message)});
}

std::span<const Format> standardFormats() noexcept {
    return formats;
}

}  // namespace zentara
