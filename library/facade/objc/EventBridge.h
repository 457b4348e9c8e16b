#pragma once

#include "facade/objc/Bridge.h"
#include "facade/objc/BuilderBridge.h"
#include "facade/objc/ValueBridge.h"

/// What an event holds beside its properties. No relation id: null.
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
ZENTARA_BRIDGE ZentaraEvent* zentaraMakeEvent(const ZentaraEventTexts* texts,
                                              ZentaraBuilder* properties) ZENTARA_NOEXCEPT;

/// Another reference to the same event, to be released.
ZENTARA_BRIDGE ZentaraEvent* zentaraKeepEvent(const ZentaraEvent* event) ZENTARA_NOEXCEPT;
ZENTARA_BRIDGE void zentaraReleaseEvent(ZentaraEvent* event) ZENTARA_NOEXCEPT;

/// These live as long as the event. No event has no texts.
ZENTARA_BRIDGE ZentaraEventTexts zentaraEventTexts(const ZentaraEvent* event) ZENTARA_NOEXCEPT;
ZENTARA_BRIDGE const ZentaraObject* zentaraEventProperties(const ZentaraEvent* event)
    ZENTARA_NOEXCEPT;
