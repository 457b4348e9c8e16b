#pragma once

#include <cstdint>
#include <string>

namespace zentara::collector {

/// Sequence numbers that have not arrived, though lower and higher ones of the same client have.
struct Gap {
    std::string context;  ///< that of the numbers around it, or the later one of the two
    std::string clientUUID;
    std::int64_t from = 0;  ///< the first that is missing
    std::int64_t to = 0;    ///< the last
    std::uint64_t count = 0;

    friend bool operator==(const Gap&, const Gap&) = default;
};

}  // namespace zentara::collector
