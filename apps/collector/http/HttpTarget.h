#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "collector/http/HttpMessage.h"

namespace zentara::collector {

/// What a request asks for, decoded.
struct HttpTarget {
    std::string authority;  ///< as sent; empty unless the target is an absolute URL
    std::string path;
    NamedTexts query;
};

/// Takes the target of a request apart: a path with or without a query, an absolute URL, or "*".
/// Nothing when it is neither or its percent-encoding is broken.
[[nodiscard]] std::optional<HttpTarget> readTarget(std::string_view target);

/// Whether an authority ("localhost:8080", "[::1]") is a name that only this machine can have
/// given: localhost, a name below it, or an address of the loopback interface.
[[nodiscard]] bool isLoopbackAuthority(std::string_view authority);

}  // namespace zentara::collector
