#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <utility>

#include "support/Mutex.h"
#include "support/NoDestructor.h"

namespace zentara {

/// The threads behind `GlobalQueue`, `TimerSource` and the completions of `URLSession`.
///
/// All work waits in one list, by the time when it is due. A timer of the system is set to the
/// first of them, and every idle worker waits for that timer in a way that wakes one of them up, so
/// a tick costs one wake-up. The worker that wakes up sets the timer to what is due next, for
/// those that still wait. With one thread that waits for time on behalf of the
/// others each tick woke up two, since it had to let another one wait in its place while it worked.
///
/// The pool is never destroyed. When the process begins to end, workers finish what they run and
/// take up nothing new. In a forked child it does nothing. Safe for use from any thread.
class WorkerPool {
  public:
    using Clock = std::chrono::steady_clock;
    using Work = std::function<void()>;
    /// Where work waits: when it is due, and how much was put there before it.
    using Place = std::pair<Clock::time_point, std::uint64_t>;

    [[nodiscard]] static WorkerPool& shared();

    WorkerPool(const WorkerPool&) = delete;
    WorkerPool& operator=(const WorkerPool&) = delete;

    /// Runs `work` on a worker at `due`, or when one is free after that. An exception that leaves
    /// it is a fatal error.
    Place put(Clock::time_point due, Work work) ZENTARA_EXCLUDES(mutex_);

    /// Takes back what no worker has begun yet.
    void remove(const Place& place) noexcept ZENTARA_EXCLUDES(mutex_);

  private:
    friend class NoDestructor<WorkerPool>;

    WorkerPool();

    [[noreturn]] void run();
    /// Work that is due, or nothing and where to wait for some.
    [[nodiscard]] std::optional<Work> take(int& alarm) ZENTARA_EXCLUDES(mutex_);
    void stop() noexcept ZENTARA_EXCLUDES(mutex_);
    void openAlarm() noexcept ZENTARA_REQUIRES(mutex_);
    void setAlarm() noexcept ZENTARA_REQUIRES(mutex_);

    Mutex mutex_;
    std::map<Place, Work> waiting_ ZENTARA_GUARDED_BY(mutex_);
    std::uint64_t lastNumber_ ZENTARA_GUARDED_BY(mutex_) = 0;
    bool isEnding_ ZENTARA_GUARDED_BY(mutex_) = false;
    int timer_ ZENTARA_GUARDED_BY(mutex_) = -1;
    int alarm_ ZENTARA_GUARDED_BY(mutex_) = -1;
};

/// Ends the process because of the exception that is being handled.
[[noreturn]] void currentExceptionIsFatal() noexcept;

/// Runs `work`, which no exception may leave: on a thread of the library nothing could catch it.
template <typename Work>
void runGuarded(Work&& work) noexcept {
    try {
        std::forward<Work>(work)();
    } catch (...) {
        currentExceptionIsFatal();
    }
}

/// Starts a thread that is never joined and that leaves the signals of the process to the host's
/// threads. Returns false when the system gives no more threads.
[[nodiscard]] bool startDetachedThread(std::function<void()> body);

}  // namespace zentara
