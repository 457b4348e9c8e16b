#include "support/threads/Ticker.h"

#include <algorithm>
#include <cstdint>
#include <utility>

#include "support/Mutex.h"
#include "support/threads/WorkerPool.h"

namespace zentara {

namespace {

using Clock = TickerProtocol::Clock;
using SharedHandler = std::shared_ptr<const TickerProtocol::Handler>;

Clock::duration ticks(double seconds) {
    const std::chrono::duration<double> interval(seconds);
    // The longest interval is no overflow.
    if (interval >= Clock::duration::max()) return Clock::duration::max();
    return std::chrono::duration_cast<Clock::duration>(interval);
}

}  // namespace

/// The current timer of a ticker.
struct DispatchSourceTimerWrapper : std::enable_shared_from_this<DispatchSourceTimerWrapper> {
    Mutex mutex;
    SharedHandler eventHandler ZENTARA_GUARDED_BY(mutex) =
        std::make_shared<const TickerProtocol::Handler>([] {});
    SharedHandler running ZENTARA_GUARDED_BY(mutex);     // the timer's own; null without a timer
    std::uint64_t number ZENTARA_GUARDED_BY(mutex) = 0;  // tells the timer from those before it
    Clock::time_point deadline ZENTARA_GUARDED_BY(mutex);
    Clock::duration interval ZENTARA_GUARDED_BY(mutex){};
    WorkerPool::Place place ZENTARA_GUARDED_BY(mutex);

    void wait() ZENTARA_REQUIRES(mutex) {
        place = WorkerPool::shared().put(deadline, [weak = weak_from_this(), mine = number] {
            if (const auto self = weak.lock()) self->fire(mine);
        });
    }

    /// Arms the next firing before it runs the handler, so that another worker can take it while
    /// this one is busy.
    void fire(std::uint64_t timer) {
        SharedHandler handler;
        {
            const MutexLock lock(mutex);
            if (!running || timer != number) return;
            handler = running;
            if (interval > Clock::duration::zero() && advance()) wait();
        }
        (*handler)();
    }

    /// Moves the deadline to the first point of the grid in the future: what was missed while the
    /// process was stopped becomes this one firing. Returns false at the end of time.
    bool advance() ZENTARA_REQUIRES(mutex) {
        const auto late = std::max(Clock::now() - deadline, Clock::duration::zero());
        const auto missed = interval * (late / interval);
        if (interval > Clock::time_point::max() - (deadline + missed)) return false;
        deadline += missed + interval;
        return true;
    }

    /// Puts a timer with `handler`, or none, in place of the timer before.
    void replace(SharedHandler& handler) ZENTARA_REQUIRES(mutex) {
        if (running) WorkerPool::shared().remove(place);
        running.swap(handler);
        ++number;
    }
};

Ticker::Ticker() : timer_(std::make_shared<DispatchSourceTimerWrapper>()) {}

Ticker::~Ticker() {
    Ticker::cancel();
}

// Handlers that are replaced are destroyed after the lock is released: they may own objects that
// take locks.

void Ticker::setHandler(Handler handler) {
    auto installed = std::make_shared<const Handler>(std::move(handler));
    const MutexLock lock(timer_->mutex);
    timer_->eventHandler.swap(installed);
}

void Ticker::start(Clock::time_point deadline, double interval) {
    SharedHandler handler;
    const MutexLock lock(timer_->mutex);
    handler = timer_->eventHandler;
    timer_->replace(handler);
    timer_->deadline = deadline;
    timer_->interval = ticks(interval);
    timer_->wait();
}

void Ticker::cancel() {
    SharedHandler none;
    const MutexLock lock(timer_->mutex);
    timer_->replace(none);
}

bool Ticker::isRunning() const {
    const MutexLock lock(timer_->mutex);
    return timer_->running != nullptr;
}

}  // namespace zentara
