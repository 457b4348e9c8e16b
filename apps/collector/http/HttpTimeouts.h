#pragma once

#include <chrono>

namespace zentara::collector {

/// How long a server waits for its clients.
struct HttpTimeouts {
    std::chrono::milliseconds idle{30'000};     ///< for the first byte of a request
    std::chrono::milliseconds request{60'000};  ///< for the rest of it, and for a client to read on
    std::chrono::milliseconds linger{5'000};    ///< for the client to close after the last answer
    std::chrono::milliseconds stop{3'000};      ///< for the requests under way at the end
};

}  // namespace zentara::collector
