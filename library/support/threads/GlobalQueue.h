#pragma once

#include <chrono>
#include <functional>

#include "support/NoDestructor.h"

namespace zentara {

/// The process's worker pool: a few threads, started on first use, that live until the process
/// ends and survive static destruction. They sleep while there is nothing to do and block every
/// signal, so that the host's handlers run on the host's threads. Safe for use from any thread.
class GlobalQueue {
  public:
    using Work = std::function<void()>;

    [[nodiscard]] static GlobalQueue& shared();

    /// Runs `work` on a worker as soon as one is free. An exception that leaves it is a fatal
    /// error.
    void async(Work work);

    /// Runs `work` on a worker when `delay` has passed.
    void asyncAfter(std::chrono::steady_clock::duration delay, Work work);

  private:
    friend class NoDestructor<GlobalQueue>;
    GlobalQueue() = default;
};

}  // namespace zentara
