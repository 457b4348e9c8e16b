#include "network/URLRequestBuilder.h"

#include <chrono>
#include <utility>

#include "json/JSONText.h"
#include "network/HeaderText.h"

namespace zentara {

namespace {

constexpr std::chrono::seconds requestTimeout{60};
constexpr const char* cookieHeader = "Cookie";

std::string cookieText(const JSONObject& cookies) {
    std::string text;
    for (const auto& [name, value] : cookies) {
        std::string printed;
        appendPrinted(printed, value);
        appendCookie(text, name, printed);
    }
    return text;
}

}  // namespace

URLRequest URLRequestBuilder::build() {
    std::string text = cookieText(cookies);
    if (!text.empty()) {
        std::string& header = headers[cookieHeader];
        if (isHeaderValue(header)) text += header;
        header = std::move(text);
    }

    URLRequest request{url, method, {}, body, requestTimeout};
    for (const auto& [name, value] : headers) {
        if (isHeaderName(name) && isHeaderValue(value)) request.headers.emplace_back(name, value);
    }
    return request;
}

}  // namespace zentara
