#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace zentara::collector {

/// How long a server waits for its clients.
struct HttpTimeouts {
    std::chrono::milliseconds idle{30'000};     ///< for the first byte of a request
    std::chrono::milliseconds request{60'000};  ///< for the rest of it, and for a client to read on
    std::chrono::milliseconds linger{5'000};    ///< for the client to close after the last answer
    std::chrono::milliseconds stop{3'000};      ///< for the requests in flight at the end
};

/// What a server accepts at a time, and uses.
struct HttpLimits {
    std::size_t threads = 4;
    std::size_t connections = 1000;           ///< further connections are closed at once
    std::size_t connectionsPerAddress = 0;    ///< the same for a client; 0 for no limit
    std::vector<std::string> exempt = {};     ///< addresses without that limit, as proxies
    std::size_t bodies = 64UL * 1024 * 1024;  ///< bytes of all bodies read or being read; beyond
                                              ///< that a request is refused with status 503
};

/// Which names in the Host header a server answers. On a loopback address, a foreign name means
/// that a web page uses DNS rebinding to reach a program of this machine.
enum class HostNames {
    byAddress,  ///< on a loopback address localhost only, elsewhere any
    any,
};

/// How many connections a server has.
struct HttpConnectionCounts {
    std::size_t open = 0;
    std::uint64_t refused = 0;  ///< closed at once by a limit, since the start
};

/// The certificate of a server and its key, both in PEM.
struct TLSCredentials {
    std::string certificateChain;  ///< the server's own first
    std::string privateKey;
};

}  // namespace zentara::collector
