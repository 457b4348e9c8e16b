#pragma once

#include <deque>

#include "platform/posix/WorkerPool.h"
#include "support/Mutex.h"

namespace zentara {

/// Runs work on the worker pool, one after the other, in the order in which it came. Has to outlive
/// what it was given. Safe for use from any thread.
class Strand {
  public:
    Strand() = default;
    Strand(const Strand&) = delete;
    Strand& operator=(const Strand&) = delete;

    void async(WorkerPool::Work work) ZENTARA_EXCLUDES(mutex_);

  private:
    void runNext() ZENTARA_EXCLUDES(mutex_);
    void runLater();

    Mutex mutex_;
    std::deque<WorkerPool::Work> works_ ZENTARA_GUARDED_BY(mutex_);
    bool isRunning_ ZENTARA_GUARDED_BY(mutex_) = false;
};

}  // namespace zentara
