#pragma once

#include <optional>
#include <utility>

#include "dispatch/TickerProtocol.h"
#include "support/Mutex.h"

namespace zentara::test {

/// What a test sees of a ticker that it has given away; must outlive the ticker.
struct TickerView {
    Mutex mutex;
    TickerProtocol::Handler handler;
    std::optional<double> interval;  ///< of the running timer
    int starts = 0;

    [[nodiscard]] bool isRunning() {
        const MutexLock lock(mutex);
        return interval.has_value();
    }

    [[nodiscard]] std::optional<double> runningInterval() {
        const MutexLock lock(mutex);
        return interval;
    }

    /// Lets the timer fire, on this thread.
    void fire() {
        TickerProtocol::Handler current;
        {
            const MutexLock lock(mutex);
            if (interval) current = handler;
        }
        if (current) current();
    }
};

/// A ticker that fires when the test says so.
class ManualTicker final : public TickerProtocol {
  public:
    explicit ManualTicker(TickerView& view) : view_(view) {}

    void setHandler(Handler handler) override {
        const MutexLock lock(view_.mutex);
        view_.handler = std::move(handler);
    }
    void start(Clock::time_point, double interval) override {
        const MutexLock lock(view_.mutex);
        view_.interval = interval;
        ++view_.starts;
    }
    void cancel() override {
        const MutexLock lock(view_.mutex);
        view_.interval.reset();
    }
    [[nodiscard]] bool isRunning() const override { return view_.isRunning(); }

  private:
    TickerView& view_;
};

}  // namespace zentara::test
