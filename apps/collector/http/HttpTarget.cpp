#include "collector/http/HttpTarget.h"

#include <strings.h>

#include <algorithm>

#include "network/InternetAddress.h"

namespace zentara::collector {

namespace {

enum class PlusSign { plus, space };

int hexValue(char digit) {
    if (digit >= '0' && digit <= '9') return digit - '0';
    if (digit >= 'a' && digit <= 'f') return digit - 'a' + 10;
    if (digit >= 'A' && digit <= 'F') return digit - 'A' + 10;
    return -1;
}

std::optional<std::string> decode(std::string_view encoded, PlusSign plusSign) {
    std::string text;
    text.reserve(encoded.size());
    for (std::size_t at = 0; at < encoded.size(); ++at) {
        if (encoded[at] == '+' && plusSign == PlusSign::space) {
            text += ' ';
        } else if (encoded[at] == '%') {
            const int high = at + 1 < encoded.size() ? hexValue(encoded[at + 1]) : -1;
            const int low = at + 2 < encoded.size() ? hexValue(encoded[at + 2]) : -1;
            if (high < 0 || low < 0) return std::nullopt;
            text += static_cast<char>(high * 16 + low);
            at += 2;
        } else {
            text += encoded[at];
        }
    }
    return text;
}

std::optional<NamedTexts> readQuery(std::string_view query) {
    NamedTexts pairs;
    while (!query.empty()) {
        const std::string_view pair = query.substr(0, query.find('&'));
        query.remove_prefix(std::min(query.size(), pair.size() + 1));
        if (pair.empty()) continue;
        const std::size_t equals = std::min(pair.find('='), pair.size());
        auto name = decode(pair.substr(0, equals), PlusSign::space);
        auto value = decode(pair.substr(std::min(pair.size(), equals + 1)), PlusSign::space);
        if (!name || !value) return std::nullopt;
        pairs.emplace_back(std::move(*name), std::move(*value));
    }
    return pairs;
}

bool isPort(std::string_view text) {
    return text.empty() ||
           (text.front() == ':' && text.find_first_not_of("0123456789", 1) == text.npos);
}

bool equalsIgnoringCase(std::string_view one, std::string_view other) {
    return one.size() == other.size() && ::strncasecmp(one.data(), other.data(), one.size()) == 0;
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
    auto path = decode(target.substr(0, question), PlusSign::plus);
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
