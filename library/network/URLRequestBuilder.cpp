#include "network/URLRequestBuilder.h"

#include <algorithm>
#include <chrono>

#include "json/JSONText.h"
#include "support/ASCII.h"

namespace zentara {

namespace {

constexpr std::chrono::seconds requestTimeout{60};

}  // namespace

URLRequest URLRequestBuilder::build() {
    std::string text;
    for (const auto& [name, value] : cookies) {
        std::string printed;
        appendPrinted(printed, value);
        appendCookie(text, name, printed);
    }
    if (!text.empty()) {
        std::string& header = headers["Cookie"];
        if (isHeaderValue(header)) text += header;
        header = std::move(text);
    }

    URLRequest request{url, method, {}, body, requestTimeout};
    for (const auto& [name, value] : headers) {
        if (isHeaderName(name) && isHeaderValue(value)) request.headers.emplace_back(name, value);
    }
    return request;
}

bool isHeaderName(std::string_view text) noexcept {
    constexpr std::string_view signs = "!#$%&'*+-.^_`|~";
    return !text.empty() && std::all_of(text.begin(), text.end(), [&](char c) {
        return isLetter(c) || isDigit(c) || signs.find(c) != std::string_view::npos;
    });
}

bool isHeaderValue(std::string_view text) noexcept {
    return std::none_of(text.begin(), text.end(),
                        [](unsigned char c) { return (c < ' ' && c != '\t') || c == '\x7f'; });
}

void appendCookie(std::string& cookies, std::string_view name, std::string_view value) {
    if (!isHeaderName(name) || !isHeaderValue(value)) return;
    if (value.find(';') != std::string_view::npos) return;
    cookies += name;
    cookies += '=';
    cookies += value;
    cookies += ';';
}

}  // namespace zentara
