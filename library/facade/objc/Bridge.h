#pragma once

// The bridge between the Objective-C classes and the library, in plain C. It compiles in both
// languages. No exception of either language passes through its functions.

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

#include "support/StatisticsNames.h"

#if defined(__cplusplus)
#define ZENTARA_NOEXCEPT noexcept
extern "C" {
#else
#define ZENTARA_NOEXCEPT
#endif

/// UTF-8 that is owned elsewhere. A null pointer stands for an absent text.
typedef struct ZentaraText {
    const char* bytes;
    size_t length;
} ZentaraText;

/// An object of the application, such as a block, that the library keeps, and the function that
/// releases it. A null pointer stands for no object.
typedef struct ZentaraHeld {
    void* object;
    void (*release)(void* object);
} ZentaraHeld;

// The process.

/// Writes one line that names the cause to standard error and aborts the process.
__attribute__((noreturn)) void zentaraFatalError(const char* cause) ZENTARA_NOEXCEPT;

/// Writes one line to standard error in one piece.
void zentaraWarn(ZentaraText line) ZENTARA_NOEXCEPT;

/// How many bytes of this thread's stack are left; the largest number if it is not known.
size_t zentaraStackLeft(void) ZENTARA_NOEXCEPT;

/// The endpoints of the library. An absent text changes nothing.
typedef struct ZentaraEndpointTexts {
    ZentaraText productionCollector;
    ZentaraText qaCollector;
    ZentaraText productionSchemas;
    ZentaraText qaSchemas;
    ZentaraText certificateAuthorityFile;
} ZentaraEndpointTexts;

void zentaraUseEndpoints(ZentaraEndpointTexts texts) ZENTARA_NOEXCEPT;

void zentaraSetBundleIdentifier(ZentaraText identifier) ZENTARA_NOEXCEPT;
void zentaraSetDocumentsDirectory(ZentaraText path) ZENTARA_NOEXCEPT;
void zentaraSetPreferencesDirectory(ZentaraText path) ZENTARA_NOEXCEPT;

// Values.

/// A JSON value that belongs to an event. It lives as long as the event and never changes.
typedef struct ZentaraValue ZentaraValue;

typedef enum ZentaraValueKind {
    zentaraNullValue,
    zentaraBooleanValue,
    zentaraSignedValue,
    zentaraUnsignedValue,
    zentaraDoubleValue,
    zentaraTextValue,
    zentaraArrayValue,
    zentaraObjectValue,
} ZentaraValueKind;

/// The content of a JSON value.
typedef struct ZentaraValueView {
    ZentaraValueKind kind;
    union {
        bool boolean;
        int64_t signedInteger;
        uint64_t unsignedInteger;
        double real;
        ZentaraText text;
        size_t count;  ///< of the elements of an array, or of the members of an object
    };
} ZentaraValueView;

ZentaraValueView zentaraViewValue(const ZentaraValue* value) ZENTARA_NOEXCEPT;
const ZentaraValue* zentaraElement(const ZentaraValue* array, size_t index) ZENTARA_NOEXCEPT;
/// The member's value. Sets `key`.
const ZentaraValue* zentaraMember(const ZentaraValue* object, size_t index,
                                  ZentaraText* key) ZENTARA_NOEXCEPT;

/// A JSON object under construction. Values are added in the order of a document's text. The number
/// of elements closes an array or an object. Each value of an object follows its key, a text.
typedef struct ZentaraBuilder ZentaraBuilder;

/// To be discarded, or given to `zentaraMakeEvent` or `zentaraSend` when its object is closed.
ZentaraBuilder* zentaraMakeBuilder(void) ZENTARA_NOEXCEPT;
void zentaraDiscardBuilder(ZentaraBuilder* builder) ZENTARA_NOEXCEPT;

/// Adds a value that is neither an array nor an object.
void zentaraAdd(ZentaraBuilder* builder, ZentaraValueView value) ZENTARA_NOEXCEPT;
void zentaraEndArray(ZentaraBuilder* builder, size_t count) ZENTARA_NOEXCEPT;
void zentaraEndObject(ZentaraBuilder* builder, size_t count) ZENTARA_NOEXCEPT;

/// How deep the arrays and objects of an event's properties may be nested for the queue.
size_t zentaraQueuedDepth(void) ZENTARA_NOEXCEPT;

// Errors.

// The classes of errors, without and with a detail.
// clang-format off
#define ZENTARA_EACH_PLAIN_ERROR(APPLY) \
    APPLY(ZentaraClientNotInitializedError) APPLY(UnknownError) APPLY(EventNotQueuedError) \
    APPLY(SchemasInitializationError)
#define ZENTARA_EACH_DETAILED_ERROR(APPLY) \
    APPLY(ZentaraClientNotReady) APPLY(InvalidDataForSpecifiedSchemaError)
// clang-format on
#define ZENTARA_KIND(name) zentaraKindOf##name,
typedef enum ZentaraErrorKind {
    ZENTARA_EACH_PLAIN_ERROR(ZENTARA_KIND) ZENTARA_EACH_DETAILED_ERROR(ZENTARA_KIND)
        zentaraOtherError,
} ZentaraErrorKind;
#undef ZENTARA_KIND

/// One error, immutable.
typedef struct ZentaraError ZentaraError;

/// A new error of any kind but the last, to be released. Kinds without a detail ignore it.
ZentaraError* zentaraMakeError(ZentaraErrorKind kind, ZentaraText detail) ZENTARA_NOEXCEPT;
void zentaraReleaseError(ZentaraError* error) ZENTARA_NOEXCEPT;

/// The values of an error. They live as long as the error.
typedef struct ZentaraErrorView {
    ZentaraErrorKind kind;
    ZentaraText domain;
    int64_t code;
    ZentaraText message;
} ZentaraErrorView;

ZentaraErrorView zentaraViewError(const ZentaraError* error) ZENTARA_NOEXCEPT;

// Events.

/// The texts of an event. The relation id may be absent.
typedef struct ZentaraEventTexts {
    ZentaraText schemaId;
    ZentaraText schemaVersion;
    ZentaraText contentType;
    ZentaraText url;
    ZentaraText referer;
    ZentaraText relationId;
} ZentaraEventTexts;

/// A reference to one event, immutable.
typedef struct ZentaraEvent ZentaraEvent;

/// To be released. Takes `properties` over; null stands for none.
ZentaraEvent* zentaraMakeEvent(const ZentaraEventTexts* texts,
                               ZentaraBuilder* properties) ZENTARA_NOEXCEPT;

/// Another reference to the same event, to be released.
ZentaraEvent* zentaraKeepEvent(const ZentaraEvent* event) ZENTARA_NOEXCEPT;
void zentaraReleaseEvent(ZentaraEvent* event) ZENTARA_NOEXCEPT;

/// The results of these live as long as the event. All texts of a null event are absent.
ZentaraEventTexts zentaraEventTexts(const ZentaraEvent* event) ZENTARA_NOEXCEPT;
const ZentaraValue* zentaraEventProperties(const ZentaraEvent* event) ZENTARA_NOEXCEPT;

// Clients.

/// A reference to one client.
typedef struct ZentaraClientHandle ZentaraClientHandle;

// Calls of the application's blocks, implemented in Objective-C. The arguments belong to the
// caller; `error` may be null. The context of a send is its `SendHandler`.
void zentaraCallReady(void* block, const ZentaraError* error) ZENTARA_NOEXCEPT;
void zentaraCallSend(void* context, const ZentaraEvent* event,
                     const ZentaraError* error) ZENTARA_NOEXCEPT;
void zentaraCallAnonymousUser(void* block, ZentaraText type, ZentaraText value,
                              ZentaraText publicValue) ZENTARA_NOEXCEPT;
void zentaraCallHsid(void* block, ZentaraText hsid) ZENTARA_NOEXCEPT;
void zentaraCallFetch(void* block, uint64_t result) ZENTARA_NOEXCEPT;

/// A client without collaborators, to be released.
ZentaraClientHandle* zentaraMakePlainClient(void) ZENTARA_NOEXCEPT;

/// Another reference to the same client, to be released.
ZentaraClientHandle* zentaraKeepClient(const ZentaraClientHandle* client) ZENTARA_NOEXCEPT;
void zentaraReleaseClient(ZentaraClientHandle* client) ZENTARA_NOEXCEPT;

/// Equal for references to the same client, and only for these while one of them exists.
const void* zentaraClientIdentity(const ZentaraClientHandle* client) ZENTARA_NOEXCEPT;

/// The shared client, to be released, or null.
ZentaraClientHandle* zentaraSharedClient(void) ZENTARA_NOEXCEPT;

/// Shares `client`, which may be null. `keeper` is released when the client is no longer shared
/// and all references to the shared client are gone.
void zentaraSetSharedClient(const ZentaraClientHandle* client, ZentaraHeld keeper) ZENTARA_NOEXCEPT;

/// Holds `keeper` for as long as `client` is shared. Releases it at once if `client` is not shared
/// or has a keeper.
void zentaraKeepWhileShared(const ZentaraClientHandle* client, ZentaraHeld keeper) ZENTARA_NOEXCEPT;

bool zentaraIsConfigured(void) ZENTARA_NOEXCEPT;

/// False if there is no such environment.
bool zentaraUseSettings(ZentaraText tenant, int64_t environment,
                        ZentaraText advertisingId) ZENTARA_NOEXCEPT;

// Before the settings are there, these return null or false and do not call the block.
ZentaraClientHandle* zentaraGetClient(ZentaraHeld block) ZENTARA_NOEXCEPT;
bool zentaraSetLoggedUser(int64_t tokenType, ZentaraText token) ZENTARA_NOEXCEPT;
bool zentaraRemoveLoggedUser(void) ZENTARA_NOEXCEPT;
bool zentaraGetAnonymousUser(const ZentaraClientHandle* client, ZentaraHeld block) ZENTARA_NOEXCEPT;
bool zentaraGetHsid(const ZentaraClientHandle* client, ZentaraHeld block) ZENTARA_NOEXCEPT;

/// Whether there is a token type with this value.
bool zentaraIsTokenType(int64_t tokenType) ZENTARA_NOEXCEPT;

/// Sends one event and takes `properties` over. Calls `zentaraCallSend` before it returns.
void zentaraSend(const ZentaraClientHandle* client, const ZentaraEventTexts* texts,
                 ZentaraBuilder* properties, void* context) ZENTARA_NOEXCEPT;

/// Sends `event` in the same way, with `relationId` in place of its own.
void zentaraSendEvent(const ZentaraClientHandle* client, const ZentaraEvent* event,
                      ZentaraText relationId, void* context) ZENTARA_NOEXCEPT;

/// Counts an event that JSON cannot hold. Returns the error for the handler, to be released.
ZentaraError* zentaraRefuseEvent(const ZentaraClientHandle* client,
                                 ZentaraText schemaId) ZENTARA_NOEXCEPT;

void zentaraPerformFetch(const ZentaraClientHandle* client, ZentaraHeld block) ZENTARA_NOEXCEPT;

// Statistics.

typedef struct ZentaraFailure {
    ZentaraText text;
    int64_t time;
    int64_t inARow;
} ZentaraFailure;

typedef struct ZentaraStatistics {
#define ZENTARA_COUNT(name) int64_t name;
#define ZENTARA_FAILURE(name) ZentaraFailure name;
    ZENTARA_EACH_COUNT(ZENTARA_COUNT)
    ZENTARA_EACH_FAILURE(ZENTARA_FAILURE)
#undef ZENTARA_COUNT
#undef ZENTARA_FAILURE
} ZentaraStatistics;

/// Calls `zentaraCopyStatistics`, which is implemented in Objective-C, before it returns. The texts
/// live as long as the call.
void zentaraReadStatistics(void* object) ZENTARA_NOEXCEPT;
void zentaraCopyStatistics(void* object, const ZentaraStatistics* statistics) ZENTARA_NOEXCEPT;

#if defined(__cplusplus)
}
#endif
