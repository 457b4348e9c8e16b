#pragma once

#include <optional>
#include <string>
#include <string_view>

#include <zentara/Event.h>
#include <zentara/EventError.h>
#include "facade/objc/Bridge.h"
#include "facade/objc/BuilderHandle.h"
#include "facade/objc/ValueHandle.h"

// What the types of the bridge are in C++.

struct ZentaraError {
    zentara::ZentaraClientErrorRef error;
};

struct ZentaraEvent {
    zentara::EventRef event;
};

namespace zentara {

/// The text, or the empty one.
[[nodiscard]] inline std::string string(ZentaraText text) {
    return text.bytes == nullptr ? std::string() : std::string(text.bytes, text.length);
}

[[nodiscard]] inline std::optional<std::string> optionalString(ZentaraText text) {
    if (text.bytes == nullptr) return std::nullopt;
    return std::string(text.bytes, text.length);
}

/// Valid as long as what it was made of.
[[nodiscard]] inline ZentaraText bridged(std::string_view text) noexcept {
    return {text.data(), text.size()};
}

}  // namespace zentara
