#pragma once

#include <memory>
#include <optional>
#include <utility>

#include "support/Mutex.h"
#include "support/threads/Ticker.h"

namespace zentara::test {

/// A ticker that the test fires. Copies share their state, which a request in flight may keep alive
/// beyond the test.
class ManualTicker final : public TickerProtocol {
  public:
    void setHandler(Handler handler) override {
        const MutexLock lock(state_->mutex);
        state_->handler = std::move(handler);
    }
    void start(Clock::time_point, double interval) override {
        const MutexLock lock(state_->mutex);
        state_->interval = interval;
    }
    void cancel() override {
        const MutexLock lock(state_->mutex);
        state_->interval.reset();
    }
    [[nodiscard]] bool isRunning() const override { return runningInterval().has_value(); }

    /// In seconds; nothing without a running timer.
    [[nodiscard]] std::optional<double> runningInterval() const {
        const MutexLock lock(state_->mutex);
        return state_->interval;
    }

    /// Lets the timer fire, on this thread.
    void fire() const {
        Handler current;
        {
            const MutexLock lock(state_->mutex);
            if (state_->interval) current = state_->handler;
        }
        if (current) current();
    }

  private:
    struct State {
        Mutex mutex;
        Handler handler ZENTARA_GUARDED_BY(mutex);
        std::optional<double> interval ZENTARA_GUARDED_BY(mutex);
    };

    const std::shared_ptr<State> state_ = std::make_shared<State>();
};

}  // namespace zentara::test
