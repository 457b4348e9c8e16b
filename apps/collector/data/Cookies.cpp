#include "collector/data/Cookies.h"

namespace zentara::collector {

std::vector<std::pair<std::string, std::string>> parseCookies(std::string_view header) {
    std::vector<std::pair<std::string, std::string>> cookies;
    while (!header.empty()) {
        const auto end = header.find(';');
        std::string_view entry = header.substr(0, end);
        header = end == std::string_view::npos ? std::string_view() : header.substr(end + 1);

        const auto first = entry.find_first_not_of(" \t");
        if (first == std::string_view::npos) continue;
        entry = entry.substr(first, entry.find_last_not_of(" \t") - first + 1);

        const auto equals = entry.find('=');
        if (equals == std::string_view::npos || equals == 0) continue;
        cookies.emplace_back(entry.substr(0, equals), entry.substr(equals + 1));
    }
    return cookies;
}

}  // namespace zentara::collector
