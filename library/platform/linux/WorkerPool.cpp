#include "support/threads/WorkerPool.h"

#include <sys/epoll.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <map>
#include <optional>
#include <thread>
#include <utility>

#include "support/Diagnostics.h"
#include "support/Mutex.h"
#include "support/NoDestructor.h"
#include "support/Process.h"
#include "support/threads/DetachedThread.h"

namespace zentara {

namespace {

/// Between two looks for work where nothing wakes the worker up.
void rest() {
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
}

constexpr int workerCount = 4;

/// All work waits in one list, by the time when it is due. A timer of the system is set to the
/// first of them, and every idle worker waits for that timer in a way that wakes one of them up, so
/// a tick costs one wake-up. The worker that wakes up sets the timer to what is due next, for
/// those that still wait. With one thread that waits for time on behalf of the
/// others each tick woke up two, since it had to let another one wait in its place while it worked.
class TimedWorkers final : public WorkerPool {
  public:
    TimedWorkers();

    Place put(Clock::time_point due, Work work) override ZENTARA_EXCLUDES(mutex_);
    void remove(const Place& place) noexcept override ZENTARA_EXCLUDES(mutex_);
    /// From here on nothing is taken up.
    void stop() noexcept ZENTARA_EXCLUDES(mutex_);

  private:
    [[noreturn]] void run();
    /// Work that is due, or nothing and where to wait for some.
    [[nodiscard]] std::optional<Work> take(int& alarm) ZENTARA_EXCLUDES(mutex_);
    void openAlarm() noexcept ZENTARA_REQUIRES(mutex_);
    void setAlarm() noexcept ZENTARA_REQUIRES(mutex_);

    Mutex mutex_;
    std::map<Place, Work> waiting_ ZENTARA_GUARDED_BY(mutex_);
    std::uint64_t lastNumber_ ZENTARA_GUARDED_BY(mutex_) = 0;
    bool isEnding_ ZENTARA_GUARDED_BY(mutex_) = false;
    int timer_ ZENTARA_GUARDED_BY(mutex_) = -1;
    int alarm_ ZENTARA_GUARDED_BY(mutex_) = -1;
};

TimedWorkers& workers() {
    static NoDestructor<TimedWorkers> workers;
    return *workers;
}

TimedWorkers::TimedWorkers() {
    // Without these threads a child could do nothing but wait for them.
    markForkedChildren();
    int started = 0;
    for (int i = 0; i < workerCount; ++i) {
        if (startDetachedThread([this] { run(); })) ++started;
    }
    if (started == 0) fatalError("the system gives no thread for the worker pool");
    runAtExit([] { workers().stop(); });
}

WorkerPool::Place TimedWorkers::put(Clock::time_point due, Work work) {
    // A forked child has no workers, and the timer is its parent's.
    if (isForkedChild()) return {};
    const MutexLock lock(mutex_);
    const Place place(due, ++lastNumber_);
    const auto added = waiting_.emplace(place, std::move(work)).first;
    if (added == waiting_.begin()) setAlarm();
    return place;
}

void TimedWorkers::remove(const Place& place) noexcept {
    if (isForkedChild()) return;
    // What the work holds goes after the lock.
    std::map<Place, Work>::node_type removed;
    const MutexLock lock(mutex_);
    removed = waiting_.extract(place);
    setAlarm();
}

void TimedWorkers::run() {
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

std::optional<WorkerPool::Work> TimedWorkers::take(int& alarm) {
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

void TimedWorkers::stop() noexcept {
    const MutexLock lock(mutex_);
    isEnding_ = true;
    setAlarm();
}

void TimedWorkers::openAlarm() noexcept {
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

void TimedWorkers::setAlarm() noexcept {
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

}  // namespace

WorkerPool& WorkerPool::shared() {
    return workers();
}

}  // namespace zentara
