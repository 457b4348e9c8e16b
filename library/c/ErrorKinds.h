#pragma once

// The classes of errors and their kinds, without and with a detail; for C, C++ and Objective-C:
// `APPLY(UnknownError, ZENTARA_ERROR_UNKNOWN)` ...
// clang-format off
#define ZENTARA_EACH_PLAIN_ERROR(APPLY) \
    APPLY(ZentaraClientNotInitializedError, ZENTARA_ERROR_NOT_INITIALIZED) \
    APPLY(UnknownError, ZENTARA_ERROR_UNKNOWN) \
    APPLY(EventNotQueuedError, ZENTARA_ERROR_NOT_QUEUED) \
    APPLY(ConsentDeniedError, ZENTARA_ERROR_CONSENT_DENIED) \
    APPLY(EventDroppedError, ZENTARA_ERROR_EVENT_DROPPED) \
    APPLY(ClientShutDownError, ZENTARA_ERROR_SHUT_DOWN) \
    APPLY(SchemasInitializationError, ZENTARA_ERROR_SCHEMAS)
#define ZENTARA_EACH_DETAILED_ERROR(APPLY) \
    APPLY(ZentaraClientNotReady, ZENTARA_ERROR_NOT_READY) \
    APPLY(InvalidDataForSpecifiedSchemaError, ZENTARA_ERROR_INVALID_DATA) \
    APPLY(BeforeQueueError, ZENTARA_ERROR_BEFORE_QUEUE)
