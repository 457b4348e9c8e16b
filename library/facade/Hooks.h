#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include <zentara/AnyText.h>
#include <zentara/Event.h>
#include <zentara/JSONValue.h>
#include <zentara/Language.h>

namespace zentara {

/// An event on its way to the queue, as `ZentaraClient::setBeforeQueue` sees it.
struct OutgoingEvent {
    const Event& event;  ///< as it was sent, with an empty referer
    const std::string& actionUUID;
    JSONObject properties;  ///< those of the event, merged over the global properties
    AnyText url;
    AnyText referer;
};

enum class EventDecision : std::int64_t {
    queue = 0,  ///< validate and queue it as it is now
    drop = 1,   ///< its handler receives `EventDroppedError`; so does any other value
};

/// Called for each event on the thread that sends it, before it is validated or held back, without
/// a lock held. Several threads call it at once when they send at once. An exception refuses the
/// event, and its handler receives `BeforeQueueError`.
using BeforeQueue = std::function<EventDecision(OutgoingEvent&)>;

/// What the schema says of properties that were not sent.
struct ValidationReport {
    enum class Outcome : std::int64_t {
        valid = 0,
        invalid = 1,        ///< `messages` say why
        unknownSchema = 2,  ///< no schema with this id and version
        notReady = 3,       ///< the schemas have not arrived yet
    };

    Outcome outcome = Outcome::notReady;
    std::vector<std::string> messages;

    friend bool operator==(const ValidationReport&, const ValidationReport&) = default;
};

}  // namespace zentara
