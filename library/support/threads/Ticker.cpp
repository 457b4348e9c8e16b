#include "support/threads/Ticker.h"

#include <utility>

namespace zentara {

void DispatchSourceTimerWrapper::setEventHandler(TickerProtocol::Handler handler) {
    const MutexLock lock(mutex_);
    eventHandler_ = std::move(handler);
}

void DispatchSourceTimerWrapper::start(TickerProtocol::Clock::time_point deadline,
                                       double interval) {
    const auto repeat = std::chrono::duration_cast<TickerProtocol::Clock::duration>(
        std::chrono::duration<double>(interval));
    std::shared_ptr<TimerSource> previous;
    const MutexLock lock(mutex_);
    previous = std::exchange(timer_, TimerSource::start(deadline, repeat, eventHandler_));
}

void DispatchSourceTimerWrapper::cancel() {
    std::shared_ptr<TimerSource> timer;
    {
        const MutexLock lock(mutex_);
        timer = std::exchange(timer_, nullptr);
    }
    if (timer) timer->cancel();
}

bool DispatchSourceTimerWrapper::isRunning() const {
    const MutexLock lock(mutex_);
    return timer_ && !timer_->isCancelled();
}

}  // namespace zentara
