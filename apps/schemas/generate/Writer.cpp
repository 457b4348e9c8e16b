#include "schemas/generate/Writer.h"

#include <algorithm>
#include <array>
#include <limits>
#include <stdexcept>

#include "text/Unicode.h"

namespace zentara::schemas {

namespace {

/// The character at `position` of valid UTF-8, and moves on.
char32_t nextCharacter(std::string_view text, std::size_t& position) {
    const auto lead = static_cast<unsigned char>(text[position++]);
    if (lead < 0x80) return lead;
    char32_t character = lead < 0xE0 ? lead & 0x1FU : lead < 0xF0 ? lead & 0x0FU : lead & 0x07U;
    while (position < text.size() && (static_cast<unsigned char>(text[position]) & 0xC0U) == 0x80)
        character = character << 6U | (static_cast<unsigned char>(text[position++]) & 0x3FU);
    return character;
}

/// Whether an editor does not show the character as it is, or a compiler warns of it.
bool isHidden(char32_t character) {
    using Range = std::pair<char32_t, char32_t>;
    static constexpr std::array ranges{
        Range{0, 0x1F},        Range{0x7F, 0x9F},     Range{0xAD, 0xAD},
        Range{0x61C, 0x61C},   Range{0x180E, 0x180E}, Range{0x200B, 0x200F},
        Range{0x2028, 0x202E}, Range{0x2060, 0x206F}, Range{0xFEFF, 0xFEFF},
        Range{0xFFF9, 0xFFFB}, Range{0xFFFE, 0xFFFF}, Range{0xE0000, 0xE0FFF},
    };
    return std::any_of(ranges.begin(), ranges.end(), [character](const Range& range) {
        return character >= range.first && character <= range.second;
    });
}

std::size_t widthOf(std::string_view text) {
    return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), [](char byte) {
        return (static_cast<unsigned char>(byte) & 0xC0U) != 0x80;
    }));
}

/// The last digits of a number.
std::string digits(std::uint32_t value, std::uint32_t base, std::size_t count) {
    std::string result(count, '0');
    for (; count > 0; value /= base)
        result[--count] = "0123456789abcdef"[value % base];
    return result;
}

/// A literal between quotes, with `escape` for hidden characters: their code and their bytes.
template <typename Escape>
std::string literal(std::string_view unchecked, const Escape& escape) {
    const auto text = withValidUTF8(std::string(unchecked));
    std::string result = "\"";
    for (std::size_t position = 0; position < text.size();) {
        const auto first = position;
        const auto character = nextCharacter(text, position);
        const auto bytes = std::string_view(text).substr(first, position - first);
        if (character == '"' || character == '\\') {
            result.append(1, '\\').append(bytes);
        } else if (character == '\n') {
            result += "\\n";
        } else if (isHidden(character)) {
            result += escape(character, bytes);
        } else {
            result += bytes;
        }
    }
    return result + '"';
}

/// "1 to 20", "At least 1" or "At most 20", with the unit and a full stop.
std::string range(const std::string& least, const std::string& most, std::string_view unit) {
    if (least.empty() && most.empty()) return {};
    std::string text;
    if (least == most) {
        text = "Exactly " + least;
    } else if (most.empty()) {
        text = "At least " + least;
    } else {
        text = (least.empty() ? "At most " : least + " to ") + most;
    }
    return text.append(unit) + '.';
}

/// The bounds of a length or a count.
std::string lengths(const std::optional<std::int64_t>& least,
                    const std::optional<std::int64_t>& most, std::string_view unit) {
    return range(least && *least > 0 ? std::to_string(*least) : std::string(),
                 most ? std::to_string(*most) : std::string(), unit);
}

/// As people write it.
std::string brief(double number) {
    auto text = numberText(number);
    if (text.ends_with(".0")) text.resize(text.size() - 2);
    return text;
}

std::string numericLimits(const ValueType& type) {
    std::string text;
    const auto add = [&text](std::string_view words, double bound) {
        text.append(text.empty() ? "" : " ").append(words).append(brief(bound)) += '.';
    };
    const bool isRange =
        type.minimum && type.maximum && !type.exclusiveMinimum && !type.exclusiveMaximum;
    if (isRange) {
        text = range(brief(*type.minimum), brief(*type.maximum), {});
    } else {
        if (type.minimum) add(type.exclusiveMinimum ? "More than " : "At least ", *type.minimum);
        if (type.maximum) add(type.exclusiveMaximum ? "Less than " : "At most ", *type.maximum);
    }
    if (type.multipleOf) add("A multiple of ", *type.multipleOf);
    return text;
}

void append(std::string& text, std::string_view separator, std::string_view sentence) {
    if (sentence.empty()) return;
    if (!text.empty()) text += separator;
    text += sentence;
}

}  // namespace

void Writer::line(std::string_view text) {
    do {
        const auto end = std::min(text.find('\n'), text.size());
        if (end > 0) text_.append(depth_, ' ').append(text.substr(0, end));
        text_ += '\n';
        text.remove_prefix(std::min(end + 1, text.size()));
    } while (!text.empty());
}

void Writer::breakable(std::string_view first, std::string_view second) {
    const bool isBroken = depth_ + widthOf(first) + widthOf(second) > 100;
    line(std::string(first).append(isBroken ? "\n    " : "").append(second));
}

void Writer::comment(std::string_view mark, std::string_view text) {
    const auto used = depth_ + mark.size();
    for (const auto& comment : commentLines(text, used < 60 ? 100 - used : 40)) {
        auto whole = std::string(mark) + comment;
        whole.erase(whole.find_last_not_of(' ') + 1);
        line(whole);
    }
}

std::vector<std::string> commentLines(std::string_view unchecked, std::size_t width) {
    const auto text = withValidUTF8(std::string(unchecked));
    std::vector<std::string> lines;
    std::string current;
    std::string word;
    const auto endWord = [&] {
        if (!current.empty() && widthOf(current) + 1 + widthOf(word) > width) {
            lines.push_back(std::move(current));
            current.clear();
        }
        append(current, " ", word);
        word.clear();
    };
    for (std::size_t position = 0; position < text.size();) {
        const auto first = position;
        const auto character = nextCharacter(text, position);
        if (character == '\n') {
            endWord();
            lines.push_back(std::move(current));
            current.clear();
        } else if (character <= ' ') {
            endWord();
        } else if (!isHidden(character)) {
            word.append(text, first, position - first);
        }
    }
    endWord();
    lines.push_back(std::move(current));
    for (auto& line : lines)
        if (line.ends_with('\\') || line.ends_with("\?\?/")) line += '.';
    while (!lines.empty() && lines.back().empty())
        lines.pop_back();
    return lines;
}

std::string literalInC(std::string_view text) {
    auto result = literal(text, [](char32_t, std::string_view bytes) {
        std::string escaped;
        for (const char byte : bytes)
            escaped += '\\' + digits(static_cast<unsigned char>(byte), 8, 3);
        return escaped;
    });
    for (std::size_t at = 0; (at = result.find("\?\?", at)) != std::string::npos; at += 2)
        result.insert(at + 1, 1, '\\');
    return result;
}

std::string literalInPython(std::string_view text) {
    return literal(text, [](char32_t character, std::string_view) {
        if (character < 0x100) return "\\x" + digits(character, 16, 2);
        if (character < 0x10000) return "\\u" + digits(character, 16, 4);
        return "\\U" + digits(character, 16, 8);
    });
}

std::string integerInC(std::int64_t value) {
    // The literal is positive, and the smallest number's is out of range.
    if (value == std::numeric_limits<std::int64_t>::min()) return "INT64_MIN";
    return std::to_string(value);
}

std::string numberText(double value) {
    auto text = JSONValue(value).text();
    if (text.find_first_of(".eE") == std::string::npos) text += ".0";
    return text;
}

std::string limitsOf(const ValueType& type) {
    auto text = numericLimits(type);
    append(text, " ", lengths(type.minLength, type.maxLength, " characters"));
    if (!type.format.empty()) append(text, " ", "Has the format " + type.format + '.');
    append(text, " ", lengths(type.minItems, type.maxItems, " elements"));
    if (type.uniqueItems) append(text, " ", "No element twice.");
    if (type.element) {
        const auto element = limitsOf(*type.element);
        if (!element.empty()) append(text, " ", "Each element: " + element);
    }
    for (const auto& pattern : type.patterns)
        append(text, "\n", "Pattern: " + pattern);
    return text;
}

bool canBeNull(const ValueType& type) {
    return type.isNullable && type.shape != Shape::json;
}

std::size_t positionIn(const Enumeration& enumeration, const JSONValue& value) {
    const auto& known = enumeration.values;
    const auto found = std::find_if(known.begin(), known.end(), [&value](const JSONValue& each) {
        return each == value || (each.asInteger() && each.asInteger() == value.asInteger());
    });
    if (found == known.end()) throw std::out_of_range(value.text() + " is not in the enumeration");
    return static_cast<std::size_t>(found - known.begin());
}

std::vector<std::string> namesOfValues(const Enumeration& enumeration, std::string_view what,
                                       NameStyle style,
                                       std::span<const std::string_view> reserved) {
    Scope scope(what, reserved);
    std::vector<std::string> names;
    for (const auto& value : enumeration.values) {
        const auto original = value.isString() ? std::string(value.string()) : value.text();
        names.push_back(scope.add(original, wordsOfValue(value), style));
    }
    return names;
}

std::string placeOf(const EventType& event, const Record& record) {
    return record.pointer.empty() ? event.path : event.path + ", " + record.pointer;
}

bool isPlainlyCalled(std::string_view key, std::string_view name) {
    const auto words = wordsOf(key);
    auto dashed = identifier(words, NameStyle::lowerSnake);
    std::replace(dashed.begin(), dashed.end(), '_', '-');
    const bool isStyled = key == dashed || key == identifier(words, NameStyle::lowerSnake) ||
                          key == identifier(words, NameStyle::upperSnake) ||
                          key == identifier(words, NameStyle::lowerCamel) ||
                          key == identifier(words, NameStyle::upperCamel);
    return isStyled && !name.ends_with('_');
}

std::string commentOf(const Property& property, std::string_view name) {
    std::string text = property.description;
    append(text, "\n", limitsOf(property.type));
    for (const auto* type = &property.type; type != nullptr; type = type->element.get())
        if (type->shape == Shape::json) append(text, "\n", "JSON: " + type->whyJSON);
    if (!isPlainlyCalled(property.key, name))
        append(text, "\n", "In JSON: " + JSONValue(property.key).text());
    return text;
}

std::string paragraphs(std::string_view title, std::string_view description) {
    std::string text(title);
    if (!title.empty() && title.find_last_of(".!?") != title.size() - 1) text += '.';
    append(text, "\n\n", description == title ? std::string_view() : description);
    return text;
}

}  // namespace zentara::schemas
