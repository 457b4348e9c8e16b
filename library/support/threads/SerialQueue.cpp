#include "support/threads/SerialQueue.h"

#include "support/Diagnostics.h"

namespace zentara {

void SerialQueue::lock() {
    // Only this thread ever stores its own id, so no ordering is needed to recognise it.
    const auto self = std::this_thread::get_id();
    if (owner_.load(std::memory_order_relaxed) == self) {
        fatalError("serial queue \"" + label_ + "\" entered again from inside");
    }
    mutex_.lock();
    owner_.store(self, std::memory_order_relaxed);
}

void SerialQueue::unlock() {
    owner_.store({}, std::memory_order_relaxed);
    mutex_.unlock();
}

}  // namespace zentara
