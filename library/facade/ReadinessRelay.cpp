#include "facade/ReadinessRelay.h"

#include <limits>
#include <utility>

#include "support/threads/CallbackScope.h"
#include "support/threads/WorkerPool.h"

namespace zentara {

void ReadinessRelay::report(ZentaraClientErrorRef error) {
    if (!callback_) return;
    {
        const MutexLock lock(mutex_);
        reports_.push_back(std::move(error));
        if (!isOpen_ && std::this_thread::get_id() == builder_) ++ofBuilder_;
        // A delivery that runs takes the new report along, which keeps the order.
        if (!isOpen_ || std::exchange(isDelivering_, true)) return;
    }
    deliverLater();
}

void ReadinessRelay::open() {
    if (!callback_) return;
    std::size_t now = 0;
    {
        const MutexLock lock(mutex_);
        isOpen_ = true;
        isDelivering_ = true;
        now = ofBuilder_;
    }
    deliver(now);
}

void ReadinessRelay::deliverLater() {
    Strand::forHostCallbacks().async(
        [self = shared_from_this()] { self->deliver(std::numeric_limits<std::size_t>::max()); });
}

void ReadinessRelay::deliver(std::size_t most) {
    for (;; --most) {
        ZentaraClientErrorRef error;
        {
            const MutexLock lock(mutex_);
            if (reports_.empty()) {
                isDelivering_ = false;
                return;
            }
            if (most == 0) break;
            error = std::move(reports_.front());
            reports_.pop_front();
        }
        try {
            const CallbackScope scope;
            callback_(std::move(error));
        } catch (...) {
            // The exception is the host's. The reports that follow are still delivered.
            deliverLater();
            throw;
        }
    }
    deliverLater();
}

}  // namespace zentara
