#include "collector/http/HttpMessage.h"

#include "support/ASCII.h"

namespace zentara::collector {

std::string HttpRequest::header(std::string_view name, std::string_view separator) const {
    std::string joined;
    bool found = false;
    for (const auto& [key, value] : headers) {
        if (!equalsIgnoringCase(key, name)) continue;
        if (found) joined += separator;
        joined += value;
        found = true;
    }
    return joined;
}

NamedTexts parseCookies(std::string_view header) {
    NamedTexts cookies;
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
