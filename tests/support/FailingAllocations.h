#pragma once

#include <cstdint>
#include <functional>

namespace zentara::test {

/// Runs `attempt` with one, two and three of this thread's allocations failing, from the first on
/// to the last. `attempt` may throw `std::bad_alloc` and must not return false.
void failEachAllocation(const std::function<bool()>& attempt);

/// How many allocations of this thread have not been freed.
[[nodiscard]] std::int64_t heldAllocations();

}  // namespace zentara::test
