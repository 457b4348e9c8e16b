#include "support/ForkedChild.h"

#include <pthread.h>
#include <unistd.h>

#include <array>
#include <atomic>

#include "platform/posix/ForkedDescriptors.h"

namespace zentara {

namespace {

// Constant-initialised: asked before main and while the process ends.
constinit std::atomic<bool> isWorking = false;
constinit std::atomic<bool> isChild = false;

/// One more than the descriptor, so that zero stands for none.
constinit std::array<std::atomic<int>, 256> descriptors{};

/// Nothing but what a signal handler may do.
void enterChild() {
    if (isWorking) isChild = true;
    for (auto& descriptor : descriptors) {
        if (const int open = descriptor.exchange(0); open != 0) ::close(open - 1);
    }
}

void watchForks() {
    [[maybe_unused]] static const int result = ::pthread_atfork(nullptr, nullptr, enterChild);
}

}  // namespace

bool isForkedChild() noexcept {
    return isChild.load(std::memory_order_relaxed);
}

void markForkedChildren() {
    watchForks();
    isWorking = true;
}

void closeInForkedChildren(int descriptor) {
    watchForks();
    for (auto& place : descriptors) {
        int expected = 0;
        if (place.compare_exchange_strong(expected, descriptor + 1)) return;
    }
}

void keepInForkedChildren(int descriptor) noexcept {
    for (auto& place : descriptors) {
        int expected = descriptor + 1;
        if (place.compare_exchange_strong(expected, 0)) return;
    }
}

}  // namespace zentara
