#include "platform/linux/WorkerPool.h"

#include <pthread.h>
#include <signal.h>
#include <sys/epoll.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <exception>
#include <string>
#include <system_error>
#include <thread>
#include <utility>

#include "support/FatalError.h"
#include "support/ForkedChild.h"
#include "support/NoDestructor.h"
#include "support/ProcessExit.h"
#include "support/threads/GlobalQueue.h"

namespace zentara {

namespace {

/// Between two looks for work where nothing wakes the worker up.
void rest() {
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
}

constexpr int workerCount = 4;

}  // namespace

WorkerPool& WorkerPool::shared() {
    static NoDestructor<WorkerPool> pool;
    return *pool;
}

WorkerPool::WorkerPool() {
    // Without these threads a child could do nothing but wait for them.
    markForkedChildren();
    int started = 0;
    for (int i = 0; i < workerCount; ++i) {
        if (startDetachedThread([this] { run(); })) ++started;
    }
    if (started == 0) fatalError("the system gives no thread for the worker pool");
    runAtExit([] { shared().stop(); });
}

WorkerPool::Place WorkerPool::put(Clock::time_point due, Work work) {
    // A forked child has no workers, and the timer is its parent's.
    if (isForkedChild()) return {};
    const MutexLock lock(mutex_);
    const Place place(due, ++lastNumber_);
    const auto added = waiting_.emplace(place, std::move(work)).first;
    if (added == waiting_.begin()) setAlarm();
    return place;
}

void WorkerPool::remove(const Place& place) noexcept {
    if (isForkedChild()) return;
    // What the work holds goes after the lock.
    std::map<Place, Work>::node_type removed;
    const MutexLock lock(mutex_);
    removed = waiting_.extract(place);
    setAlarm();
}

void WorkerPool::run() {
    // Threads do not end: that would call into OpenSSL if they ever used it, which may be clearing
    // up by then, when the host's process ends.
    for (;;) {
        int alarm = -1;
        if (const auto work = take(alarm)) {
            runGuarded(*work);
        } else if (alarm >= 0) {
            epoll_event event{};
            // Fails for good where the host has closed all descriptors, ours among them.
            if (::epoll_wait(alarm, &event, 1, -1) < 0 && errno != EINTR) rest();
        } else {
            rest();
        }
    }
}

std::optional<WorkerPool::Work> WorkerPool::take(int& alarm) {
    const MutexLock lock(mutex_);
    openAlarm();
    alarm = alarm_;
    std::optional<Work> work;
    const auto first = waiting_.begin();
    if (!isEnding_ && first != waiting_.end() && first->first.first <= Clock::now()) {
        work = std::move(first->second);
        waiting_.erase(first);
    }
    // Also wakes up the next worker when there is more to do.
    setAlarm();
    return work;
}

void WorkerPool::stop() noexcept {
    const MutexLock lock(mutex_);
    isEnding_ = true;
    setAlarm();
}

void WorkerPool::openAlarm() noexcept {
    if (alarm_ >= 0) return;
    // When the process has no descriptor left, workers look for work now and then until it has.
    timer_ = ::timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK);
    alarm_ = ::epoll_create1(EPOLL_CLOEXEC);
    // Each time the timer runs out, one of the waiting workers wakes up.
    epoll_event event{};
    event.events = EPOLLIN | EPOLLET;
    if (timer_ >= 0 && alarm_ >= 0 && ::epoll_ctl(alarm_, EPOLL_CTL_ADD, timer_, &event) == 0) {
        return;
    }
    if (timer_ >= 0) ::close(std::exchange(timer_, -1));
    if (alarm_ >= 0) ::close(std::exchange(alarm_, -1));
}

void WorkerPool::setAlarm() noexcept {
    itimerspec next{};
    if (!isEnding_ && !waiting_.empty()) {
        using std::chrono::nanoseconds;
        using std::chrono::seconds;
        // The very beginning of time would stop the timer.
        const auto due =
            std::max<nanoseconds>(waiting_.begin()->first.first.time_since_epoch(), nanoseconds(1));
        const auto whole = std::chrono::duration_cast<seconds>(due);
        next.it_value.tv_sec = static_cast<time_t>(whole.count());
        next.it_value.tv_nsec = static_cast<long>((due - whole).count());
    }
    ::timerfd_settime(timer_, TFD_TIMER_ABSTIME, &next, nullptr);
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
    static NoDestructor<GlobalQueue> queue;
    return *queue;
}

void GlobalQueue::async(Work work) {
    WorkerPool::shared().put(WorkerPool::Clock::now(), std::move(work));
}

void GlobalQueue::asyncAfter(std::chrono::steady_clock::duration delay, Work work) {
    const auto now = WorkerPool::Clock::now();
    const auto longest = WorkerPool::Clock::time_point::max() - now;
    WorkerPool::shared().put(now + std::min(delay, longest), std::move(work));
}

}  // namespace zentara
