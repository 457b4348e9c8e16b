#pragma once

#include <cstdint>
#include <string>

#include <zentara/Language.h>

namespace zentara {

/// The last failure of a part of the library.
struct ZentaraClientFailure {
    /// In words, with the host, status or system error. Empty while nothing has failed, and when
    /// there is no memory for a copy.
    std::string text;
    std::int64_t time = 0;  ///< of the failure, in milliseconds since 1970-01-01 UTC; 0 without one
    std::int64_t inARow = 0;  ///< failures since the last success; 0 when it has recovered

    friend bool operator==(const ZentaraClientFailure&, const ZentaraClientFailure&) = default;
};

/// What became of the events of this process since it started. All clients of the process count
/// into one record.
///
/// Every event ends in one place, so the counts balance. When nothing is being sent or delivered:
///
/// - `accepted + notSaved + released + restored == delivered + evicted + discarded +
///   waiting + inFlight`
/// - `heldBack + heldBackNotSaved + heldBackRestored == released + droppedInvalid +
///   droppedUnknownSchema + heldBackEvicted + heldBackDiscarded + heldBackWaiting`
///
/// While events move, each count is right, but the counts are read one after the other. Failures
/// are not part of the balance.
struct ZentaraClientStatistics {
    // What `send` did.
    std::int64_t accepted = 0;          ///< valid, queued and on disk: the handler got null
    std::int64_t heldBack = 0;          ///< on disk until the schemas are there
    std::int64_t notSaved = 0;          ///< valid and queued, in memory only: the disk failed
    std::int64_t heldBackNotSaved = 0;  ///< held back, in memory only: the disk failed
    std::int64_t refusedNotInitialized = 0;
    std::int64_t refusedInvalid = 0;
    std::int64_t refusedUnknownSchema = 0;
    std::int64_t refusedNotEncodable = 0;  ///< JSON cannot hold it: NaN, infinity, too deep
    std::int64_t refusedConsent = 0;       ///< consent is denied
    std::int64_t refusedShutDown = 0;      ///< after `ZentaraClient::shutdown`
    std::int64_t refusedByHook = 0;        ///< the function of `setBeforeQueue` has thrown
    std::int64_t droppedByHook = 0;        ///< the function of `setBeforeQueue` has dropped it

    // What became of the held-back events. No handler is told.
    std::int64_t released = 0;              ///< valid: moved to the queue
    std::int64_t droppedInvalid = 0;        ///< the schema refused it
    std::int64_t droppedUnknownSchema = 0;  ///< there was no schema for it
    std::int64_t heldBackEvicted = 0;       ///< dropped as the oldest of too many
    std::int64_t heldBackDiscarded = 0;     ///< removed: consent was denied, the user forgotten

    // What became of the queued events.
    std::int64_t delivered = 0;  ///< acknowledged by the collector
    std::int64_t evicted = 0;    ///< dropped as the oldest of too many
    std::int64_t discarded = 0;  ///< removed: consent was denied, the user forgotten
    std::int64_t batchesDelivered = 0;
    std::int64_t batchesFailed = 0;  ///< refused or without an answer; most are sent again

    // Events of earlier runs. Negative while there is no client and an earlier client of this
    // process has left events on disk.
    std::int64_t restored = 0;
    std::int64_t heldBackRestored = 0;

    // Now.
    std::int64_t waiting = 0;          ///< in the queue
    std::int64_t inFlight = 0;         ///< in dispatches that have not ended yet
    std::int64_t passedOver = 0;       ///< of `waiting`, those that the collector refuses
    std::int64_t heldBackWaiting = 0;  ///< held back

    // Why events do not move. Each new cause is also a line of the log.
    ZentaraClientFailure schemasFailure;   ///< fetching the schemas
    ZentaraClientFailure identityFailure;  ///< fetching the identity
    ZentaraClientFailure deliveryFailure;  ///< posting batches; also that there is no identity
    ZentaraClientFailure storageFailure;   ///< reading and writing the files

    friend bool operator==(const ZentaraClientStatistics&,
                           const ZentaraClientStatistics&) = default;
};

}  // namespace zentara
