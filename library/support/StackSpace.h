#pragma once

#include <cstddef>

namespace zentara {

/// How many bytes of the calling thread's stack are left, roughly. The largest number when that
/// cannot be known: the system does not say, or the host runs on a stack of its own making.
///
/// Costs a few nanoseconds, except for the first call on a thread.
[[nodiscard]] std::size_t remainingStackSpace() noexcept;

}  // namespace zentara
