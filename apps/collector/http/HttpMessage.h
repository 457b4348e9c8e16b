#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace zentara::collector {

using NamedTexts = std::vector<std::pair<std::string, std::string>>;

/// A request, independent of the server that received it.
struct HttpRequest {
    std::int64_t receivedAt = 0;  ///< milliseconds since 1970-01-01 UTC
    bool secure = false;          ///< came over TLS
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

}  // namespace zentara::collector
