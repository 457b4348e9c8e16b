#include "support/WorkLimits.h"

#include <pthread.h>

#include <cstdint>
#include <limits>

namespace zentara {

namespace {

struct Bounds {
    std::uintptr_t lowest = 0;
    std::uintptr_t end = 0;
};

/// The stack of the calling thread without its guard; empty when unknown.
Bounds boundsOfThread() noexcept {
    pthread_attr_t attributes;
    if (pthread_getattr_np(pthread_self(), &attributes) != 0) return {};
    void* lowest = nullptr;
    std::size_t size = 0;
    std::size_t guard = 0;
    const bool isKnown = pthread_attr_getstack(&attributes, &lowest, &size) == 0 &&
                         pthread_attr_getguardsize(&attributes, &guard) == 0;
    pthread_attr_destroy(&attributes);
    if (!isKnown || guard >= size) return {};
    const auto address = reinterpret_cast<std::uintptr_t>(lowest);
    // Some systems count the guard in.
    return {address + guard, address + size};
}

}  // namespace

std::size_t remainingStackSpace() noexcept {
    thread_local const Bounds bounds = boundsOfThread();
    // Not the address of a variable, which a sanitizer may have moved to the heap.
    const auto here = reinterpret_cast<std::uintptr_t>(__builtin_frame_address(0));
    if (here < bounds.lowest || here >= bounds.end) {
        return std::numeric_limits<std::size_t>::max();
    }
    return here - bounds.lowest;
}

}  // namespace zentara
