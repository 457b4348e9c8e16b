#pragma once

// The members of `ZentaraClientStatistics`, for C, C++ and Objective-C: `APPLY(accepted)` ...
// clang-format off

/// Counted by a queue.
#define ZENTARA_EACH_QUEUE_COUNT(APPLY) \
    APPLY(restored) APPLY(evicted) APPLY(discarded) APPLY(waiting) APPLY(passedOver) \
    APPLY(heldBackRestored) APPLY(heldBackEvicted) APPLY(heldBackDiscarded) \
    APPLY(heldBackWaiting)
/// Counted elsewhere.
#define ZENTARA_EACH_EVENT_COUNT(APPLY) \
    APPLY(accepted) APPLY(heldBack) APPLY(notSaved) APPLY(heldBackNotSaved) \
    APPLY(refusedNotInitialized) APPLY(refusedInvalid) APPLY(refusedUnknownSchema) \
    APPLY(refusedNotEncodable) APPLY(refusedConsent) APPLY(refusedShutDown) \
    APPLY(refusedByHook) APPLY(droppedByHook) APPLY(released) APPLY(droppedInvalid) \
    APPLY(droppedUnknownSchema) APPLY(delivered) APPLY(inFlight) \
    APPLY(batchesDelivered) APPLY(batchesFailed)
#define ZENTARA_EACH_COUNT(APPLY) \
    ZENTARA_EACH_EVENT_COUNT(APPLY) ZENTARA_EACH_QUEUE_COUNT(APPLY)
#define ZENTARA_EACH_FAILURE(APPLY) \
    APPLY(schemasFailure) APPLY(identityFailure) APPLY(deliveryFailure) APPLY(storageFailure)
