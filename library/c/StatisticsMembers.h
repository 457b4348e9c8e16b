#pragma once

// The members of the statistics in C++ and in C: `APPLY(heldBack, held_back)` ...
// clang-format off
#define ZENTARA_EACH_COUNT_IN_C(APPLY) \
    APPLY(accepted, accepted) \
    APPLY(heldBack, held_back) \
    APPLY(notSaved, not_saved) \
    APPLY(heldBackNotSaved, held_back_not_saved) \
    APPLY(refusedNotInitialized, refused_not_initialized) \
    APPLY(refusedInvalid, refused_invalid) \
    APPLY(refusedUnknownSchema, refused_unknown_schema) \
    APPLY(refusedNotEncodable, refused_not_encodable) \
    APPLY(refusedConsent, refused_consent) \
    APPLY(refusedShutDown, refused_shut_down) \
    APPLY(refusedByHook, refused_by_hook) \
    APPLY(droppedByHook, dropped_by_hook) \
    APPLY(released, released) \
    APPLY(droppedInvalid, dropped_invalid) \
    APPLY(droppedUnknownSchema, dropped_unknown_schema) \
    APPLY(heldBackEvicted, held_back_evicted) \
    APPLY(heldBackDiscarded, held_back_discarded) \
    APPLY(delivered, delivered) \
    APPLY(evicted, evicted) \
    APPLY(discarded, discarded) \
    APPLY(batchesDelivered, batches_delivered) \
    APPLY(batchesFailed, batches_failed) \
    APPLY(restored, restored) \
    APPLY(heldBackRestored, held_back_restored) \
    APPLY(waiting, waiting) \
    APPLY(inFlight, in_flight) \
    APPLY(passedOver, passed_over) \
    APPLY(heldBackWaiting, held_back_waiting)
#define ZENTARA_EACH_FAILURE_IN_C(APPLY) \
    APPLY(schemasFailure, schemas_failure) \
    APPLY(identityFailure, identity_failure) \
    APPLY(deliveryFailure, delivery_failure) \
    APPLY(storageFailure, storage_failure)
