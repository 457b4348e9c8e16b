#pragma once

#include "facade/objc/Bridge.h"
#include "facade/objc/BuilderBridge.h"
#include "facade/objc/ErrorBridge.h"
#include "facade/objc/EventBridge.h"

/// A reference to one client.
typedef struct ZentaraClientHandle ZentaraClientHandle;

// Calls of a host's block. What they are given belongs to the caller; `error` may be null.
typedef void (*ZentaraReadyCall)(void* block, const ZentaraError* error);
typedef void (*ZentaraSendCall)(void* context, const ZentaraEvent* event,
                                const ZentaraError* error);
typedef void (*ZentaraAnonymousUserCall)(void* block, ZentaraText type, ZentaraText value,
                                         ZentaraText publicValue);
typedef void (*ZentaraHsidCall)(void* block, ZentaraText hsid);
typedef void (*ZentaraFetchCall)(void* block, uint64_t result);

/// A client that works with nothing, to be released.
ZENTARA_BRIDGE ZentaraClientHandle* zentaraMakePlainClient(void) ZENTARA_NOEXCEPT;

/// Another reference to the same client, to be released.
ZENTARA_BRIDGE ZentaraClientHandle* zentaraKeepClient(const ZentaraClientHandle* client)
    ZENTARA_NOEXCEPT;
ZENTARA_BRIDGE void zentaraReleaseClient(ZentaraClientHandle* client) ZENTARA_NOEXCEPT;

/// Equal for references to the same client, and only for these while one of them exists.
ZENTARA_BRIDGE const void* zentaraClientIdentity(const ZentaraClientHandle* client)
    ZENTARA_NOEXCEPT;

/// The shared client, to be released, or null.
ZENTARA_BRIDGE ZentaraClientHandle* zentaraSharedClient(void) ZENTARA_NOEXCEPT;

/// Shares `client`, which may be null. `keeper` is released when the client is no longer shared
/// and all references that were taken from there are gone.
ZENTARA_BRIDGE void zentaraSetSharedClient(const ZentaraClientHandle* client,
                                           ZentaraHeld keeper) ZENTARA_NOEXCEPT;

/// Whether `client` is the shared one, without anything else being kept for as long.
ZENTARA_BRIDGE bool zentaraIsSharedWithoutKeeper(const ZentaraClientHandle* client)
    ZENTARA_NOEXCEPT;

/// Keeps `keeper` for as long as `client` is shared; not at all if it is not.
ZENTARA_BRIDGE void zentaraKeepWhileShared(const ZentaraClientHandle* client,
                                           ZentaraHeld keeper) ZENTARA_NOEXCEPT;

ZENTARA_BRIDGE bool zentaraIsConfigured(void) ZENTARA_NOEXCEPT;

/// False when `environment` is not one.
ZENTARA_BRIDGE bool zentaraUseSettings(ZentaraText tenant, int64_t environment,
                                       ZentaraText advertisingId) ZENTARA_NOEXCEPT;

/// Null, or false, before the settings are there; the blocks are not called then.
ZENTARA_BRIDGE ZentaraClientHandle* zentaraGetClient(ZentaraHeld block,
                                                     ZentaraReadyCall call) ZENTARA_NOEXCEPT;
ZENTARA_BRIDGE bool zentaraSetLoggedUser(int64_t tokenType, ZentaraText token) ZENTARA_NOEXCEPT;
ZENTARA_BRIDGE bool zentaraRemoveLoggedUser(void) ZENTARA_NOEXCEPT;
ZENTARA_BRIDGE bool zentaraGetAnonymousUser(const ZentaraClientHandle* client, ZentaraHeld block,
                                            ZentaraAnonymousUserCall call) ZENTARA_NOEXCEPT;
ZENTARA_BRIDGE bool zentaraGetHsid(const ZentaraClientHandle* client, ZentaraHeld block,
                                   ZentaraHsidCall call) ZENTARA_NOEXCEPT;

/// Whether there is a type of tokens with this value.
ZENTARA_BRIDGE bool zentaraIsTokenType(int64_t tokenType) ZENTARA_NOEXCEPT;

/// Sends one event. Takes `properties` over. `call` may be null; it comes before this returns.
ZENTARA_BRIDGE void zentaraSend(const ZentaraClientHandle* client, const ZentaraEventTexts* texts,
                                ZentaraBuilder* properties, void* context,
                                ZentaraSendCall call) ZENTARA_NOEXCEPT;

/// The same for an event that exists, with `relationId` in place of its own.
ZENTARA_BRIDGE void zentaraSendEvent(const ZentaraClientHandle* client, const ZentaraEvent* event,
                                     ZentaraText relationId, void* context,
                                     ZentaraSendCall call) ZENTARA_NOEXCEPT;

/// Counts an event that cannot be sent, because no JSON value stands for what it holds. The error
/// for its handler, to be released.
ZENTARA_BRIDGE ZentaraError* zentaraRefuseEvent(const ZentaraClientHandle* client,
                                                ZentaraText schemaId) ZENTARA_NOEXCEPT;

ZENTARA_BRIDGE void zentaraPerformFetch(const ZentaraClientHandle* client, ZentaraHeld block,
                                        ZentaraFetchCall call) ZENTARA_NOEXCEPT;
