#include "support/Process.h"

#include <pthread.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cstdlib>
#include <utility>
#include <vector>

#include "platform/posix/ForkedDescriptors.h"
#include "support/Mutex.h"
#include "support/NoDestructor.h"

namespace zentara {

namespace {

// Constant-initialised: asked before main and while the process ends.
constinit std::atomic<bool> isWorking = false;
constinit std::atomic<bool> isChild = false;

/// One more than the descriptor, so that zero stands for none.
constinit std::array<std::atomic<int>, 256> descriptors{};

/// Async-signal-safe.
void enterChild() {
    if (isWorking) isChild = true;
    for (auto& descriptor : descriptors) {
        if (const int open = descriptor.exchange(0); open != 0) ::close(open - 1);
    }
}

void watchForks() {
    [[maybe_unused]] static const int result = ::pthread_atfork(nullptr, nullptr, enterChild);
}

struct ExitWork {
    Mutex mutex;
    std::vector<std::function<void()>> work ZENTARA_GUARDED_BY(mutex);
};

ExitWork& exitWork() {
    static NoDestructor<ExitWork> instance;
    return *instance;
}

void runLatest() {
    // Checked first, because the lock may have been held at the fork.
    if (isForkedChild()) return;
    std::function<void()> latest;
    {
        const MutexLock lock(exitWork().mutex);
        if (exitWork().work.empty()) return;
        latest = std::move(exitWork().work.back());
        exitWork().work.pop_back();
    }
    latest();
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

void runAtExit(std::function<void()> work) {
    {
        const MutexLock lock(exitWork().mutex);
        exitWork().work.push_back(std::move(work));
    }
    // An entry for each, so that the order among other libraries' handlers is that of registration.
    std::atexit(runLatest);
}

}  // namespace zentara
