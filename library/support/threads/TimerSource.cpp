#include "support/threads/TimerSource.h"

#include <algorithm>
#include <utility>

namespace zentara {

TimerSource::TimerSource(Clock::time_point deadline, Clock::duration interval, Handler handler)
    : interval_(interval),
      deadline_(deadline),
      handler_(std::make_shared<const Handler>(std::move(handler))) {}

std::shared_ptr<TimerSource> TimerSource::start(Clock::time_point deadline,
                                                Clock::duration interval, Handler handler) {
    const std::shared_ptr<TimerSource> timer(
        new TimerSource(deadline, interval, std::move(handler)));
    const MutexLock lock(timer->mutex_);
    timer->wait();
    return timer;
}

void TimerSource::cancel() noexcept {
    // Destroyed after the lock is released: the handler may own objects that take locks.
    std::shared_ptr<const Handler> released;
    const MutexLock lock(mutex_);
    if (!handler_) return;
    released = std::move(handler_);
    WorkerPool::shared().remove(place_);
}

bool TimerSource::isCancelled() const noexcept {
    const MutexLock lock(mutex_);
    return handler_ == nullptr;
}

void TimerSource::wait() {
    place_ = WorkerPool::shared().put(deadline_, [timer = weak_from_this()] {
        if (const auto self = timer.lock()) self->fire();
    });
}

/// Arms the next firing before it runs the handler, so that another worker can take it while this
/// one is busy.
void TimerSource::fire() {
    std::shared_ptr<const Handler> handler;
    {
        const MutexLock lock(mutex_);
        if (!handler_) return;
        handler = handler_;
        if (interval_ > Clock::duration::zero() && advance()) wait();
    }
    (*handler)();
}

/// Moves the deadline to the first point of the grid in the future: what was missed while the
/// process was stopped becomes this one firing. Returns false at the end of time.
bool TimerSource::advance() {
    const auto late = std::max(Clock::now() - deadline_, Clock::duration::zero());
    const auto missed = interval_ * (late / interval_);
    if (interval_ > Clock::time_point::max() - (deadline_ + missed)) return false;
    deadline_ += missed + interval_;
    return true;
}

}  // namespace zentara
