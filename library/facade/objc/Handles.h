#pragma once

#include <optional>
#include <string>
#include <string_view>

#include <zentara/Event.h>
#include <zentara/EventError.h>
#include "facade/objc/Bridge.h"
#include "facade/objc/BuilderHandle.h"
#include "facade/objc/ValueHandle.h"

// The types of the bridge in C++, and conversions.

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
[[nodiscard]] inline ZentaraText bridged(const std::string& text) noexcept {
    return bridged(std::string_view(text));
}

}  // namespace zentara
