#pragma once

#include <chrono>
#include <functional>
#include <memory>

#include "support/Mutex.h"
#include "support/threads/TimerSource.h"

namespace zentara {

/// A periodic heartbeat that its owner starts and stops. Safe for use from any thread.
class TickerProtocol {
  public:
    using Clock = std::chrono::steady_clock;
    using Handler = std::function<void()>;

    virtual ~TickerProtocol() = default;

    /// Installs the callback for timers started from now on; a running one keeps its own. It runs
    /// on a worker, and runs may overlap. It must not keep the ticker's owner alive.
    virtual void setHandler(Handler handler) = 0;

    /// Starts a timer that fires at `deadline` and then every `interval` seconds.
    virtual void start(Clock::time_point deadline, double interval) = 0;

    /// Cancels the timer, if there is one, and forgets it.
    virtual void cancel() = 0;

    /// Whether there is a timer that was not cancelled.
    [[nodiscard]] virtual bool isRunning() const = 0;
};

/// Holds the current timer source of a ticker.
class DispatchSourceTimerWrapper {
  public:
    DispatchSourceTimerWrapper() = default;
    DispatchSourceTimerWrapper(const DispatchSourceTimerWrapper&) = delete;
    DispatchSourceTimerWrapper& operator=(const DispatchSourceTimerWrapper&) = delete;

    /// What a timer started from now on calls.
    void setEventHandler(TickerProtocol::Handler handler);

    /// Creates a timer on the worker pool and starts it, in place of the one before. `interval` is
    /// in seconds.
    void start(TickerProtocol::Clock::time_point deadline, double interval);

    void cancel();
    [[nodiscard]] bool isRunning() const;

  private:
    mutable Mutex mutex_;
    std::shared_ptr<TimerSource> timer_ ZENTARA_GUARDED_BY(mutex_);
    TickerProtocol::Handler eventHandler_ ZENTARA_GUARDED_BY(mutex_) = [] {
    };
};

/// A heartbeat on the worker pool; does nothing until its owner installs a callback and starts it.
class Ticker final : public TickerProtocol {
  public:
    void setHandler(Handler handler) override { timer_.setEventHandler(std::move(handler)); }
    void start(Clock::time_point deadline, double interval) override {
        timer_.start(deadline, interval);
    }
    void cancel() override { timer_.cancel(); }
    [[nodiscard]] bool isRunning() const override { return timer_.isRunning(); }

  private:
    DispatchSourceTimerWrapper timer_;
};

}  // namespace zentara
