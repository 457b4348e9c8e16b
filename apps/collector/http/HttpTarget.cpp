#include "collector/http/HttpTarget.h"

#include <algorithm>

#include "network/InternetAddress.h"
#include "support/ASCII.h"

namespace zentara::collector {

namespace {

/// Decodes a name or a value of a query.
std::optional<std::string> decodeParameter(std::string_view encoded) {
    std::string text(encoded);
    std::replace(text.begin(), text.end(), '+', ' ');
    return percentDecoded(text);
}

std::optional<NamedTexts> readQuery(std::string_view query) {
    NamedTexts pairs;
    while (!query.empty()) {
        const std::string_view pair = query.substr(0, query.find('&'));
        query.remove_prefix(std::min(query.size(), pair.size() + 1));
        if (pair.empty()) continue;
        const std::size_t equals = std::min(pair.find('='), pair.size());
        auto name = decodeParameter(pair.substr(0, equals));
        auto value = decodeParameter(pair.substr(std::min(pair.size(), equals + 1)));
        if (!name || !value) return std::nullopt;
        pairs.emplace_back(std::move(*name), std::move(*value));
    }
    return pairs;
}

bool isPort(std::string_view text) {
    return text.empty() ||
           (text.front() == ':' && text.find_first_not_of("0123456789", 1) == text.npos);
}

}  // namespace

std::optional<HttpTarget> readTarget(std::string_view target) {
    HttpTarget read;
    if (target == "*") {
        read.path = "*";
        return read;
    }
    if (target.empty()) return std::nullopt;
    if (target.front() != '/') {
        const std::size_t scheme = target.find("://");
        if (scheme == std::string_view::npos) return std::nullopt;
        target.remove_prefix(scheme + 3);
        const std::size_t end = std::min(target.find_first_of("/?"), target.size());
        if (end == 0) return std::nullopt;
        read.authority = target.substr(0, end);
        target.remove_prefix(end);
    }
    const std::size_t question = std::min(target.find('?'), target.size());
    auto path = percentDecoded(target.substr(0, question));
    auto query = readQuery(target.substr(std::min(target.size(), question + 1)));
    if (!path || !query) return std::nullopt;
    read.path = path->empty() ? "/" : std::move(*path);
    read.query = std::move(*query);
    return read;
}

bool isLoopbackAuthority(std::string_view authority) {
    if (!authority.empty() && authority.front() == '[') {
        const std::size_t end = authority.find(']');
        if (end == std::string_view::npos || !isPort(authority.substr(end + 1))) return false;
        const std::string_view address = authority.substr(1, end - 1);
        return isIPv6Address(address) && isLoopbackHost(address);
    }
    const std::size_t end = std::min(authority.find(':'), authority.size());
    if (!isPort(authority.substr(end))) return false;
    const std::string_view host = authority.substr(0, end);
    if (isLoopbackHost(host)) return true;
    constexpr std::string_view name = "localhost";
    if (equalsIgnoringCase(host, name)) return true;
    const std::size_t dot = host.size() - std::min(host.size(), name.size() + 1);
    return dot > 0 && host[dot] == '.' && equalsIgnoringCase(host.substr(dot + 1), name);
}

}  // namespace zentara::collector
