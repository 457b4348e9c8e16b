#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace zentara::collector {

using NamedTexts = std::vector<std::pair<std::string, std::string>>;

/// A request, independent of the server that received it.
struct HttpRequest {
    std::int64_t receivedAt = 0;  ///< milliseconds since 1970-01-01 UTC
    /// When its first byte was there.
    std::chrono::steady_clock::time_point startedAt;
    std::string client;   ///< the IP address of the client
    bool secure = false;  ///< came over TLS
    std::string method;
    std::string target;  ///< as sent, with the query
    std::string path;    ///< decoded, without the query
    NamedTexts query;    ///< decoded
    NamedTexts headers;  ///< names as sent
    std::string body;
    /// Set by the handler when the head has arrived; travels with the request.
    std::shared_ptr<void> tag;

    /// The value of a header, without regard to the case of its name. Values of several headers
    /// are joined with `separator`.
    [[nodiscard]] std::string header(std::string_view name,
                                     std::string_view separator = ", ") const;
};

struct HttpResponse {
    int status = 200;
    std::string body;
    NamedTexts headers;
    std::string contentType = "application/json";
};

/// The names and values of a Cookie header, in order. Blanks around an entry, empty entries and
/// entries without "=" are ignored.
[[nodiscard]] NamedTexts parseCookies(std::string_view header);

/// The target of a request, decoded.
struct HttpTarget {
    std::string authority;  ///< as sent; empty unless the target is an absolute URL
    std::string path;
    NamedTexts query;
};

/// Parses the target of a request: a path with or without a query, an absolute URL, or "*".
/// Nothing if it is none of these or has an invalid percent escape. Other characters are accepted
/// as they are, since browsers and curl do not encode all that RFC 3986 asks for.
[[nodiscard]] std::optional<HttpTarget> readTarget(std::string_view target);

/// Whether an authority ("localhost:8080", "[::1]") names this machine: localhost, a name below it,
/// or an address of the loopback interface.
[[nodiscard]] bool isLoopbackAuthority(std::string_view authority);

/// Whether a connection can be used for another request.
enum class ConnectionUse { again, once };

/// Whether a response of this status has a body at all.
[[nodiscard]] bool allowsBody(int status);

/// The status line and the headers of a response, including Content-Length, and the empty line.
/// Control characters in headers are removed.
[[nodiscard]] std::string responseHead(const HttpResponse& response, ConnectionUse use);

/// The same for an event stream, whose body ends with the connection.
[[nodiscard]] std::string eventStreamHead();

}  // namespace zentara::collector
