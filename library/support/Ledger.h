#pragma once

#include <atomic>
#include <cstdint>

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

    Count accepted = 0;
    Count heldBack = 0;
    Count notSaved = 0;
    Count heldBackNotSaved = 0;

    Count refusedNotInitialized = 0;
    Count refusedInvalid = 0;
    Count refusedUnknownSchema = 0;
    Count refusedNotEncodable = 0;

    Count released = 0;
    Count droppedInvalid = 0;
    Count droppedUnknownSchema = 0;

    Count delivered = 0;
    Count underWay = 0;
    Count batchesDelivered = 0;
    Count batchesFailed = 0;

    /// The one of this process. Lives until the process is gone.
    [[nodiscard]] static Ledger& shared() noexcept {
        // Constant-initialised and trivially destroyed: workers count while the process ends.
        static constinit Ledger ledger;
        return ledger;
    }
};

}  // namespace zentara
