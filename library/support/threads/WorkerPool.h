#pragma once

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <functional>
#include <utility>

namespace zentara {

/// The process's worker threads: a few, started on first use. They sleep while there is nothing to
/// do and leave every signal to the host's threads.
///
/// When the process begins to end, workers finish what they run and take up nothing new. In a
/// forked child the pool does nothing. Safe for use from any thread.
class WorkerPool {
  public:
    using Clock = std::chrono::steady_clock;
    using Work = std::function<void()>;
    /// Identifies waiting work: its due time and a serial number.
    using Place = std::pair<Clock::time_point, std::uint64_t>;

    /// The pool of this process.
    [[nodiscard]] static WorkerPool& shared();

    WorkerPool(const WorkerPool&) = delete;
    WorkerPool& operator=(const WorkerPool&) = delete;

    /// Runs `work` on a worker at `due`, or when one is free after that. An exception that leaves
    /// it is a fatal error.
    virtual Place put(Clock::time_point due, Work work) = 0;

    /// Removes work that has not begun.
    virtual void remove(const Place& place) noexcept = 0;

    /// Runs `work` as soon as a worker is free.
    void async(Work work) { put(Clock::now(), std::move(work)); }

    /// Runs `work` on a worker when `delay` has passed.
    void asyncAfter(Clock::duration delay, Work work) {
        const auto now = Clock::now();
        put(now + std::min(delay, Clock::time_point::max() - now), std::move(work));
    }

  protected:
    WorkerPool() = default;
    ~WorkerPool() = default;
};

}  // namespace zentara
