#pragma once

#include <zentara/JSONValue.h>
#include "facade/objc/ValueBridge.h"

namespace zentara {

// The two types of the bridge have no members: a pointer to one is never anything but a pointer to
// the value that it stands for.

[[nodiscard]] inline const ZentaraValue* bridged(const JSONValue& value) noexcept {
    return reinterpret_cast<const ZentaraValue*>(&value);
}
[[nodiscard]] inline const ZentaraObject* bridged(const JSONObject& object) noexcept {
    return reinterpret_cast<const ZentaraObject*>(&object);
}
[[nodiscard]] inline const JSONValue& unbridged(const ZentaraValue* value) noexcept {
    return *reinterpret_cast<const JSONValue*>(value);
}
[[nodiscard]] inline const JSONObject& unbridged(const ZentaraObject* object) noexcept {
    return *reinterpret_cast<const JSONObject*>(object);
}

}  // namespace zentara
