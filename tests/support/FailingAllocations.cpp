#include "support/FailingAllocations.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <limits>
#include <new>

namespace {

constexpr auto unlimited = std::numeric_limits<std::int64_t>::max();
// How many allocations succeed, and how many after those fail.
thread_local std::int64_t successes = unlimited;
thread_local std::int64_t failures = 0;
thread_local std::int64_t held = 0;

}  // namespace

// The thread sanitizer has operators of its own.
#ifdef ZENTARA_ALLOCATIONS_CAN_FAIL
void* operator new(std::size_t size) {
    const bool isToFail = --successes < 0 && --failures >= 0;
    void* const memory = isToFail ? nullptr : std::malloc(size);
    if (memory == nullptr) throw std::bad_alloc();
    ++held;
    return memory;
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    try {
        return operator new(size);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}
void operator delete(void* memory) noexcept {
    if (memory != nullptr) --held;
    std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
    operator delete(memory);
}
#endif

namespace zentara::test {

void failEachAllocation(const std::function<bool()>& attempt) {
    for (const std::int64_t failing : {1, 2, 3}) {
        successes = 0;
        for (std::int64_t first = 1; successes <= 0; ++first) {
            failures = failing;
            successes = first;
            bool isRight = true;
            try {
                isRight = attempt();
            } catch (const std::bad_alloc&) {
            }
            failures = 0;
            EXPECT_TRUE(isRight) << failing << " from " << first;
        }
        successes = unlimited;
    }
}

std::int64_t heldAllocations() {
    return held;
}

}  // namespace zentara::test
