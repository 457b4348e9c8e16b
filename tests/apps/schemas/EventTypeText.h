#pragma once

#include <string>

#include "schemas/types/EventType.h"
#include "schemas/types/Names.h"

namespace zentara::schemas {

/// A compact form of the types, for exact comparisons:
///
///     Size="S"|"M"; Box{size!:Size}; {box:Box?,tags:[text(1..5)],+}
///
/// "!" required, "?" nullable, "+" free properties.
inline std::string textOf(const EventType& event, const ValueType& type) {
    const auto range = [](const auto& first, const auto& last, std::string_view before = "",
                          std::string_view behind = "") {
        if (!first && !last) return std::string();
        const auto number = [](const auto& bound) {
            return bound ? JSONValue(*bound).text() : "";
        };
        return '(' + number(first) + std::string(before) + ".." + std::string(behind) +
               number(last) + ')';
    };
    std::string text;
    switch (type.shape) {
        case Shape::json:
            text = "json<" + type.whyJSON + '>';
            break;
        case Shape::text:
            text = "text" + range(type.minLength, type.maxLength);
            for (const auto& pattern : type.patterns)
                text += '/' + pattern + '/';
            if (!type.format.empty()) text += '@' + type.format;
            break;
        case Shape::integer:
        case Shape::number:
            text = (type.shape == Shape::integer ? "integer" : "number") +
                   range(type.minimum, type.maximum, type.exclusiveMinimum ? "<" : "",
                         type.exclusiveMaximum ? "<" : "");
            if (type.multipleOf) text += '%' + JSONValue(*type.multipleOf).text();
            break;
        case Shape::boolean:
            text = "boolean";
            break;
        case Shape::enumeration:
            text = identifier(event.enumerations.at(type.position).words, NameStyle::upperCamel);
            break;
        case Shape::record:
            text = identifier(event.records.at(type.position).words, NameStyle::upperCamel);
            break;
        case Shape::list:
            text = '[' + textOf(event, *type.element) + ']' + range(type.minItems, type.maxItems) +
                   (type.uniqueItems ? "unique" : "");
            break;
    }
    return type.isNullable ? text + '?' : text;
}

inline std::string textOf(const EventType& event) {
    std::string text;
    for (const auto& enumeration : event.enumerations) {
        text += identifier(enumeration.words, NameStyle::upperCamel) + '=';
        for (const auto& value : enumeration.values)
            text += value.text() + '|';
        text.back() = ';';
        text += ' ';
    }
    for (const auto& record : event.records) {
        if (!record.words.empty()) text += identifier(record.words, NameStyle::upperCamel);
        text += '{';
        for (const auto& property : record.properties) {
            text += property.key + (property.isRequired ? "!:" : ":") +
                    textOf(event, property.type) + ',';
        }
        if (record.hasFreeProperties) text += "+,";
        if (text.back() == ',') text.pop_back();
        text += "}; ";
    }
    return text.substr(0, text.size() - 2);
}

}  // namespace zentara::schemas
