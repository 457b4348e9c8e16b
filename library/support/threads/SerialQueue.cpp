#include "support/threads/SerialQueue.h"

#include "support/FatalError.h"

namespace zentara {

SerialQueue::Entry::Entry(SerialQueue& queue) : queue_(queue) {
    // Only this thread ever stores its own id, so no ordering is needed to recognise it.
    const auto self = std::this_thread::get_id();
    if (queue_.owner_.load(std::memory_order_relaxed) == self) {
        fatalError("serial queue \"" + queue_.label_ + "\" entered again from inside");
    }
    queue_.mutex_.lock();
    queue_.owner_.store(self, std::memory_order_relaxed);
}

SerialQueue::Entry::~Entry() {
    queue_.owner_.store({}, std::memory_order_relaxed);
    queue_.mutex_.unlock();
}

}  // namespace zentara
