#pragma once

#include <deque>
#include <functional>

#include "support/Mutex.h"

namespace zentara {

/// Runs work on the worker pool one at a time, in order. Must outlive its work. Safe for use from
/// any thread.
class Strand {
  public:
    using Work = std::function<void()>;

    /// For callbacks of the host. Completions of requests do not run here, so a slow callback
    /// delays only other callbacks. Never destroyed.
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
