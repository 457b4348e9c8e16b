#pragma once

#include <boost/json/value_stack.hpp>
#include <memory>
#include <utility>

#include <zentara/JSONValue.h>
#include "facade/objc/BuilderBridge.h"

struct ZentaraBuilder {
    ZentaraBuilder() { stack.reset(); }

    /// The finished object; the empty one without a builder, which is taken over.
    [[nodiscard]] static zentara::JSONObject finish(ZentaraBuilder* builder) {
        if (builder == nullptr) return {};
        const std::unique_ptr<ZentaraBuilder> owned(builder);
        auto value = owned->stack.release();
        return std::move(value.as_object());
    }

    boost::json::value_stack stack;
};
