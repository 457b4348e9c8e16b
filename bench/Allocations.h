#pragma once

#include <cstdint>

namespace zentara::bench {

/// The number of allocations of this thread with `new` so far, in programs that link
/// Allocations.cpp.
[[nodiscard]] std::int64_t allocations() noexcept;

}  // namespace zentara::bench
