#pragma once

#include <atomic>
#include <cstdint>

#include "support/StatisticsNames.h"

namespace zentara {

/// The counters behind `ZentaraClientStatistics`, which explains them. Counting takes no lock.
struct Ledger {
    using Count = std::atomic<std::int64_t>;

    /// Counted by the queue itself. When the queue is destroyed, events that stay in its file are
    /// subtracted from `restored`, because loading the file again counts them again.
    struct Queue {
        Count restored = 0;
        Count evicted = 0;
        Count discarded = 0;
        Count waiting = 0;
        Count passedOver = 0;  ///< of `waiting`; no held-back event is
    };

    Queue queue;
    Queue heldBackQueue;

#define ZENTARA_DECLARE_COUNT(name) Count name = 0;
    ZENTARA_EACH_EVENT_COUNT(ZENTARA_DECLARE_COUNT)
#undef ZENTARA_DECLARE_COUNT

    /// The ledger of this process, never destroyed.
    [[nodiscard]] static Ledger& shared() noexcept {
        // Constant-initialised and trivially destroyed: workers count while the process ends.
        static constinit Ledger ledger;
        return ledger;
    }
};

}  // namespace zentara
