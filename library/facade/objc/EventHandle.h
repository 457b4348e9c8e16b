#pragma once

#include <zentara/Event.h>
#include "facade/objc/EventBridge.h"

struct ZentaraEvent {
    zentara::EventRef event;
};
