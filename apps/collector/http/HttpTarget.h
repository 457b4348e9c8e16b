#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "collector/http/HttpMessage.h"

namespace zentara::collector {

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

}  // namespace zentara::collector
