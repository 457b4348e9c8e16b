#pragma once

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <utility>

#include "support/Mutex.h"
#include "support/NoDestructor.h"

namespace zentara {

/// The process's worker threads: a few, started on first use. They sleep while there is nothing to
/// do and leave every signal to the host's threads.
///
/// When the process begins to end, workers finish what they run and begin no new work. In a
/// forked child the pool does nothing. Safe for use from any thread.
class WorkerPool {
  public:
    using Clock = std::chrono::steady_clock;
    using Work = std::function<void()>;
    /// Identifies waiting work: its due time and a serial number.
    using Place = std::pair<Clock::time_point, std::uint64_t>;

    /// The pool of this process.
    [[nodiscard]] static WorkerPool& shared();

    /// Runs `work` on a worker at `due`, or when one is free after that. An exception that leaves
    /// it is a fatal error.
    Place put(Clock::time_point due, Work work) ZENTARA_EXCLUDES(mutex_);

    /// Removes work that has not begun.
    void remove(const Place& place) noexcept ZENTARA_EXCLUDES(mutex_);

    /// Runs `work` as soon as a worker is free.
    void async(Work work) { put(Clock::now(), std::move(work)); }

    /// Runs `work` on a worker when `delay` has passed.
    void asyncAfter(Clock::duration delay, Work work) {
        const auto now = Clock::now();
        put(now + std::min(delay, Clock::time_point::max() - now), std::move(work));
    }

    /// Whether no work begins any more, because the process ends.
    [[nodiscard]] bool isEnding() noexcept ZENTARA_EXCLUDES(mutex_);

  private:
    friend class NoDestructor<WorkerPool>;

    WorkerPool();

    [[noreturn]] void run();
    /// Work that is due; otherwise nothing, and `alarm` is the descriptor to wait on.
    [[nodiscard]] std::optional<Work> take(int& alarm) ZENTARA_EXCLUDES(mutex_);
    /// No work begins after this.
    void stop() noexcept ZENTARA_EXCLUDES(mutex_);
    void openAlarm() noexcept ZENTARA_REQUIRES(mutex_);
    void setAlarm() noexcept ZENTARA_REQUIRES(mutex_);

    Mutex mutex_;
    std::map<Place, Work> waiting_ ZENTARA_GUARDED_BY(mutex_);
    std::uint64_t lastNumber_ ZENTARA_GUARDED_BY(mutex_) = 0;
    bool isEnding_ ZENTARA_GUARDED_BY(mutex_) = false;
    // Descriptors of the system's timer for the first entry, and of what idle workers wait on.
    int timer_ ZENTARA_GUARDED_BY(mutex_) = -1;
    int alarm_ ZENTARA_GUARDED_BY(mutex_) = -1;
};

/// Runs work on the worker pool one at a time, in order. Must outlive its work. Safe for use from
/// any thread.
class Strand {
  public:
    using Work = std::function<void()>;
    enum class Runs { libraryCode, hostCallbacks };

    explicit Strand(Runs runs = Runs::libraryCode) : runs_(runs) {}

    /// For callbacks of the host. Completions of requests do not run here, so a slow callback
    /// delays only other callbacks. Its work, and the end of that work, is inside a
    /// `CallbackScope`. Never destroyed.
    [[nodiscard]] static Strand& forHostCallbacks();

    /// For the lines of the log, so that a slow callback does not delay them. Never destroyed.
    [[nodiscard]] static Strand& forLogLines();

    void async(Work work) ZENTARA_EXCLUDES(mutex_);

  private:
    void runNext() ZENTARA_EXCLUDES(mutex_);
    void runLater();

    const Runs runs_;
    Mutex mutex_;
    std::deque<Work> works_ ZENTARA_GUARDED_BY(mutex_);
    bool isRunning_ ZENTARA_GUARDED_BY(mutex_) = false;
};

}  // namespace zentara
