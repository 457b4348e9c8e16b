#pragma once

#include "facade/objc/ValueBridge.h"

/// The statistics of this process by the names of their fields, a failure as an object. To be
/// released.
ZENTARA_BRIDGE ZentaraObject* zentaraReadStatistics(void) ZENTARA_NOEXCEPT;
ZENTARA_BRIDGE void zentaraReleaseObject(ZentaraObject* object) ZENTARA_NOEXCEPT;
