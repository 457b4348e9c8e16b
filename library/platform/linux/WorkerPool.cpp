#include "support/threads/WorkerPool.h"

#include <sys/epoll.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <cerrno>
#include <thread>

#include "support/Diagnostics.h"
#include "support/Process.h"

namespace zentara {

namespace {

constexpr int workerCount = 4;

/// The pause between two looks for work when nothing can wake the worker.
void rest() {
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
}

}  // namespace

// All work waits in one list, ordered by due time. A timerfd is set to the first entry, and all
// idle workers wait for it edge-triggered, so that a tick wakes a single worker. That worker sets
// the timer to the next entry before it runs its own. A dedicated timer thread would need two
// wake-ups for each tick.

WorkerPool& WorkerPool::shared() {
    static NoDestructor<WorkerPool> pool;
    return *pool;
}

WorkerPool::WorkerPool() {
    // A forked child has none of these threads.
    markForkedChildren();
    int started = 0;
    for (int i = 0; i < workerCount; ++i) {
        if (startDetachedThread([this] { run(); })) ++started;
    }
    if (started == 0) fatalError("the system gives no thread for the worker pool");
    runAtExit([this] { stop(); });
}

WorkerPool::Place WorkerPool::put(Clock::time_point due, Work work) {
    // A forked child has no workers, and shares the timer with its parent.
    if (isForkedChild()) return {};
    const MutexLock lock(mutex_);
    const Place place(due, ++lastNumber_);
    const auto added = waiting_.emplace(place, std::move(work)).first;
    if (added == waiting_.begin()) setAlarm();
    return place;
}

void WorkerPool::remove(const Place& place) noexcept {
    if (isForkedChild()) return;
    // The work is destroyed after the lock is released.
    std::map<Place, Work>::node_type removed;
    const MutexLock lock(mutex_);
    removed = waiting_.extract(place);
    setAlarm();
}

void WorkerPool::run() {
    // Threads do not end: the end of a thread that has used OpenSSL calls it, and OpenSSL may be
    // cleaning up when the process ends.
    for (;;) {
        int alarm = -1;
        if (const auto work = take(alarm)) {
            runGuarded(*work);
        } else if (alarm >= 0) {
            epoll_event event{};
            // Fails for good if the host has closed all descriptors.
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

bool WorkerPool::isEnding() noexcept {
    const MutexLock lock(mutex_);
    return isEnding_;
}

void WorkerPool::openAlarm() noexcept {
    if (alarm_ >= 0) return;
    // While the process has no descriptor left, workers poll.
    timer_ = ::timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK);
    alarm_ = ::epoll_create1(EPOLL_CLOEXEC);
    // Edge-triggered, so that each expiry wakes a single worker.
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
        // Zero would stop the timer.
        const auto due =
            std::max<nanoseconds>(waiting_.begin()->first.first.time_since_epoch(), nanoseconds(1));
        const auto whole = std::chrono::duration_cast<seconds>(due);
        next.it_value.tv_sec = static_cast<time_t>(whole.count());
        next.it_value.tv_nsec = static_cast<long>((due - whole).count());
    }
    ::timerfd_settime(timer_, TFD_TIMER_ABSTIME, &next, nullptr);
}

}  // namespace zentara
