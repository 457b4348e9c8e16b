#include "collector/data/JSONText.h"

#include <algorithm>
#include <array>
#include <boost/json/parse.hpp>
#include <boost/json/serialize.hpp>
#include <boost/json/string.hpp>
#include <charconv>
#include <cmath>

namespace zentara::collector {

namespace {

bool isHighByte(char character) {
    return static_cast<unsigned char>(character) >= 0x80;
}

std::string quoted(std::string_view string) {
    return boost::json::serialize(boost::json::string_view(string.data(), string.size()));
}

void appendDouble(std::string& text, double number) {
    if (!std::isfinite(number)) {
        text += "null";
        return;
    }
    std::array<char, 32> buffer{};
    const auto end = std::to_chars(buffer.data(), buffer.data() + buffer.size(), number).ptr;
    const std::string_view digits(buffer.data(), static_cast<std::size_t>(end - buffer.data()));
    text += digits;
    if (digits.find_first_of(".e") == std::string_view::npos) text += ".0";
}

}  // namespace

void appendJSON(std::string& text, const boost::json::value& value) {
    switch (value.kind()) {
        case boost::json::kind::double_:
            appendDouble(text, value.get_double());
            break;
        case boost::json::kind::array: {
            char separator = '[';
            for (const auto& element : value.get_array()) {
                text += separator;
                appendJSON(text, element);
                separator = ',';
            }
            text += value.get_array().empty() ? "[]" : "]";
            break;
        }
        case boost::json::kind::object: {
            char separator = '{';
            for (const auto& [key, member] : value.get_object()) {
                text += separator;
                text += quoted({key.data(), key.size()});
                text += ':';
                appendJSON(text, member);
                separator = ',';
            }
            text += value.get_object().empty() ? "{}" : "}";
            break;
        }
        default:
            text += boost::json::serialize(value);
    }
}

bool holdsInfinity(const boost::json::value& value) {
    if (const auto* const array = value.if_array()) {
        return std::any_of(array->begin(), array->end(), holdsInfinity);
    }
    if (const auto* const object = value.if_object()) {
        return std::any_of(object->begin(), object->end(),
                           [](const auto& member) { return holdsInfinity(member.value()); });
    }
    return value.is_double() && !std::isfinite(value.get_double());
}

void appendJSONString(std::string& text, std::string_view string) {
    std::string json = quoted(string);
    if (std::any_of(string.begin(), string.end(), isHighByte)) {
        boost::json::error_code notUTF8;
        (void)boost::json::parse(json, notUTF8);
        if (notUTF8) {
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
