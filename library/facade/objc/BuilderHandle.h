#pragma once

#include <memory>
#include <utility>
#include <vector>

#include <zentara/JSONValue.h>
#include "facade/objc/BuilderBridge.h"

struct ZentaraBuilder {
    /// The finished object; the empty one without a builder, which is taken over.
    [[nodiscard]] static zentara::JSONObject finish(ZentaraBuilder* builder) {
        if (builder == nullptr) return {};
        const std::unique_ptr<ZentaraBuilder> owned(builder);
        return std::move(owned->values.back().object());
    }

    /// Values that no container holds yet; a key is a text before its value.
    std::vector<zentara::JSONValue> values;
};
