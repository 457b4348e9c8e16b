#pragma once

#include <string>

namespace zentara::collector {

/// What a server proves its name with, both in PEM.
struct TLSCredentials {
    std::string certificateChain;  ///< the server's own first
    std::string privateKey;
};

}  // namespace zentara::collector
