#include "network/HeaderText.h"

#include <algorithm>

#include "support/ASCII.h"

namespace zentara {

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
