#pragma once

#include <cstdint>

namespace zentara {

/// Nanoseconds on a monotonic clock that goes on through suspend and that no change of the wall
/// clock adjusts.
[[nodiscard]] std::uint64_t rawMonotonicNanoseconds() noexcept;

}  // namespace zentara
