#pragma once

#include "facade/objc/Bridge.h"

/// A JSON value and a JSON object inside something that keeps them alive and never changes.
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

/// A JSON value laid open; the field that counts is the one of its kind.
typedef struct ZentaraValueView {
    ZentaraValueKind kind;
    bool boolean;
    int64_t signedInteger;
    uint64_t unsignedInteger;
    double real;
    ZentaraText text;
    size_t arrayCount;
    const ZentaraObject* object;
} ZentaraValueView;

ZENTARA_BRIDGE ZentaraValueView zentaraView(const ZentaraValue* value) ZENTARA_NOEXCEPT;
ZENTARA_BRIDGE const ZentaraValue* zentaraElement(const ZentaraValue* array,
                                                  size_t index) ZENTARA_NOEXCEPT;
ZENTARA_BRIDGE size_t zentaraMemberCount(const ZentaraObject* object) ZENTARA_NOEXCEPT;
ZENTARA_BRIDGE ZentaraText zentaraMemberKey(const ZentaraObject* object,
                                            size_t index) ZENTARA_NOEXCEPT;
ZENTARA_BRIDGE const ZentaraValue* zentaraMemberValue(const ZentaraObject* object,
                                                      size_t index) ZENTARA_NOEXCEPT;
