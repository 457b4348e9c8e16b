#include "facade/ReadinessRelay.h"

#include <limits>
#include <utility>

#include "support/threads/CallbackScope.h"
#include "support/threads/WorkerPool.h"

namespace zentara {

void ReadinessRelay::report(ZentaraClientErrorRef error) {
    {
        const MutexLock lock(mutex_);
        if (!callback_) return;
        reports_.push_back(std::move(error));
        if (!isOpen_ && std::this_thread::get_id() == builder_) ++ofBuilder_;
        // A delivery that runs takes the new report along, which keeps the order.
        if (!isOpen_ || std::exchange(isDelivering_, true)) return;
    }
    deliverLater();
}

void ReadinessRelay::open() {
    std::size_t now = 0;
    {
        const MutexLock lock(mutex_);
        isOpen_ = true;
        if (!callback_) return;
        isDelivering_ = true;
        now = ofBuilder_;
    }
    deliver(now);
}

void ReadinessRelay::close() {
    std::shared_ptr<const Callback> forgotten;
    const MutexLock lock(mutex_);
    forgotten.swap(callback_);
    reports_.clear();
}

void ReadinessRelay::deliverLater() {
    Strand::forHostCallbacks().async(
        [self = shared_from_this()] { self->deliver(std::numeric_limits<std::size_t>::max()); });
}

void ReadinessRelay::deliver(std::size_t most) {
    for (;; --most) {
        ZentaraClientErrorRef error;
        std::shared_ptr<const Callback> callback;
        {
            const MutexLock lock(mutex_);
            if (reports_.empty()) {
                isDelivering_ = false;
                return;
            }
            if (most == 0) break;
            error = std::move(reports_.front());
            reports_.pop_front();
            callback = callback_;
        }
        try {
            const CallbackScope scope;
            (*callback)(std::move(error));
        } catch (...) {
            // The exception is the host's. The reports that follow are still delivered.
            deliverLater();
            throw;
        }
    }
    deliverLater();
}

}  // namespace zentara
