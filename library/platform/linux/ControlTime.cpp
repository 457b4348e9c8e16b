#include <ctime>

#include "support/Clocks.h"
#include "support/NoDestructor.h"

namespace zentara {

const ControlTime& ControlTime::shared() {
    static NoDestructor<ControlTime> instance;
    return *instance;
}

std::uint64_t ControlTime::currentMonotonicValue() const {
    timespec now{};
    // Counts through suspend, as CLOCK_MONOTONIC and its raw form do not on Linux: an event sent
    // after the device slept must carry the time that passed. It is never set, only steered.
    clock_gettime(CLOCK_BOOTTIME, &now);
    return static_cast<std::uint64_t>(now.tv_sec) * 10'000'000U +
           static_cast<std::uint64_t>(now.tv_nsec) / 100U;
}

}  // namespace zentara
