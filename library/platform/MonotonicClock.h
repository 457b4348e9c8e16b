#pragma once

#include <cstdint>

namespace zentara {

/// Nanoseconds on a raw monotonic clock that no change of the wall clock adjusts.
[[nodiscard]] std::uint64_t rawMonotonicNanoseconds() noexcept;

}  // namespace zentara
