#pragma once

#include <cstddef>

namespace zentara::collector {

/// What a server takes on at a time.
struct HttpLimits {
    std::size_t connections = 1000;           ///< further ones are closed as they come
    std::size_t bodies = 64UL * 1024 * 1024;  ///< bytes of all bodies read or being read; beyond
                                              ///< that a request is refused with status 503
};

}  // namespace zentara::collector
