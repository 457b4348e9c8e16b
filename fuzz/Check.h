#pragma once

#include <cstdio>
#include <cstdlib>
#include <string_view>
#include <utility>

namespace zentara::fuzz {

/// Makes a finding of an input for which something does not hold.
inline void check(bool holds, const char* what) {
    if (holds) return;
    std::fprintf(stderr, "fuzz: it does not hold that %s\n", what);
    std::abort();
}

/// What stands before the first line break and what stands behind it.
[[nodiscard]] inline std::pair<std::string_view, std::string_view> twoParts(std::string_view text) {
    const auto end = text.find('\n');
    if (end == std::string_view::npos) return {text, {}};
    return {text.substr(0, end), text.substr(end + 1)};
}

[[nodiscard]] inline std::string_view asText(const unsigned char* data, std::size_t size) {
    return {reinterpret_cast<const char*>(data), size};
}

}  // namespace zentara::fuzz
