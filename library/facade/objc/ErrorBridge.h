#pragma once

#include "facade/objc/Bridge.h"
#include "facade/objc/ValueBridge.h"

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

/// A new error of this class, which is not the last one, to be released. `detail` matters to the
/// classes that have one.
ZENTARA_BRIDGE ZentaraError* zentaraMakeError(ZentaraErrorKind kind,
                                              ZentaraText detail) ZENTARA_NOEXCEPT;
ZENTARA_BRIDGE void zentaraReleaseError(ZentaraError* error) ZENTARA_NOEXCEPT;

ZENTARA_BRIDGE ZentaraErrorKind zentaraErrorKind(const ZentaraError* error) ZENTARA_NOEXCEPT;

/// The results of these live as long as the error.
ZENTARA_BRIDGE ZentaraText zentaraErrorDomain(const ZentaraError* error) ZENTARA_NOEXCEPT;
ZENTARA_BRIDGE int64_t zentaraErrorCode(const ZentaraError* error) ZENTARA_NOEXCEPT;
ZENTARA_BRIDGE const ZentaraObject* zentaraErrorUserInfo(const ZentaraError* error)
    ZENTARA_NOEXCEPT;

/// The key of the message in the user info.
ZENTARA_BRIDGE ZentaraText zentaraErrorMessageKey(void) ZENTARA_NOEXCEPT;
