#include "collector/data/JSONText.h"

#include <algorithm>
#include <cmath>
#include "json/JSONText.h"

namespace zentara::collector {

namespace {

bool isHighByte(char character) {
    return static_cast<unsigned char>(character) >= 0x80;
}

std::string quoted(std::string_view string) {
    std::string text;
    zentara::appendJSONString(text, string);
    return text;
}

}  // namespace

bool holdsInfinity(const JSONValue& value) {
    if (const auto* const array = value.ifArray()) {
        return std::any_of(array->begin(), array->end(), holdsInfinity);
    }
    if (const auto* const object = value.ifObject()) {
        return std::any_of(object->begin(), object->end(),
                           [](const auto& member) { return holdsInfinity(member.value()); });
    }
    return value.isDouble() && !std::isfinite(value.number());
}

void appendJSONString(std::string& text, std::string_view string) {
    std::string json = quoted(string);
    if (std::any_of(string.begin(), string.end(), isHighByte)) {
        if (!parseJSONValue(json).ok()) {
            std::string utf8;
            for (const char character : string) {
                if (isHighByte(character)) {
                    const auto byte = static_cast<unsigned char>(character);
                    utf8 += static_cast<char>(0xC0 | (byte >> 6));
                    utf8 += static_cast<char>(0x80 | (byte & 0x3F));
                } else {
                    utf8 += character;
                }
            }
            json = quoted(utf8);
        }
    }
    text += json;
}

void appendMember(std::string& json, std::string_view name) {
    if (!json.empty() && json.back() != '{') json += ',';
    json += '"';
    json += name;
    json += "\":";
}

void appendRaw(std::string& json, std::string_view name, std::string_view value) {
    appendMember(json, name);
    json += value;
}

void appendMember(std::string& json, std::string_view name, std::string_view text) {
    appendMember(json, name);
    appendJSONString(json, text);
}

void appendJSONList(std::string& text, std::span<const std::string> elements) {
    std::size_t size = text.size() + 2;
    for (const std::string& element : elements)
        size += element.size() + 1;
    text.reserve(size);
    text += '[';
    for (const std::string& element : elements) {
        if (&element != elements.data()) text += ',';
        text += element;
    }
    text += ']';
}

}  // namespace zentara::collector
