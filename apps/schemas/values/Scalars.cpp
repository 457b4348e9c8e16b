#include "schemas/values/Scalars.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <initializer_list>
#include <optional>
#include <utility>

#include "support/ASCII.h"
#include "text/Unicode.h"

namespace zentara::schemas {

namespace {

constexpr double largest = 9007199254740992;  // integers up to here are exact doubles

struct NumberRange {
    double least = -largest, most = largest;
    bool hasLeast = false, hasMost = false, isAboveLeast = false, isBelowMost = false;
    double unit = 0;  ///< 0: none
};

NumberRange rangeOf(const JointSchemas& all) {
    NumberRange range;
    for (const auto* const schema : all) {
        const auto numberOf = [schema](std::string_view key) -> std::optional<double> {
            const auto* const value = schema->find(key);
            return value == nullptr ? std::nullopt : value->asDouble();
        };
        const auto isSet = [schema](std::string_view key) {
            const auto* const value = schema->find(key);
            return value != nullptr && value->ifBoolean() == true;
        };
        if (const auto least = numberOf("minimum");
            least && (!range.hasLeast || *least >= range.least)) {
            range.isAboveLeast = (range.hasLeast && *least == range.least && range.isAboveLeast) ||
                                 isSet("exclusiveMinimum");
            range.least = *least;
            range.hasLeast = true;
        }
        if (const auto most = numberOf("maximum");
            most && (!range.hasMost || *most <= range.most)) {
            range.isBelowMost = (range.hasMost && *most == range.most && range.isBelowMost) ||
                                isSet("exclusiveMaximum");
            range.most = *most;
            range.hasMost = true;
        }
        if (const auto unit = numberOf("multipleOf"); unit && *unit > 0)
            range.unit = std::max(range.unit, *unit);
    }
    return range;
}

/// The numbers k for which k times the unit lies in the range.
struct Multiples {
    double unit;
    std::int64_t least, most;
};

Multiples multiplesOf(const NumberRange& range, double unit) {
    double least = std::ceil(range.least / unit);
    double most = std::floor(range.most / unit);
    if (range.isAboveLeast && least * unit <= range.least) ++least;
    if (range.isBelowMost && most * unit >= range.most) --most;
    if (!range.hasLeast && range.hasMost) least = std::min(least, most - 1000);
    if (!range.hasMost && range.hasLeast) most = std::max(most, least + 1000);
    const auto integer = [](double number) {
        return static_cast<std::int64_t>(std::clamp(number, -largest * 512, largest * 512));
    };
    return {unit, integer(least), std::max(integer(least), integer(most))};
}

std::int64_t choose(const Multiples& all, const NumberRange& range, Random& random,
                    bool isPleasant) {
    const auto within = [&all](std::int64_t wanted) {
        return std::clamp(wanted, all.least, all.most);
    };
    if (isPleasant) {
        const bool isSmall = range.hasLeast && range.hasMost && range.most - range.least <= 1000;
        if (isSmall) return all.least + (all.most - all.least) / 2;
        return within(range.hasLeast ? all.least + 2 : 3);
    }
    switch (random.below(8)) {
        case 0:
            return all.least;
        case 1:
            return all.most;
        case 2:
            return within(all.least + 1);
        case 3:
            return within(all.most - 1);
        case 4:
            return random.between(all.least, all.most);
        case 5:
            return within(random.between(-10, 10));
        case 6:
            return within(random.between(-1'000'000, 1'000'000));
        default:
            break;
    }
    return range.hasLeast  ? within(all.least + random.between(0, 20))
           : range.hasMost ? within(all.most - random.between(0, 20))
                           : within(random.between(0, 20));
}

/// A multiple of `unit` that is an integer.
double integerUnit(double unit) {
    if (unit == 0) return 1;
    for (int factor = 1; factor <= 1000; ++factor) {
        const double multiple = unit * factor;
        if (multiple >= 1 && multiple == std::floor(multiple)) return multiple;
    }
    return 1;
}

double fractionIn(const NumberRange& range, Random& random, bool isPleasant) {
    const double least = range.hasLeast ? range.least : range.hasMost ? range.most - 100 : -100;
    const double reach = isPleasant || random.chance(75) ? 100 : 1'000'000;
    const double most = range.hasMost ? range.most : std::max(least, 0.0) + reach;
    if (!isPleasant) {
        const auto choice = random.below(6);
        if (choice == 0 && !range.isAboveLeast) return least;
        if (choice == 1 && !range.isBelowMost) return most;
        if (choice == 2) return std::nextafter(least, most);
        if (choice == 3) return std::nextafter(most, least);
    }
    constexpr std::array<double, 5> plausible{64.5, 12.5, 4.5, 0.75, 0.5};
    if (isPleasant) {
        for (const double number : plausible)
            if (number > least && number < most) return number;
    }
    const auto portion = isPleasant ? 500.0 : static_cast<double>(random.between(1, 999));
    // Rounded once on every machine.
    const double number = std::fma((most - least) / 1000, portion, least);
    const double rounded = std::floor(number * 100) / 100;
    return rounded > least && rounded < most ? rounded : number;
}

/// Texts that people expect under names that contain a word.
constexpr auto plausibleTexts = std::to_array<std::pair<std::string_view, std::string_view>>({
    {"email", "ada@alder.example"},
    {"url", "https://www.alder.example/"},
    {"uri", "https://www.alder.example/"},
    {"link", "https://www.alder.example/"},
    {"image", "https://img.alder.example/1.jpg"},
    {"phone", "+49 30 123456"},
    {"currency", "EUR"},
    {"country", "DE"},
    {"language", "en"},
    {"locale", "en-GB"},
    {"city", "Berlin"},
    {"street", "Birch Lane 4"},
    {"zip", "10115"},
    {"postal", "10115"},
    {"date", "2024-05-17"},
    {"time", "12:30:00"},
    {"color", "green"},
    {"colour", "green"},
    {"size", "M"},
    {"version", "1.4.2"},
    {"coupon", "SPRING"},
    {"brand", "Alder"},
    {"category", "shoes"},
    {"section", "home"},
    {"query", "rain jacket"},
    {"term", "rain jacket"},
    {"title", "Rain jacket"},
    {"name", "Rain jacket"},
    {"description", "Light and dry"},
    {"comment", "Fits well"},
    {"text", "Fits well"},
    {"price", "64.50"},
    {"amount", "64.50"},
    {"sku", "AL-2041"},
    {"id", "AL-2041"},
});

constexpr auto someWords = std::to_array<std::string_view>(
    {"alder", "birch", "cedar", "linden", "maple", "rowan", "spruce", "willow"});

std::string plausibleText(std::string_view name, Random& random) {
    const auto lower = lowerCase(std::string(name));
    for (const auto& [word, text] : plausibleTexts)
        if (lower.find(word) != std::string::npos) return std::string(text);
    return std::string(random.oneOf(someWords));
}

constexpr std::size_t longestDrawnText = 100'000;

/// Adds or removes characters of ASCII at the end.
std::string fitted(std::string text, SchemaIndex::Bounds bounds) {
    const auto least = static_cast<std::size_t>(
        std::clamp(bounds.least, std::int64_t{0}, static_cast<std::int64_t>(longestDrawnText)));
    for (std::size_t i = 0; text.size() < least; ++i)
        text += "abcdefghijklmnopqrstuvwxyz"[i % 26];
    if (bounds.most >= 0 && static_cast<std::int64_t>(text.size()) > bounds.most)
        text.resize(static_cast<std::size_t>(bounds.most));
    if (text.ends_with(' ') && least < text.size()) text.pop_back();
    return text;
}

std::string freeText(Random& random, SchemaIndex::Bounds bounds) {
    constexpr std::int64_t reach = 40;
    const auto least = std::clamp(bounds.least, std::int64_t{0}, std::int64_t{longestDrawnText});
    const auto most =
        std::max(least, std::min(bounds.most, std::max(least, std::int64_t{200}) + reach));
    std::int64_t length = random.between(least, std::min(most, least + reach));
    if (random.chance(20)) length = least;
    if (random.chance(20)) length = most;
    // Each is a character to people: more bytes than that, and more UTF-16 units in some.
    constexpr auto wide = std::to_array<std::string_view>(
        {"\xC3\xA9", "\xC3\x9F", "\xE2\x82\xAC", "\xE6\xB5\xB7", "\xF0\x9F\x91\x8D",
         "\xF0\x9F\x91\xA9\xE2\x80\x8D\xF0\x9F\x91\xA9\xE2\x80\x8D\xF0\x9F\x91\xA7"});
    constexpr std::string_view plain =
        "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789 -_.";
    const bool isWide = random.chance(15);
    std::string text;
    for (std::int64_t i = 0; i < length; ++i) {
        if (isWide && random.chance(30)) {
            text += random.oneOf(wide);
        } else {
            text += random.oneOf(plain);
        }
    }
    return text;
}

std::string formatted(std::string_view format, Random& random, SchemaIndex::Bounds bounds,
                      bool isPleasant) {
    // One after the other: compilers evaluate the parts of an expression in different orders.
    const auto joined = [&random](std::string text, char separator,
                                  std::initializer_list<std::int64_t> mosts) {
        for (const auto most : mosts) {
            if (!text.empty()) text += separator;
            text += std::to_string(random.between(0, most));
        }
        return text;
    };
    if (format == "ipv4") {
        return isPleasant ? "192.0.2.17" : joined("", '.', {255, 255, 255, 255});
    }
    if (format == "ipv6") {
        if (isPleasant) return "2001:db8::17";
        return joined(random.chance(30) ? ":" : "2001:db8::1", ':', {9999});
    }
    if (format == "numericString") {
        auto text = isPleasant ? "64.50" : joined("", '.', {99999, 99});
        const auto missing = bounds.least - static_cast<std::int64_t>(text.size());
        // In front of the point: behind it, the digits must fit an integer.
        if (missing > 0 && missing < static_cast<std::int64_t>(longestDrawnText))
            text.insert(0, static_cast<std::size_t>(missing), '1');
        if (static_cast<std::int64_t>(text.size()) > bounds.most) return "1.5";
        return text;
    }
    if (format != "uri") return "";
    std::string_view page = "https://www.alder.example/";
    if (static_cast<std::int64_t>(page.size()) > bounds.most) page = "a:b";
    return fitted(isPleasant ? std::string(page) : joined(std::string(page), '/', {9999}), bounds);
}

bool fits(const ScalarDemands& demands, const std::string& text, SchemaIndex::Bounds bounds) {
    const auto length = static_cast<std::int64_t>(characterCount(text));
    if (length < bounds.least || length > bounds.most) return false;
    return std::all_of(demands.all.begin(), demands.all.end(), [&](const JSONObject* schema) {
        const auto* const pattern = schema->find("pattern");
        return pattern == nullptr || !pattern->isString() ||
               demands.index.pattern(pattern->string()).expression().matches(text);
    });
}

}  // namespace

JSONValue drawNumber(const ScalarDemands& demands, unsigned kinds, Random& random) {
    const auto range = rangeOf(demands.all);
    const bool isFraction =
        (kinds & kinds::fraction) != 0 &&
        ((kinds & kinds::integer) == 0 || demands.isPleasant || random.chance(60));
    if (!isFraction) {
        const auto multiples = multiplesOf(range, integerUnit(range.unit));
        const auto factor = choose(multiples, range, random, demands.isPleasant);
        const auto unit = static_cast<std::int64_t>(std::min(multiples.unit, largest));
        if (std::abs(static_cast<double>(factor) * static_cast<double>(unit)) > largest * 512)
            return factor;
        return factor * unit;
    }
    if (range.unit == 0) return fractionIn(range, random, demands.isPleasant);
    const auto multiples = multiplesOf(range, range.unit);
    double number = 0;
    // The quotient of a multiple and its unit is not always an integer in doubles.
    for (int attempt = 0; attempt < 20; ++attempt) {
        number = static_cast<double>(
                     choose(multiples, range, random, demands.isPleasant && attempt == 0)) *
                 range.unit;
        const double quotient = number / range.unit;
        if (quotient == std::floor(quotient)) break;
    }
    return number;
}

std::string drawText(const ScalarDemands& demands, Random& random) {
    const auto bounds = SchemaIndex::bounds(demands.all, "minLength", "maxLength");
    if (bounds.least > std::int64_t{longestDrawnText}) return "";
    std::vector<std::string_view> patterns;
    std::string_view format;
    for (const auto* const schema : demands.all) {
        const auto* const pattern = schema->find("pattern");
        if (pattern != nullptr && pattern->isString()) patterns.push_back(pattern->string());
        const auto* const name = schema->find("format");
        if (name != nullptr && name->isString()) format = name->string();
    }
    std::string text;
    for (std::size_t attempt = 0; attempt < 24; ++attempt) {
        const bool isPleasant = demands.isPleasant && attempt == 0;
        if (!format.empty()) {
            text = formatted(format, random, bounds, isPleasant);
        } else if (!patterns.empty()) {
            // Plausible texts first.
            if (isPleasant) {
                text = fitted(plausibleText(demands.name, random), bounds);
                if (fits(demands, text, bounds)) return text;
            }
            const auto reach = std::clamp(bounds.least, std::int64_t{demands.isPleasant ? 2 : 4},
                                          std::int64_t{1000});
            const auto& pattern = demands.index.pattern(random.oneOf(patterns));
            text = pattern.draw(random, static_cast<std::size_t>(reach) * (1 + attempt / 8))
                       .value_or("");
            // Most expressions find what they need in a longer text, too.
            if (static_cast<std::int64_t>(characterCount(text)) < bounds.least)
                text = fitted(std::move(text), bounds);
        } else {
            text = isPleasant ? fitted(plausibleText(demands.name, random), bounds)
                              : freeText(random, bounds);
        }
        if (fits(demands, text, bounds)) break;
    }
    return text;
}

}  // namespace zentara::schemas
