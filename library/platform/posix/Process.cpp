#include "support/Process.h"

#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cstdlib>
#include <exception>
#include <string>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include "platform/posix/SystemFiles.h"
#include "support/Diagnostics.h"
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

/// Puts `next` in a place that holds `expected`, if there is one.
void replaceDescriptor(int expected, int next) noexcept {
    for (auto& place : descriptors) {
        int current = expected;
        if (place.compare_exchange_strong(current, next)) return;
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
    replaceDescriptor(0, descriptor + 1);
}

void keepInForkedChildren(int descriptor) noexcept {
    replaceDescriptor(descriptor + 1, 0);
}

void runAtExit(std::function<void()> work) {
    {
        const MutexLock lock(exitWork().mutex);
        exitWork().work.push_back(std::move(work));
    }
    // An entry for each, so that the order among other libraries' handlers is that of registration.
    std::atexit(runLatest);
}

bool startDetachedThread(std::function<void()> body) {
    // A thread inherits its creator's mask. Signals of faulty instructions stay deliverable, or a
    // crash handler of the host would not run.
    sigset_t blocked;
    sigset_t previous;
    ::sigfillset(&blocked);
    for (const int signal : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGABRT}) {
        ::sigdelset(&blocked, signal);
    }
    ::pthread_sigmask(SIG_SETMASK, &blocked, &previous);
    bool started = true;
    try {
        std::thread([work = std::move(body)] { runGuarded(work); }).detach();
    } catch (const std::system_error&) {
        started = false;
    }
    ::pthread_sigmask(SIG_SETMASK, &previous, nullptr);
    return started;
}

void runGuarded(const std::function<void()>& work) noexcept {
    try {
        work();
    } catch (const std::exception& error) {
        fatalError(std::string("exception on a library thread: ") + error.what());
    } catch (...) {
        fatalError("exception of unknown type on a library thread");
    }
}

}  // namespace zentara
