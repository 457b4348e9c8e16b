#include "network/URLRequestBuilder.h"

#include <chrono>
#include <string_view>
#include <utility>

#include "model/JSONText.h"

namespace zentara {

namespace {

constexpr std::chrono::seconds requestTimeout{60};
constexpr std::string_view cookieHeader = "Cookie";

bool fitsOneLine(std::string_view text) {
    return text.find_first_of(std::string_view("\r\n\0", 3)) == std::string_view::npos;
}

enum class Quotes { none, aroundStrings };

/// Appends a value as people would write it: strings bare, lists as ["a", 1], dictionaries as
/// ["k": 1].
void appendPlainText(std::string& text, const JSONValue& value, Quotes quotes = Quotes::none) {
    switch (value.kind()) {
        case boost::json::kind::null:
            text += "<null>";
            break;
        case boost::json::kind::bool_:
            text += value.get_bool() ? "true" : "false";
            break;
        case boost::json::kind::int64:
            text += std::to_string(value.get_int64());
            break;
        case boost::json::kind::uint64:
            text += std::to_string(value.get_uint64());
            break;
        case boost::json::kind::double_:
            appendDouble(text, value.get_double());
            break;
        case boost::json::kind::string:
            if (quotes == Quotes::none) {
                text += value.get_string();
            } else {
                appendJSONString(text, value.get_string());
            }
            break;
        case boost::json::kind::array: {
            std::string_view separator;
            text += '[';
            for (const auto& element : value.get_array()) {
                text += separator;
                appendPlainText(text, element, Quotes::aroundStrings);
                separator = ", ";
            }
            text += ']';
            break;
        }
        case boost::json::kind::object: {
            std::string_view separator;
            text += '[';
            for (const auto& [key, element] : value.get_object()) {
                text += separator;
                appendJSONString(text, key);
                text += ": ";
                appendPlainText(text, element, Quotes::aroundStrings);
                separator = ", ";
            }
            text += value.get_object().empty() ? ":]" : "]";
            break;
        }
    }
}

std::string cookieText(const JSONObject& cookies) {
    std::string text;
    for (const auto& [name, value] : cookies) {
        std::string cookie = name;
        cookie += '=';
        appendPlainText(cookie, value);
        cookie += ';';
        if (fitsOneLine(cookie)) text += cookie;
    }
    return text;
}

}  // namespace

URLRequest URLRequestBuilder::build() {
    std::string text = cookieText(cookies);
    if (!text.empty()) {
        std::string& header = headers[cookieHeader];
        if (fitsOneLine(header)) text += header;
        header = std::move(text);
    }

    URLRequest request{url, method, {}, body, requestTimeout};
    for (const auto& [name, value] : headers) {
        if (fitsOneLine(name) && fitsOneLine(value)) request.headers.emplace_back(name, value);
    }
    return request;
}

}  // namespace zentara
