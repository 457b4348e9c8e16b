#pragma once

#include <chrono>
#include <cstddef>
#include <string>

namespace zentara::collector {

/// How long a server waits for its clients.
struct HttpTimeouts {
    std::chrono::milliseconds idle{30'000};     ///< for the first byte of a request
    std::chrono::milliseconds request{60'000};  ///< for the rest of it, and for a client to read on
    std::chrono::milliseconds linger{5'000};    ///< for the client to close after the last answer
    std::chrono::milliseconds stop{3'000};      ///< for the requests in flight at the end
};

/// What a server accepts at a time.
struct HttpLimits {
    std::size_t connections = 1000;           ///< further connections are closed at once
    std::size_t bodies = 64UL * 1024 * 1024;  ///< bytes of all bodies read or being read; beyond
                                              ///< that a request is refused with status 503
};

/// The certificate of a server and its key, both in PEM.
struct TLSCredentials {
    std::string certificateChain;  ///< the server's own first
    std::string privateKey;
};

}  // namespace zentara::collector
