#pragma once

#include <functional>
#include <span>
#include <string_view>

#include <zentara/Delivery.h>
#include "model/InternalEvent.h"

namespace zentara {

/// Is told what becomes of events after `send`: of one or more, in the order of the queue. The
/// reason is empty for delivered events. Called by any thread, also under a lock, so it must only
/// hand the events over. Null costs nothing.
using DeliveryListener = std::function<void(
    DeliveryNotice::Kind kind, std::span<const InternalEvent> events, std::string_view reason)>;

/// Why an event was evicted.
inline constexpr std::string_view queueIsFull = "the queue is full";
/// Why all events of a user were dropped.
inline constexpr std::string_view userDataRemoved = "the data of the user were removed";

}  // namespace zentara
