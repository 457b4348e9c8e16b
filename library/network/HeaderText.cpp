#include "network/HeaderText.h"

#include <algorithm>

namespace zentara {

bool isHeaderName(std::string_view text) noexcept {
    constexpr std::string_view signs = "!#$%&'*+-.^_`|~";
    return !text.empty() && std::all_of(text.begin(), text.end(), [&](char c) {
        return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
               signs.find(c) != std::string_view::npos;
    });
}

bool isHeaderValue(std::string_view text) noexcept {
    return std::none_of(text.begin(), text.end(),
                        [](unsigned char c) { return (c < ' ' && c != '\t') || c == '\x7f'; });
}

}  // namespace zentara
