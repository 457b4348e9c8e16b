#include "model/PrintedForm.h"

#include <string_view>

#include "model/JSONText.h"

namespace zentara {

namespace {

constexpr int maximumDepth = 1024;

void appendQuoted(std::string& text, std::string_view string) {
    text += '"';
    for (const char c : string) {
        switch (c) {
            case '"':
            case '\\':
                text += '\\';
                text += c;
                break;
            case '\n':
                text += "\\n";
                break;
            case '\r':
                text += "\\r";
                break;
            case '\t':
                text += "\\t";
                break;
            case '\0':
                text += "\\0";
                break;
            default:
                text += c;
        }
    }
    text += '"';
}

void append(std::string& text, const JSONValue& value, int depth) {
    switch (value.kind()) {
        case boost::json::kind::null:
            text += "<null>";
            return;
        case boost::json::kind::bool_:
            text += value.get_bool() ? "true" : "false";
            return;
        case boost::json::kind::int64:
            text += std::to_string(value.get_int64());
            return;
        case boost::json::kind::uint64:
            text += std::to_string(value.get_uint64());
            return;
        case boost::json::kind::double_:
            appendDouble(text, value.get_double());
            return;
        case boost::json::kind::string:
            appendQuoted(text, value.get_string());
            return;
        case boost::json::kind::array:
        case boost::json::kind::object:
            break;
    }
    if (depth == 0) {
        text += "...";
        return;
    }
    text += '[';
    std::string_view separator;
    if (const auto* const array = value.if_array()) {
        for (const auto& element : *array) {
            text += separator;
            separator = ", ";
            append(text, element, depth - 1);
        }
    } else {
        const auto& object = value.get_object();
        if (object.empty()) text += ':';
        for (const auto& member : object) {
            text += separator;
            separator = ", ";
            appendQuoted(text, member.key());
            text += ": ";
            append(text, member.value(), depth - 1);
        }
    }
    text += ']';
}

}  // namespace

void appendPrinted(std::string& text, const JSONValue& value) {
    if (const auto* const string = value.if_string()) {
        text += std::string_view(*string);
    } else {
        append(text, value, maximumDepth);
    }
}

}  // namespace zentara
