#include "schemas/Format.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>

#include "network/InternetAddress.h"
#include "support/ASCII.h"
#include "text/Unicode.h"

namespace zentara {

namespace {

/// The length of the decimal 0 to 255, of up to three digits, at the start of the text; else 0.
std::size_t octetLength(std::string_view text) noexcept {
    std::uint8_t octet = 0;
    const auto [end, error] =
        std::from_chars(text.data(), text.data() + std::min<std::size_t>(text.size(), 3), octet);
    return error == std::errc() ? static_cast<std::size_t>(end - text.data()) : 0;
}

/// The number of UTF-16 units, 1, of a line terminator that starts the text; else 0.
std::size_t lineTerminatorLength(std::string_view text) noexcept {
    for (const std::string_view terminator :
         {"\n", "\v", "\f", "\r", "\xC2\x85", "\xE2\x80\xA8", "\xE2\x80\xA9"}) {
        if (text.starts_with(terminator)) return 1;
    }
    return 0;
}

/// Accepts four octets joined by dots, as an expression that ends in "$" does. It searches as many
/// UTF-16 units as the text has characters and ignores the rest. "$" also matches before a final
/// line terminator.
bool isIPv4(std::string_view text, WorkAllowance& allowance) {
    std::size_t position = 0;
    for (int octet = 0; octet < 4; ++octet) {
        if (octet > 0 && (position >= text.size() || text[position++] != '.')) return false;
        const auto length = octetLength(text.substr(position));
        if (length == 0) return false;
        position += length;
    }
    if (position == text.size()) return true;
    const auto searched = characterCount(text, &allowance);
    if (position > searched) return false;
    const auto rest = text.substr(position);
    if (rest.starts_with("\r\n") && searched == position + 2) return true;
    return searched == position || searched == position + lineTerminatorLength(rest);
}

bool isIPv6(std::string_view text, WorkAllowance& /*allowance*/) {
    return isIPv6Address(text);
}

/// For each byte whether it is a letter, a digit or one of `others`.
constexpr std::array<unsigned char, 256> tableOf(std::string_view others) noexcept {
    std::array<unsigned char, 256> table{};
    for (std::size_t i = 0; i < table.size(); ++i) {
        const auto c = static_cast<char>(i);
        table[i] = isLetter(c) || isDigit(c) || others.find(c) != std::string_view::npos ? 1 : 0;
    }
    return table;
}

constexpr auto schemeCharacters = tableOf("+.-");
constexpr auto uriCharacters = tableOf(".-_~:/?#[]@!$&'()*+,;=");

/// Whether all of `text` is a scheme, a colon and one or more URI characters or percent escapes.
bool isWholeURI(std::string_view text) noexcept {
    std::size_t colon = 0;
    while (colon < text.size() && schemeCharacters[static_cast<unsigned char>(text[colon])] != 0)
        ++colon;
    if (colon == 0 || colon + 1 >= text.size() || text[colon] != ':' || !isLetter(text[0]))
        return false;
    const auto mayBeAt = [text](std::size_t i) {
        return unsigned{uriCharacters[static_cast<unsigned char>(text[i])]};
    };
    for (std::size_t i = colon + 1; i < text.size(); ++i) {
        // Four characters per branch.
        while (i + 4 < text.size() &&
               (mayBeAt(i) & mayBeAt(i + 1) & mayBeAt(i + 2) & mayBeAt(i + 3)) != 0)
            i += 4;
        if (mayBeAt(i) != 0) continue;
        if (text[i] != '%' || text.size() - i < 3) return false;
        if (hexDigitValue(text[i + 1]) < 0 || hexDigitValue(text[i + 2]) < 0) return false;
        i += 2;
    }
    return true;
}

/// Searches as many UTF-16 units as the text has characters. All of them must be ASCII, so they are
/// as many bytes.
bool isURI(std::string_view text, WorkAllowance& allowance) {
    if (isWholeURI(text)) return true;
    const auto searched = characterCount(text, &allowance);
    return searched < text.size() && isWholeURI(text.substr(0, searched));
}

/// Accepts digits with exactly one point. The digits behind the point must be an integer of 64
/// signed bits.
bool isNumericString(std::string_view text, WorkAllowance& /*allowance*/) {
    if (text.find_first_not_of("0123456789.") != std::string_view::npos) return false;
    const auto point = text.find('.');
    if (point == std::string_view::npos) return false;
    const auto fraction = text.substr(point + 1);
    std::int64_t parsed = 0;
    const auto [end, error] =
        std::from_chars(fraction.data(), fraction.data() + fraction.size(), parsed);
    return error == std::errc() && end == fraction.data() + fraction.size();
}

constexpr std::array<Format, 4> formatsWith(Format::OtherKinds ofNumericString) {
    return {{
        {"ipv4", &isIPv4, " is not valid IPv4 address."},
        {"ipv6", &isIPv6, " is not valid IPv6 address."},
        {"uri", &isURI, " is not a valid URI."},
        {"numericString", &isNumericString, " is not valid NumericString format.", ofNumericString},
    }};
}

constexpr auto standard = formatsWith(Format::OtherKinds::fatal);
constexpr auto refusing = formatsWith(Format::OtherKinds::refused);
constexpr auto stopping = formatsWith(Format::OtherKinds::stopping);

}  // namespace

std::span<const Format> standardFormats() noexcept {
    return standard;
}

std::span<const Format> refusingFormats() noexcept {
    return refusing;
}

std::span<const Format> stoppingFormats() noexcept {
    return stopping;
}

}  // namespace zentara
