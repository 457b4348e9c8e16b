#include "platform/MonotonicClock.h"

#include <ctime>

namespace zentara {

std::uint64_t rawMonotonicNanoseconds() noexcept {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC_RAW, &now);
    return static_cast<std::uint64_t>(now.tv_sec) * 1'000'000'000U +
           static_cast<std::uint64_t>(now.tv_nsec);
}

}  // namespace zentara
