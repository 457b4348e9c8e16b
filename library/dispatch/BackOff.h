#pragma once

#include <chrono>
#include <cstdint>
#include <optional>

namespace zentara {

/// No wait after a failure is longer.
inline constexpr std::chrono::milliseconds longestBackOff = std::chrono::hours(1);

/// Until when nothing is posted after a collector has failed `failuresInARow` times, the last time
/// at `now`, on any clock. `retryAfter` is the wait that the collector has asked for. Without one,
/// the wait doubles with each failure; `random`, from 0 to 1, decides about its second half, so
/// that clients which failed together do not return together.
[[nodiscard]] std::chrono::milliseconds backOffUntil(std::int64_t failuresInARow,
                                                     std::optional<std::chrono::seconds> retryAfter,
                                                     double random, std::chrono::milliseconds now);

}  // namespace zentara
