#pragma once

#include <string>

#include "collector/http/HttpMessage.h"

namespace zentara::collector {

/// Whether a connection can be used for another request.
enum class ConnectionUse { again, once };

/// Whether a response of this status has a body at all.
[[nodiscard]] bool allowsBody(int status);

/// The status line and the headers of a response with their empty line, the length of its body
/// announced. Control characters in headers are left out.
[[nodiscard]] std::string responseHead(const HttpResponse& response, ConnectionUse use);

/// The same for a body of which nobody knows how long it will be; the end of the connection ends
/// it.
[[nodiscard]] std::string eventStreamHead();

}  // namespace zentara::collector
