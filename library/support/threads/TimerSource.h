#pragma once

#include <chrono>
#include <functional>
#include <memory>

namespace zentara {

/// A repeating timer on the worker pool.
///
/// It fires at its deadline and then at deadline + k·interval, without drift and without added
/// leeway. Each firing runs the handler on any worker, so a slow one does not delay the next and
/// runs may overlap. When `cancel` has returned no new run starts; one under way goes on.
/// Destruction cancels. Safe for use from any thread, its own handler included.
class TimerSource {
  public:
    using Clock = std::chrono::steady_clock;

    TimerSource();
    ~TimerSource();
    TimerSource(const TimerSource&) = delete;
    TimerSource& operator=(const TimerSource&) = delete;

    /// Starts the timer; called once. An interval of zero or less fires once only.
    void start(Clock::time_point deadline, Clock::duration interval, std::function<void()> handler);

    void cancel() noexcept;
    [[nodiscard]] bool isCancelled() const noexcept;

  private:
    struct State;
    std::shared_ptr<State> state_;
};

}  // namespace zentara
