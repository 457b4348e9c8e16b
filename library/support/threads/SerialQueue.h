#pragma once

#include <atomic>
#include <mutex>
#include <string>
#include <thread>
#include <utility>

#include "support/Diagnostics.h"
#include "support/Mutex.h"

namespace zentara {

/// A labelled serial queue with a synchronous entry: a mutex that names itself.
///
///     const MutexLock entry(queue_);
class ZENTARA_THREAD_ATTRIBUTE(capability("serial queue")) SerialQueue {
  public:
    explicit SerialQueue(std::string label) : label_(std::move(label)) {}

    /// Returns when every earlier entry has ended. Entering the queue again from inside is a fatal
    /// error that names the label, not a deadlock.
    void lock() ZENTARA_THREAD_ATTRIBUTE(acquire_capability()) {
        // Only this thread ever stores its own id, so no ordering is needed to recognise it.
        const auto self = std::this_thread::get_id();
        if (owner_.load(std::memory_order_relaxed) == self)
            fatalError("serial queue \"" + label_ + "\" entered again from inside");
        mutex_.lock();
        owner_.store(self, std::memory_order_relaxed);
    }
    void unlock() ZENTARA_THREAD_ATTRIBUTE(release_capability()) {
        owner_.store({}, std::memory_order_relaxed);
        mutex_.unlock();
    }

  private:
    const std::string label_;
    std::mutex mutex_;
    std::atomic<std::thread::id> owner_{};
};

}  // namespace zentara
