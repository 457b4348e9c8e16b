#include "collector/data/JSONText.h"

#include "json/JSONText.h"
#include "text/Unicode.h"

namespace zentara::collector {

std::string inUTF8(std::string_view text) {
    std::string utf8(text);
    if (isValidUTF8(text)) return utf8;
    utf8.clear();
    for (const char character : text) {
        const auto byte = static_cast<unsigned char>(character);
        if (byte < 0x80) {
            utf8 += character;
        } else {
            utf8 += static_cast<char>(0xC0 | (byte >> 6));
            utf8 += static_cast<char>(0x80 | (byte & 0x3F));
        }
    }
    return utf8;
}

std::string_view beginningOf(std::string_view text, std::size_t most) {
    if (text.size() <= most) return text;
    while (most > 0 && (static_cast<unsigned char>(text[most]) & 0xC0) == 0x80)
        --most;
    return text.substr(0, most);
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
    appendJSONString(json, inUTF8(text));
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
