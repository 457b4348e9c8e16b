#include "support/threads/TimerSource.h"

#include <algorithm>
#include <memory>
#include <optional>
#include <utility>

#include "support/Diagnostics.h"
#include "support/Mutex.h"
#include "support/threads/WorkerPool.h"

namespace zentara {

struct TimerSource::State : std::enable_shared_from_this<TimerSource::State> {
    using Handler = std::function<void()>;

    void start(Clock::time_point first, Clock::duration every, Handler handler) {
        const MutexLock lock(mutex_);
        if (place_) fatalError("a timer source was started twice");
        if (cancelled_) return;
        deadline_ = first;
        interval_ = every;
        handler_ = std::make_shared<const Handler>(std::move(handler));
        wait();
    }

    void cancel() noexcept {
        // Released after the lock: the end of the handler may end what it holds.
        std::shared_ptr<const Handler> released;
        const MutexLock lock(mutex_);
        cancelled_ = true;
        released = std::move(handler_);
        if (place_) WorkerPool::shared().remove(*place_);
    }

    [[nodiscard]] bool isCancelled() noexcept {
        const MutexLock lock(mutex_);
        return cancelled_;
    }

  private:
    void wait() ZENTARA_REQUIRES(mutex_) {
        place_ = WorkerPool::shared().put(deadline_, [self = shared_from_this()] { self->fire(); });
    }

    /// Arms the next firing before it runs the handler, so that another worker can take it while
    /// this one is busy.
    void fire() {
        std::shared_ptr<const Handler> handler;
        {
            const MutexLock lock(mutex_);
            if (cancelled_) return;
            handler = handler_;
            if (interval_ > Clock::duration::zero() && advance()) wait();
        }
        (*handler)();
    }

    /// Moves the deadline to the first point of the grid in the future: what was missed while the
    /// process was stopped becomes this one firing. Returns false at the end of time.
    [[nodiscard]] bool advance() ZENTARA_REQUIRES(mutex_) {
        const auto late = std::max(Clock::now() - deadline_, Clock::duration::zero());
        const auto missed = interval_ * (late / interval_);
        if (interval_ > Clock::time_point::max() - (deadline_ + missed)) return false;
        deadline_ += missed + interval_;
        return true;
    }

    Mutex mutex_;
    bool cancelled_ ZENTARA_GUARDED_BY(mutex_) = false;
    Clock::time_point deadline_ ZENTARA_GUARDED_BY(mutex_);
    Clock::duration interval_ ZENTARA_GUARDED_BY(mutex_){};
    std::shared_ptr<const Handler> handler_ ZENTARA_GUARDED_BY(mutex_);
    std::optional<WorkerPool::Place> place_ ZENTARA_GUARDED_BY(mutex_);
};

TimerSource::TimerSource() : state_(std::make_shared<State>()) {}

TimerSource::~TimerSource() {
    cancel();
}

void TimerSource::start(Clock::time_point deadline, Clock::duration interval,
                        std::function<void()> handler) {
    state_->start(deadline, interval, std::move(handler));
}

void TimerSource::cancel() noexcept {
    state_->cancel();
}

bool TimerSource::isCancelled() const noexcept {
    return state_->isCancelled();
}

}  // namespace zentara
