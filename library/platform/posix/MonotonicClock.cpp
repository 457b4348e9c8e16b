#include "support/MonotonicClock.h"

#include <ctime>

namespace zentara {

std::uint64_t rawMonotonicNanoseconds() noexcept {
    timespec now{};
    // Counts through suspend, as CLOCK_MONOTONIC and its raw form do not on Linux: an event sent
    // after the device slept must carry the time that passed. It is never set, only steered.
    clock_gettime(CLOCK_BOOTTIME, &now);
    return static_cast<std::uint64_t>(now.tv_sec) * 1'000'000'000U +
           static_cast<std::uint64_t>(now.tv_nsec);
}

}  // namespace zentara
