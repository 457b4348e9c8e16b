#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include <zentara/Language.h>

namespace zentara {

/// What a flush achieved.
struct FlushResult {
    enum class Outcome : std::int64_t {
        empty = 0,     ///< nothing is left in the queue but events that were passed over
        failed = 1,    ///< a batch was not delivered; `lastFailure` says why
        deadline = 2,  ///< the deadline came first
        refused = 3,   ///< wrong use; `lastFailure` says what was wrong
    };

    Outcome outcome = Outcome::empty;
    std::int64_t delivered = 0;  ///< events that the collector has acknowledged during the flush
    std::int64_t waiting = 0;    ///< events left in the queue, passed over or in flight included
    std::int64_t heldBack = 0;   ///< events that still wait for their schemas
    /// Why the last batch or event was not delivered, in words; empty when none failed.
    std::string lastFailure;

    friend bool operator==(const FlushResult&, const FlushResult&) = default;
};

using FlushCallback = std::function<void(const FlushResult&)>;

/// What became of some events after `send` had returned.
struct DeliveryNotice {
    enum class Kind : std::int64_t {
        delivered = 0,  ///< acknowledged by the collector
        evicted = 1,    ///< the oldest of too many
        /// Removed without delivery: held back and then refused by its schema, or removed because
        /// consent was denied or the user forgotten.
        dropped = 2,
        refused = 3,  ///< refused by the collector while alone in its batch, and passed over
    };

    Kind kind = Kind::delivered;
    std::vector<std::string> actionUUIDs;  ///< in the order of the queue, lower case
    std::string reason;                    ///< in words; empty for delivered events

    friend bool operator==(const DeliveryNotice&, const DeliveryNotice&) = default;
};

using DeliveryObserver = std::function<void(const DeliveryNotice&)>;

}  // namespace zentara
