#pragma once

#include <cstdint>

namespace zentara::bench {

/// How often this thread has allocated memory with `new` so far, in programs that link
/// Allocations.cpp.
[[nodiscard]] std::int64_t allocations() noexcept;

}  // namespace zentara::bench
