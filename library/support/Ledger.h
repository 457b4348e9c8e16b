#pragma once

#include <atomic>
#include <cstdint>

#include "support/StatisticsNames.h"

namespace zentara {

/// What became of the events of this process, each counted where it happens. The names are those of
/// `ZentaraClientStatistics`, which says what they mean. Counting takes no lock.
struct Ledger {
    using Count = std::atomic<std::int64_t>;

    /// Counted by the queue itself. What it leaves in its file when it goes is taken off
    /// `restored`, or finding it there again would count it twice.
    struct Queue {
        Count restored = 0;
        Count evicted = 0;
        Count waiting = 0;
    };

    Queue queue;
    Queue heldBackQueue;

#define ZENTARA_DECLARE_COUNT(name) Count name = 0;
    ZENTARA_EACH_EVENT_COUNT(ZENTARA_DECLARE_COUNT)
#undef ZENTARA_DECLARE_COUNT

    /// The one of this process. Lives until the process is gone.
    [[nodiscard]] static Ledger& shared() noexcept {
        // Constant-initialised and trivially destroyed: workers count while the process ends.
        static constinit Ledger ledger;
        return ledger;
    }
};

}  // namespace zentara
