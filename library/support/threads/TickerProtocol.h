#pragma once

#include <chrono>
#include <functional>

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

}  // namespace zentara
