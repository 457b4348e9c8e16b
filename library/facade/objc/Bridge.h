#pragma once

// The bridge: plain C, through which the Objective-C classes reach the library. Its structures and
// functions compile in both languages. No exception of either language passes through a function.

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
__attribute__((noreturn)) void zentaraFatalError(ZentaraText cause) ZENTARA_NOEXCEPT;

/// Writes one line to standard error in one piece.
void zentaraWarn(ZentaraText line) ZENTARA_NOEXCEPT;

/// How many bytes of this thread's stack are left; the largest number when that is not known.
size_t zentaraStackLeft(void) ZENTARA_NOEXCEPT;

/// The endpoints of the library. An absent text leaves the one in force.
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

/// A JSON value and a JSON object that belong to an event, an error or the statistics. They live as
/// long as these and never change.
typedef struct ZentaraValue ZentaraValue;
typedef struct ZentaraObject ZentaraObject;

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
        size_t arrayCount;
        const ZentaraObject* object;
    };
} ZentaraValueView;

ZentaraValueView zentaraViewValue(const ZentaraValue* value) ZENTARA_NOEXCEPT;
const ZentaraValue* zentaraElement(const ZentaraValue* array, size_t index) ZENTARA_NOEXCEPT;
size_t zentaraMemberCount(const ZentaraObject* object) ZENTARA_NOEXCEPT;
ZentaraText zentaraMemberKey(const ZentaraObject* object, size_t index) ZENTARA_NOEXCEPT;
const ZentaraValue* zentaraMemberValue(const ZentaraObject* object, size_t index) ZENTARA_NOEXCEPT;

/// A JSON object under construction. Values are added in the order of a document's text; an array
/// and an object are closed by their number of elements. Each value of an object follows its key,
/// which is added as a text.
typedef struct ZentaraBuilder ZentaraBuilder;

/// To be given to `zentaraMakeEvent` or `zentaraSend` when the object is closed, or discarded.
ZentaraBuilder* zentaraMakeBuilder(void) ZENTARA_NOEXCEPT;
void zentaraDiscardBuilder(ZentaraBuilder* builder) ZENTARA_NOEXCEPT;

/// Adds a value that is neither an array nor an object.
void zentaraAdd(ZentaraBuilder* builder, ZentaraValueView value) ZENTARA_NOEXCEPT;
void zentaraEndArray(ZentaraBuilder* builder, size_t count) ZENTARA_NOEXCEPT;
void zentaraEndObject(ZentaraBuilder* builder, size_t count) ZENTARA_NOEXCEPT;

/// How deep the arrays and objects of an event's properties may be nested for the queue.
size_t zentaraQueuedDepth(void) ZENTARA_NOEXCEPT;

// Errors.

/// The classes of errors.
typedef enum ZentaraErrorKind {
    zentaraNotInitializedError,
    zentaraNotReadyError,
    zentaraInvalidDataError,
    zentaraUnknownError,
    zentaraEventNotQueuedError,
    zentaraSchemasInitializationError,
    zentaraOtherError,
} ZentaraErrorKind;

/// One error, immutable.
typedef struct ZentaraError ZentaraError;

/// A new error of any class but the last, to be released. Classes without a detail ignore it.
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

/// What an event holds beside its properties. The relation id may be absent.
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
const ZentaraObject* zentaraEventProperties(const ZentaraEvent* event) ZENTARA_NOEXCEPT;

// Clients.

/// A reference to one client.
typedef struct ZentaraClientHandle ZentaraClientHandle;

// Calls of the application's blocks. The arguments belong to the caller; `error` may be null.
typedef void (*ZentaraReadyCall)(void* block, const ZentaraError* error);
typedef void (*ZentaraSendCall)(void* context, const ZentaraEvent* event,
                                const ZentaraError* error);
typedef void (*ZentaraAnonymousUserCall)(void* block, ZentaraText type, ZentaraText value,
                                         ZentaraText publicValue);
typedef void (*ZentaraHsidCall)(void* block, ZentaraText hsid);
typedef void (*ZentaraFetchCall)(void* block, uint64_t result);

/// A client without collaborators, which sends nothing, to be released.
ZentaraClientHandle* zentaraMakePlainClient(void) ZENTARA_NOEXCEPT;

/// Another reference to the same client, to be released.
ZentaraClientHandle* zentaraKeepClient(const ZentaraClientHandle* client) ZENTARA_NOEXCEPT;
void zentaraReleaseClient(ZentaraClientHandle* client) ZENTARA_NOEXCEPT;

/// Equal for references to the same client, and only for these while one of them exists.
const void* zentaraClientIdentity(const ZentaraClientHandle* client) ZENTARA_NOEXCEPT;

/// The shared client, to be released, or null.
ZentaraClientHandle* zentaraSharedClient(void) ZENTARA_NOEXCEPT;

/// Shares `client`, which may be null. `keeper` is released when the client is no longer shared
/// and all references that were taken from there are gone.
void zentaraSetSharedClient(const ZentaraClientHandle* client, ZentaraHeld keeper) ZENTARA_NOEXCEPT;

/// Whether `client` is the shared one and no keeper is kept with it.
bool zentaraIsSharedWithoutKeeper(const ZentaraClientHandle* client) ZENTARA_NOEXCEPT;

/// Keeps `keeper` for as long as `client` is shared; not at all if it is not.
void zentaraKeepWhileShared(const ZentaraClientHandle* client, ZentaraHeld keeper) ZENTARA_NOEXCEPT;

bool zentaraIsConfigured(void) ZENTARA_NOEXCEPT;

/// False when `environment` is not one.
bool zentaraUseSettings(ZentaraText tenant, int64_t environment,
                        ZentaraText advertisingId) ZENTARA_NOEXCEPT;

/// These return null or false before the settings are there, and do not call the block then.
ZentaraClientHandle* zentaraGetClient(ZentaraHeld block, ZentaraReadyCall call) ZENTARA_NOEXCEPT;
bool zentaraSetLoggedUser(int64_t tokenType, ZentaraText token) ZENTARA_NOEXCEPT;
bool zentaraRemoveLoggedUser(void) ZENTARA_NOEXCEPT;
bool zentaraGetAnonymousUser(const ZentaraClientHandle* client, ZentaraHeld block,
                             ZentaraAnonymousUserCall call) ZENTARA_NOEXCEPT;
bool zentaraGetHsid(const ZentaraClientHandle* client, ZentaraHeld block,
                    ZentaraHsidCall call) ZENTARA_NOEXCEPT;

/// Whether there is a type of tokens with this value.
bool zentaraIsTokenType(int64_t tokenType) ZENTARA_NOEXCEPT;

/// Sends one event and takes `properties` over. Calls `call`, unless it is null, before it returns.
void zentaraSend(const ZentaraClientHandle* client, const ZentaraEventTexts* texts,
                 ZentaraBuilder* properties, void* context, ZentaraSendCall call) ZENTARA_NOEXCEPT;

/// The same for an event that exists, with `relationId` in place of its own.
void zentaraSendEvent(const ZentaraClientHandle* client, const ZentaraEvent* event,
                      ZentaraText relationId, void* context, ZentaraSendCall call) ZENTARA_NOEXCEPT;

/// Counts an event that JSON cannot hold. Returns the error for its handler, to be released.
ZentaraError* zentaraRefuseEvent(const ZentaraClientHandle* client,
                                 ZentaraText schemaId) ZENTARA_NOEXCEPT;

void zentaraPerformFetch(const ZentaraClientHandle* client, ZentaraHeld block,
                         ZentaraFetchCall call) ZENTARA_NOEXCEPT;

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

/// Calls `call` with the statistics of this process before it returns. Their texts live as long as
/// the call.
void zentaraReadStatistics(void* context,
                           void (*call)(void* context,
                                        const ZentaraStatistics* statistics)) ZENTARA_NOEXCEPT;

#if defined(__cplusplus)
}
#endif
