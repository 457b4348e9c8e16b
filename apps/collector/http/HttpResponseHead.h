#pragma once

#include <string>

#include "collector/http/HttpMessage.h"

namespace zentara::collector {

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
