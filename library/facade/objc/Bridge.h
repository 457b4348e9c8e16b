#pragma once

// The Objective-C surface reaches the library through plain C: structures and functions that
// compile in both languages. No exception of either language passes through any of them.

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

#if defined(__cplusplus)
#define ZENTARA_BRIDGE extern "C"
#define ZENTARA_NOEXCEPT noexcept
#else
#define ZENTARA_BRIDGE extern
#define ZENTARA_NOEXCEPT
#endif

/// UTF-8 that is owned elsewhere; no text at all when `bytes` is null.
typedef struct ZentaraText {
    const char* bytes;
    size_t length;
} ZentaraText;

/// A block or an object of the host's for the library to keep, and how to let go of it. None when
/// null.
typedef struct ZentaraHeld {
    void* object;
    void (*release)(void* object);
} ZentaraHeld;

/// Writes one line that names the cause to standard error and aborts the process.
ZENTARA_BRIDGE __attribute__((noreturn)) void zentaraFatalError(ZentaraText cause) ZENTARA_NOEXCEPT;

/// Writes one line to standard error in one piece.
ZENTARA_BRIDGE void zentaraWarn(ZentaraText line) ZENTARA_NOEXCEPT;

/// How many bytes of this thread's stack are left; the largest number when that is not known.
ZENTARA_BRIDGE size_t zentaraStackLeft(void) ZENTARA_NOEXCEPT;
