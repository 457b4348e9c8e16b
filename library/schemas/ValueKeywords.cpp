#include <algorithm>
#include <cmath>

#include "json/ObjectEquality.h"
#include "schemas/KeywordValues.h"
#include "schemas/Type.h"
#include "schemas/ValidationRun.h"
#include "text/RegularExpression.h"
#include "text/Unicode.h"

// The keywords that look at a value as a whole, and those for strings and numbers.

namespace zentara {

namespace {

constexpr std::int64_t unitsPerTypeName = 15;
/// Of text with a "format", and where combining characters are looked for.
constexpr std::int64_t unitsPerFormatByte = 4;
constexpr std::int64_t unitsPerCountedByte = 44;

/// The kind of the number counts: 3.0 is a floating-point number. Integers beyond 64 bits, however,
/// are read as doubles, so a double out there is taken for one of them.
bool isInteger(const JSONValue& value) noexcept {
    if (const auto number = value.ifDouble()) {
        return std::isfinite(*number) && (*number < -0x1p63 || *number >= 0x1p64);
    }
    return value.isInteger() || value.isUnsignedInteger();
}

bool hasType(const JSONValue& value, Type type) noexcept {
    switch (type) {
        case Type::Object:
            return value.isObject();
        case Type::Array:
            return value.isArray();
        case Type::String:
            return value.isString();
        case Type::Integer:
            return isInteger(value);
        case Type::Number:
            return value.isNumber();
        case Type::Boolean:
            return value.isBoolean();
        case Type::Null:
            return value.isNull();
    }
    return false;
}

bool hasType(const JSONValue& value, std::string_view name) noexcept {
    const auto type = typeFromRawValue(name);
    return type && hasType(value, *type);
}

bool isTrue(const JSONValue* value) noexcept {
    return value != nullptr && value->isBoolean() && value->boolean();
}

}  // namespace

bool ValidationRun::format(const JSONValue& name, const JSONValue& value) {
    const auto text = name.ifString();
    if (!text) return true;
    const auto format = std::find_if(
        formats_.begin(), formats_.end(),
        [wanted = std::string_view(*text)](const Format& each) { return each.name == wanted; });
    if (format == formats_.end()) {
        return fail("'format' validation of '", *text, "' is not yet supported.");
    }
    if (const auto string = value.ifString()) {
        // The characters of other text may have to be counted.
        const bool isPlain = std::none_of(string->begin(), string->end(), [](char c) {
            return (static_cast<unsigned char>(c) & 0x80U) != 0;
        });
        const auto size = static_cast<std::int64_t>(string->size());
        if (!spend(size * (isPlain ? unitsPerFormatByte : unitsPerCountedByte))) return false;
    }
    return format->accepts(value) || fail("'", value, "'", format->complaint);
}

bool ValidationRun::type(const JSONValue& type, const JSONValue& value) {
    if (const auto name = type.ifString()) {
        return hasType(value, *name) || fail("'", value, "' is not of type '", *name, "'");
    }
    const auto* const names = listOfStrings(type, allowance_);
    if (names == nullptr) return fail("'", type, "' is not a valid 'type'");
    if (!spend(unitsPerTypeName * static_cast<std::int64_t>(names->size()))) return false;
    const auto fits = [&value](const JSONValue& name) {
        return hasType(value, name.string());
    };
    return std::any_of(names->begin(), names->end(), fits) ||
           fail(value, " does not meet anyOf validation rules.");
}

bool ValidationRun::enumeration(const JSONValue& list, const JSONValue& value) {
    const auto* const values = list.ifArray();
    if (values == nullptr) return true;
    for (const auto& each : *values) {
        if (objectsEqual(value, each, &allowance_)) return true;
        if (allowance_.exhausted()) return stopForCost();
    }
    return fail("'", value, "' is not a valid enumeration value of '", list, "'");
}

std::size_t ValidationRun::countCharacters(std::string_view text) {
    return characterCount(text, &allowance_);
}

bool ValidationRun::maxLength(const JSONValue& bound, const JSONValue& value) {
    const auto text = value.ifString();
    const auto most = integerValue(bound);
    if (!text || !most) return true;
    // No text has more characters than bytes.
    if (static_cast<std::int64_t>(text->size()) <= *most) return true;
    return static_cast<std::int64_t>(countCharacters(*text)) <= *most ||
           fail("Length of string is larger than max length ", *most);
}

bool ValidationRun::minLength(const JSONValue& bound, const JSONValue& value) {
    const auto text = value.ifString();
    const auto least = integerValue(bound);
    if (!text || !least) return true;
    // A text that is not empty has at least one.
    if (*least <= (text->empty() ? 0 : 1)) return true;
    return static_cast<std::int64_t>(countCharacters(*text)) >= *least ||
           fail("Length of string is smaller than minimum length ", *least);
}

bool ValidationRun::pattern(const JSONValue& pattern, const JSONValue& value) {
    const auto expressionText = pattern.ifString();
    const auto text = value.ifString();
    if (!expressionText || !text) return true;
    const RegularExpression expression(*expressionText);
    const bool isValid = expression.isValid(&allowance_);
    if (allowance_.exhausted()) return stopForCost();
    if (!isValid) return fail("[Schema] Regex pattern '", pattern, "' is not valid");
    if (expression.matches(*text, &allowance_)) return true;
    if (allowance_.exhausted()) return stopForCost();
    return fail("'", value, "' does not match pattern: '", pattern, "'");
}

bool ValidationRun::multipleOf(const JSONValue& divisor, const JSONValue& value) {
    const auto unit = numberValue(divisor);
    const auto number = numberValue(value);
    if (!unit || !number || !(*unit > 0)) return true;
    const double quotient = *number / *unit;
    return quotient == std::floor(quotient) ||
           fail(AsDouble{*number}, " is not a multiple of ", AsDouble{*unit});
}

bool ValidationRun::minimum(const JSONValue& bound, const JSONValue* exclusive,
                            const JSONValue& value) {
    const auto least = numberValue(bound);
    const auto number = numberValue(value);
    if (!least || !number) return true;
    if (isTrue(exclusive) ? *number > *least : *number >= *least) return true;
    return fail("Value is lower than minimum value of ", AsDouble{*least});
}

bool ValidationRun::maximum(const JSONValue& bound, const JSONValue* exclusive,
                            const JSONValue& value) {
    const auto most = numberValue(bound);
    const auto number = numberValue(value);
    if (!most || !number) return true;
    if (isTrue(exclusive) ? *number < *most : *number <= *most) return true;
    return fail("Value exceeds maximum value of ", AsDouble{*most});
}

}  // namespace zentara
