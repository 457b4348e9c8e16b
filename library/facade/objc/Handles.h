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
    /// The finished object; the empty object for null. Takes `builder` over.
    [[nodiscard]] static zentara::JSONObject finish(ZentaraBuilder* builder) {
        if (builder == nullptr) return {};
        const std::unique_ptr<ZentaraBuilder> owned(builder);
        return std::move(owned->values.back().object());
    }

    /// Values outside of any container so far. A key is a text before its value.
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

[[nodiscard]] inline ZentaraText optionalBridged(const std::optional<std::string>& text) noexcept {
    return text ? bridged(*text) : ZentaraText{};
}

// `ZentaraValue` is never defined: a pointer to it is always a pointer to a `JSONValue`.

[[nodiscard]] inline const ZentaraValue* handleOf(const JSONValue& value) noexcept {
    return reinterpret_cast<const ZentaraValue*>(&value);
}
[[nodiscard]] inline const JSONValue& valueOf(const ZentaraValue* value) noexcept {
    return *reinterpret_cast<const JSONValue*>(value);
}

}  // namespace zentara
