#pragma once

#include <zentara/EventError.h>
#include "facade/objc/ErrorBridge.h"

struct ZentaraError {
    zentara::ZentaraClientErrorRef error;
};
