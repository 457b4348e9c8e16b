#include "facade/ReadinessRelay.h"

#include <utility>

#include "platform/Strand.h"

namespace zentara {

void ReadinessRelay::report(ZentaraClientErrorRef error) {
    if (!callback_) return;
    {
        const MutexLock lock(mutex_);
        reports_.push_back(std::move(error));
        // Whoever delivers already takes the new report along, so that none overtakes another.
        if (!isOpen_ || std::exchange(isDelivering_, true)) return;
    }
    Strand::forHostCallbacks().async([self = shared_from_this()] { self->deliver(); });
}

void ReadinessRelay::open() {
    if (!callback_) return;
    {
        const MutexLock lock(mutex_);
        isOpen_ = true;
        isDelivering_ = true;
    }
    deliver();
}

void ReadinessRelay::deliver() {
    for (;;) {
        ZentaraClientErrorRef error;
        {
            const MutexLock lock(mutex_);
            if (reports_.empty()) {
                isDelivering_ = false;
                return;
            }
            error = std::move(reports_.front());
            reports_.pop_front();
        }
        try {
            callback_(std::move(error));
        } catch (...) {
            // The exception is the host's; the reports that follow are still to be delivered.
            const MutexLock lock(mutex_);
            isDelivering_ = false;
            throw;
        }
    }
}

}  // namespace zentara
