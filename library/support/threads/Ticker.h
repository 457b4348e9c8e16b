#pragma once

#include <chrono>
#include <functional>
#include <memory>

namespace zentara {

/// A periodic heartbeat that its owner starts and stops. Safe for use from any thread, the handler
/// included.
class TickerProtocol {
  public:
    using Clock = std::chrono::steady_clock;
    using Handler = std::function<void()>;

    virtual ~TickerProtocol() = default;

    /// Installs the callback for timers started from now on; a running one keeps its own. It runs
    /// on a worker, and runs may overlap. It must not keep the ticker's owner alive.
    virtual void setHandler(Handler handler) = 0;

    /// Starts a timer that fires at `deadline` and then every `interval` seconds, in place of the
    /// timer before. An interval of zero or less fires once only.
    virtual void start(Clock::time_point deadline, double interval) = 0;

    /// Cancels the timer, if there is one, and forgets it. No new run starts after this; a run
    /// that has begun goes on.
    virtual void cancel() = 0;

    /// Whether there is a timer that was not cancelled.
    [[nodiscard]] virtual bool isRunning() const = 0;
};

struct DispatchSourceTimerWrapper;

/// A heartbeat on the worker pool; does nothing until its owner installs a callback and starts it.
///
/// It fires at its deadline and then at deadline + k·interval, without drift and without added
/// leeway. A slow run does not delay the next. Destroying the ticker cancels its timer.
class Ticker final : public TickerProtocol {
  public:
    Ticker();
    ~Ticker() override;
    Ticker(const Ticker&) = delete;
    Ticker& operator=(const Ticker&) = delete;

    void setHandler(Handler handler) override;
    void start(Clock::time_point deadline, double interval) override;
    void cancel() override;
    [[nodiscard]] bool isRunning() const override;

  private:
    // Shared with the work that waits in the pool.
    const std::shared_ptr<DispatchSourceTimerWrapper> timer_;
};

}  // namespace zentara
