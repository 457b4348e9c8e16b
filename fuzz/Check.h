#pragma once

#include <cstdio>
#include <cstdlib>
#include <string_view>
#include <utility>

namespace zentara::fuzz {

/// Reports the input as a finding unless the condition holds.
inline void check(bool holds, const char* what) {
    if (holds) return;
    std::fprintf(stderr, "fuzz: it does not hold that %s\n", what);
    std::abort();
}

/// The parts before and after the first line break.
[[nodiscard]] inline std::pair<std::string_view, std::string_view> twoParts(std::string_view text) {
    const auto end = text.find('\n');
    if (end == std::string_view::npos) return {text, {}};
    return {text.substr(0, end), text.substr(end + 1)};
}

[[nodiscard]] inline std::string_view asText(const unsigned char* data, std::size_t size) {
    return {reinterpret_cast<const char*>(data), size};
}

}  // namespace zentara::fuzz
