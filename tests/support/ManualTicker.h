#pragma once

#include <memory>
#include <optional>
#include <utility>

#include "dispatch/TickerProtocol.h"
#include "support/Mutex.h"

namespace zentara::test {

/// What a test sees of a ticker that it has given away. Copies see the same ticker, which a request
/// under way may keep alive beyond the test.
class TickerView {
  public:
    [[nodiscard]] bool isRunning() const { return runningInterval().has_value(); }

    /// In seconds; nothing without a running timer.
    [[nodiscard]] std::optional<double> runningInterval() const {
        const MutexLock lock(state_->mutex);
        return state_->interval;
    }

    /// Lets the timer fire, on this thread.
    void fire() const {
        TickerProtocol::Handler current;
        {
            const MutexLock lock(state_->mutex);
            if (state_->interval) current = state_->handler;
        }
        if (current) current();
    }

  private:
    friend class ManualTicker;

    struct State {
        Mutex mutex;
        TickerProtocol::Handler handler ZENTARA_GUARDED_BY(mutex);
        std::optional<double> interval ZENTARA_GUARDED_BY(mutex);
    };

    std::shared_ptr<State> state_ = std::make_shared<State>();
};

/// A ticker that fires when the test says so.
class ManualTicker final : public TickerProtocol {
  public:
    explicit ManualTicker(TickerView view) : view_(std::move(view)) {}

    void setHandler(Handler handler) override {
        const MutexLock lock(view_.state_->mutex);
        view_.state_->handler = std::move(handler);
    }
    void start(Clock::time_point, double interval) override {
        const MutexLock lock(view_.state_->mutex);
        view_.state_->interval = interval;
    }
    void cancel() override {
        const MutexLock lock(view_.state_->mutex);
        view_.state_->interval.reset();
    }
    [[nodiscard]] bool isRunning() const override { return view_.isRunning(); }

  private:
    const TickerView view_;
};

}  // namespace zentara::test
