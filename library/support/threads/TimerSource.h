#pragma once

#include <functional>
#include <memory>
#include <optional>

#include "support/Mutex.h"
#include "support/threads/WorkerPool.h"

namespace zentara {

/// A repeating timer on the worker pool.
///
/// It fires at its deadline and then at deadline + k·interval, without drift and without added
/// leeway. Each firing runs the handler on any worker, so a slow one does not delay the next and
/// runs may overlap. When `cancel` has returned no new run starts; one under way goes on.
/// Destruction cancels. Safe for use from any thread, its own handler included.
class TimerSource : public std::enable_shared_from_this<TimerSource> {
  public:
    using Clock = WorkerPool::Clock;
    using Handler = std::function<void()>;

    /// Starts a timer. An interval of zero or less fires once only.
    [[nodiscard]] static std::shared_ptr<TimerSource> start(Clock::time_point deadline,
                                                            Clock::duration interval,
                                                            Handler handler);
    ~TimerSource() { cancel(); }
    TimerSource(const TimerSource&) = delete;
    TimerSource& operator=(const TimerSource&) = delete;

    void cancel() noexcept ZENTARA_EXCLUDES(mutex_);
    [[nodiscard]] bool isCancelled() const noexcept ZENTARA_EXCLUDES(mutex_);

  private:
    TimerSource(Clock::time_point deadline, Clock::duration interval, Handler handler);

    void wait() ZENTARA_REQUIRES(mutex_);
    void fire() ZENTARA_EXCLUDES(mutex_);
    [[nodiscard]] bool advance() ZENTARA_REQUIRES(mutex_);

    const Clock::duration interval_;
    mutable Mutex mutex_;
    Clock::time_point deadline_ ZENTARA_GUARDED_BY(mutex_);
    std::shared_ptr<const Handler> handler_ ZENTARA_GUARDED_BY(mutex_);  // null when cancelled
    WorkerPool::Place place_ ZENTARA_GUARDED_BY(mutex_);
};

}  // namespace zentara
