#pragma once

// What the Objective-C classes need beyond the C interface, in plain C.

#include <zentara/zentara.h>

#if defined(__cplusplus)
extern "C" {
#endif

/// An object of the application that the library keeps, and the function that releases it. A null
/// pointer stands for no object.
typedef struct ZentaraHeld {
    void* object;
    void (*release)(void* object);
} ZentaraHeld;

/// Writes one line that names the cause to the log and aborts the process.
__attribute__((noreturn)) void zentaraFatalError(const char* cause) ZENTARA_NOEXCEPT;

/// Writes one line to the log.
void zentaraWarn(zentara_text line) ZENTARA_NOEXCEPT;

/// How many bytes of this thread's stack are left; the largest number if it is not known.
size_t zentaraStackLeft(void) ZENTARA_NOEXCEPT;

/// How deep the arrays and objects of an event's properties may be nested for the queue.
size_t zentaraQueuedDepth(void) ZENTARA_NOEXCEPT;

/// A client without collaborators, to be released.
zentara_client* zentaraMakePlainClient(void) ZENTARA_NOEXCEPT;

/// Equal for references to the same client, and only for these while one of them exists.
const void* zentaraClientIdentity(const zentara_client* client) ZENTARA_NOEXCEPT;

/// Shares `client`, which may be null. `keeper` is released when the client is no longer shared
/// and all references to the shared client are gone.
void zentaraSetSharedClient(const zentara_client* client, ZentaraHeld keeper) ZENTARA_NOEXCEPT;

/// Holds `keeper` for as long as `client` is shared. Releases it at once if `client` is not shared
/// or has a keeper.
void zentaraKeepWhileShared(const zentara_client* client, ZentaraHeld keeper) ZENTARA_NOEXCEPT;

/// Counts an event that JSON cannot hold. Returns the error for the handler, to be released.
zentara_error* zentaraRefuseEvent(const zentara_client* client,
                                  zentara_text schemaId) ZENTARA_NOEXCEPT;

#if defined(__cplusplus)
}
#endif
