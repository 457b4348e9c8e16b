#pragma once

#include <deque>
#include <functional>

#include "support/Mutex.h"

namespace zentara {

/// Runs work on the worker pool, one after the other, in the order in which it came. Has to outlive
/// what it was given. Safe for use from any thread.
class Strand {
  public:
    using Work = std::function<void()>;

    /// For the host's callbacks, apart from the completions of the library's own requests: a slow
    /// callback delays other callbacks only. Never destroyed.
    [[nodiscard]] static Strand& forHostCallbacks();

    Strand() = default;
    Strand(const Strand&) = delete;
    Strand& operator=(const Strand&) = delete;

    void async(Work work) ZENTARA_EXCLUDES(mutex_);

  private:
    void runNext() ZENTARA_EXCLUDES(mutex_);
    void runLater();

    Mutex mutex_;
    std::deque<Work> works_ ZENTARA_GUARDED_BY(mutex_);
    bool isRunning_ ZENTARA_GUARDED_BY(mutex_) = false;
};

}  // namespace zentara
