#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <zentara/Event.h>
#include <zentara/EventError.h>
#include <zentara/JSONValue.h>
#include "facade/objc/Bridge.h"

// The types of the bridge in C++, and conversions.

struct ZentaraBuilder {
    /// The finished object. Takes `builder` over; the empty object for null.
    [[nodiscard]] static zentara::JSONObject finish(ZentaraBuilder* builder) {
        if (builder == nullptr) return {};
        const std::unique_ptr<ZentaraBuilder> owned(builder);
        return std::move(owned->values.back().object());
    }

    /// Values that are in no container yet. A key is a text before its value.
    std::vector<zentara::JSONValue> values;
};

struct ZentaraError {
    zentara::ZentaraClientErrorRef error;
};

struct ZentaraEvent {
    zentara::EventRef event;
};

namespace zentara {

/// The text, empty when it is absent.
[[nodiscard]] inline std::string string(ZentaraText text) {
    return text.bytes == nullptr ? std::string() : std::string(text.bytes, text.length);
}

[[nodiscard]] inline std::optional<std::string> optionalString(ZentaraText text) {
    if (text.bytes == nullptr) return std::nullopt;
    return std::string(text.bytes, text.length);
}

/// Valid as long as `text`.
[[nodiscard]] inline ZentaraText bridged(std::string_view text) noexcept {
    return {text.data(), text.size()};
}

// `ZentaraValue` and `ZentaraObject` have no members: a pointer to either is always a pointer to
// the C++ value.

[[nodiscard]] inline const ZentaraValue* handleOf(const JSONValue& value) noexcept {
    return reinterpret_cast<const ZentaraValue*>(&value);
}
[[nodiscard]] inline const ZentaraObject* handleOf(const JSONObject& object) noexcept {
    return reinterpret_cast<const ZentaraObject*>(&object);
}
[[nodiscard]] inline const JSONValue& valueOf(const ZentaraValue* value) noexcept {
    return *reinterpret_cast<const JSONValue*>(value);
}
[[nodiscard]] inline const JSONObject& valueOf(const ZentaraObject* object) noexcept {
    return *reinterpret_cast<const JSONObject*>(object);
}

}  // namespace zentara
