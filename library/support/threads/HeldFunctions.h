#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <utility>

#include "support/Mutex.h"
#include "support/threads/WorkerPool.h"

namespace zentara {

/// The functions of the host that the library holds, so that `shutdown` can wait until there are
/// none.
///
/// A held function is destroyed on the strand of the host's callbacks: what it has captured may
/// call the library when it is destroyed, and the last copy may go under a lock. Safe for use from
/// any thread.
class HeldFunctions {
  public:
    /// Those of this process; never destroyed.
    [[nodiscard]] static HeldFunctions& shared();

    /// A function that calls `function` and that is counted until its last copy is destroyed. An
    /// empty function stays empty and is not counted.
    template <typename Returned, typename... Arguments>
    [[nodiscard]] std::function<Returned(Arguments...)> hold(
        std::function<Returned(Arguments...)> function) {
        using Function = std::function<Returned(Arguments...)>;
        if (!function) return nullptr;
        add(1);
        const std::shared_ptr<const Function> held(
            new Function(std::move(function)), [this](const Function* last) {
                Strand::forHostCallbacks().async([this, last] {
                    delete last;
                    add(-1);
                });
            });
        return [held](Arguments... arguments) -> Returned {
            return (*held)(std::forward<Arguments>(arguments)...);
        };
    }

    /// Whether there was none at some moment before `end`.
    [[nodiscard]] bool waitForNone(std::chrono::steady_clock::time_point end);

  private:
    void add(std::int64_t more);

    Mutex mutex_;
    std::condition_variable_any none_;
    std::int64_t count_ ZENTARA_GUARDED_BY(mutex_) = 0;
};

}  // namespace zentara
