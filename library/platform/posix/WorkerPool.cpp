#include "platform/posix/WorkerPool.h"

#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include <boost/asio/post.hpp>
#include <boost/asio/steady_timer.hpp>
#include <exception>
#include <memory>
#include <string>
#include <system_error>
#include <thread>
#include <utility>

#include "platform/FatalError.h"
#include "platform/ForkedChild.h"
#include "platform/GlobalQueue.h"
#include "platform/ProcessExit.h"

namespace zentara {

namespace {

constexpr int workerCount = 4;

}  // namespace

WorkerPool& WorkerPool::shared() {
    static auto* const pool = new WorkerPool;
    return *pool;
}

WorkerPool::WorkerPool() : context_(workerCount), guard_(context_.get_executor()) {
    // Without these threads a child could do nothing but wait for them.
    markForkedChildren();
    int started = 0;
    for (int i = 0; i < workerCount; ++i) {
        const bool isRunning = startDetachedThread([this] {
            context_.run();
            // A thread that ends calls into OpenSSL if it ever used it, and that may be clearing up
            // by then: the host's process is ending.
            for (;;)
                ::pause();
        });
        if (isRunning) ++started;
    }
    if (started == 0) fatalError("the system gives no thread for the worker pool");
    runAtExit([] { shared().context_.stop(); });
}

void currentExceptionIsFatal() noexcept {
    try {
        throw;
    } catch (const std::exception& error) {
        fatalError(std::string("exception on a library thread: ") + error.what());
    } catch (...) {
        fatalError("exception of unknown type on a library thread");
    }
}

bool startDetachedThread(std::function<void()> body) {
    // A thread inherits its creator's mask. What the processor reports about the thread's own
    // instructions stays deliverable, or the process could not even say why it dies.
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

GlobalQueue& GlobalQueue::shared() {
    static auto* const queue = new GlobalQueue;
    return *queue;
}

void GlobalQueue::async(Work work) {
    boost::asio::post(WorkerPool::shared().context(),
                      [work = std::move(work)] { runGuarded(work); });
}

void GlobalQueue::asyncAfter(std::chrono::steady_clock::duration delay, Work work) {
    auto timer = std::make_unique<boost::asio::steady_timer>(WorkerPool::shared().context(), delay);
    auto& waiting = *timer;
    waiting.async_wait([timer = std::move(timer), work = std::move(work)](
                           const boost::system::error_code&) { runGuarded(work); });
}

}  // namespace zentara
