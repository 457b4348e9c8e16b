#include "collector/http/HttpMessage.h"

#include <algorithm>
#include <boost/beast/http/status.hpp>
#include <iterator>
#include <ostream>

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

std::string statusLine(int status) {
    namespace http = boost::beast::http;
    const auto known = http::int_to_status(static_cast<unsigned>(status));
    const auto reason = http::obsolete_reason(known);
    std::string line = "HTTP/1.1 " + std::to_string(status) + " ";
    if (known != http::status::unknown) line.append(reason.data(), reason.size());
    return line + "\r\n";
}

/// Line breaks in a name or a value would start another header.
void append(std::string& head, std::string_view name, std::string_view value) {
    const auto appendText = [&head](std::string_view text) {
        std::copy_if(text.begin(), text.end(), std::back_inserter(head), [](char character) {
            return static_cast<unsigned char>(character) >= 0x20 || character == '\t';
        });
    };
    appendText(name);
    head += ": ";
    appendText(value);
    head += "\r\n";
}

}  // namespace

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

bool allowsBody(int status) {
    return status >= 200 && status != 204 && status != 304;
}

std::string responseHead(const HttpResponse& response, ConnectionUse use) {
    std::string head = statusLine(response.status);
    if (allowsBody(response.status)) {
        append(head, "Content-Length", std::to_string(response.body.size()));
        if (!response.contentType.empty()) append(head, "Content-Type", response.contentType);
        append(head, "X-Content-Type-Options", "nosniff");
    }
    for (const auto& [name, value] : response.headers)
        append(head, name, value);
    append(head, "Connection", use == ConnectionUse::again ? "keep-alive" : "close");
    return head + "\r\n";
}

std::string eventStreamHead() {
    std::string head = statusLine(200);
    append(head, "Content-Type", "text/event-stream");
    append(head, "Cache-Control", "no-store");
    append(head, "X-Content-Type-Options", "nosniff");
    append(head, "Connection", "close");
    return head + "\r\n";
}

}  // namespace zentara::collector
