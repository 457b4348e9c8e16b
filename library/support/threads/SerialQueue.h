#pragma once

#include <atomic>
#include <mutex>
#include <string>
#include <thread>
#include <utility>

#include "support/Mutex.h"

namespace zentara {

/// A labelled serial queue with a synchronous entry: a mutex that names itself.
///
///     const MutexLock entry(queue_);
class ZENTARA_THREAD_ATTRIBUTE(capability("serial queue")) SerialQueue {
  public:
    explicit SerialQueue(std::string label) : label_(std::move(label)) {}

    SerialQueue(const SerialQueue&) = delete;
    SerialQueue& operator=(const SerialQueue&) = delete;

    /// Returns when every earlier entry has ended. Entering the queue again from inside is a fatal
    /// error that names the label, not a deadlock.
    void lock() ZENTARA_THREAD_ATTRIBUTE(acquire_capability());
    void unlock() ZENTARA_THREAD_ATTRIBUTE(release_capability());

  private:
    const std::string label_;
    std::mutex mutex_;
    std::atomic<std::thread::id> owner_{};
};

}  // namespace zentara
