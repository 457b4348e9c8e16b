#pragma once

#include <cstdint>

#include <zentara/Language.h>

namespace zentara {

/// How queued events are delivered. A part of the settings; as it is made here, ten events leave
/// every ten seconds, each post on a connection of its own.
struct DeliveryPolicy {
    /// After a delivered batch that has left events in the queue, go on with the next batch without
    /// waiting for the next tick.
    bool continueAtOnce = false;
    /// The largest body of a request, in bytes before compression; 0 is no limit. A batch that is
    /// larger is split. An event that is larger alone is posted alone.
    std::int64_t largestBodySize = 0;
    /// Compress the bodies with gzip and say so in "Content-Encoding". The collector must accept
    /// it.
    bool compressBodies = false;
    /// After 429 and 5xx, post nothing for the time that "Retry-After" names, otherwise for a time
    /// that doubles with each failure and has a random part. At most one hour.
    bool backOff = false;
    /// After 400, 413 and 422, halve the batch until the event that the collector refuses is
    /// alone, and pass over it: it stays in the queue and on disk, is counted in `passedOver`, and
    /// is not posted again before `ZentaraClient::retryRefused` or before its queue is opened anew,
    /// as by the next start.
    bool isolateRefused = false;
    /// Send many posts on one connection. A post is never repeated by the connection itself: when
    /// the server has closed the connection, the batch goes back to the queue.
    bool reuseConnections = false;

    friend bool operator==(const DeliveryPolicy&, const DeliveryPolicy&) = default;
};

}  // namespace zentara
