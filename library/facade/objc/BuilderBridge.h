#pragma once

#include "facade/objc/Bridge.h"

/// A JSON object under construction. Values are added in the order of a document's text; an array
/// and an object are closed by their number of elements, and each value of an object follows its
/// key.
typedef struct ZentaraBuilder ZentaraBuilder;

/// To be given to `zentaraMakeEvent` or `zentaraSend` when the object is closed, or discarded.
ZENTARA_BRIDGE ZentaraBuilder* zentaraMakeBuilder(void) ZENTARA_NOEXCEPT;
ZENTARA_BRIDGE void zentaraDiscardBuilder(ZentaraBuilder* builder) ZENTARA_NOEXCEPT;

ZENTARA_BRIDGE void zentaraAddNull(ZentaraBuilder* builder) ZENTARA_NOEXCEPT;
ZENTARA_BRIDGE void zentaraAddBoolean(ZentaraBuilder* builder, bool value) ZENTARA_NOEXCEPT;
ZENTARA_BRIDGE void zentaraAddSigned(ZentaraBuilder* builder, int64_t value) ZENTARA_NOEXCEPT;
ZENTARA_BRIDGE void zentaraAddUnsigned(ZentaraBuilder* builder, uint64_t value) ZENTARA_NOEXCEPT;
ZENTARA_BRIDGE void zentaraAddDouble(ZentaraBuilder* builder, double value) ZENTARA_NOEXCEPT;
ZENTARA_BRIDGE void zentaraAddText(ZentaraBuilder* builder, ZentaraText text) ZENTARA_NOEXCEPT;
ZENTARA_BRIDGE void zentaraAddKey(ZentaraBuilder* builder, ZentaraText key) ZENTARA_NOEXCEPT;
ZENTARA_BRIDGE void zentaraEndArray(ZentaraBuilder* builder, size_t count) ZENTARA_NOEXCEPT;
ZENTARA_BRIDGE void zentaraEndObject(ZentaraBuilder* builder, size_t count) ZENTARA_NOEXCEPT;

/// How deep the arrays and objects of an event's properties may be nested for the queue.
ZENTARA_BRIDGE size_t zentaraQueuedDepth(void) ZENTARA_NOEXCEPT;
