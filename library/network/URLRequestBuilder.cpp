#include "network/URLRequestBuilder.h"

#include <chrono>
#include <string_view>
#include <utility>

#include "model/PrintedForm.h"

namespace zentara {

namespace {

constexpr std::chrono::seconds requestTimeout{60};
constexpr std::string_view cookieHeader = "Cookie";

bool fitsOneLine(std::string_view text) {
    return text.find_first_of(std::string_view("\r\n\0", 3)) == std::string_view::npos;
}

std::string cookieText(const JSONObject& cookies) {
    std::string text;
    for (const auto& [name, value] : cookies) {
        std::string cookie = name;
        cookie += '=';
        appendPrinted(cookie, value);
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
