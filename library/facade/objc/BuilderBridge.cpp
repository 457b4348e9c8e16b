#include "facade/objc/BuilderBridge.h"

#include <memory>
#include <utility>

#include "facade/objc/BuilderHandle.h"
#include "json/JSONText.h"

ZentaraBuilder* zentaraMakeBuilder() noexcept {
    return std::make_unique<ZentaraBuilder>().release();
}

void zentaraDiscardBuilder(ZentaraBuilder* builder) noexcept {
    delete builder;
}

void zentaraAddNull(ZentaraBuilder* builder) noexcept {
    builder->stack.push_null();
}

void zentaraAddBoolean(ZentaraBuilder* builder, bool value) noexcept {
    builder->stack.push_bool(value);
}

void zentaraAddSigned(ZentaraBuilder* builder, int64_t value) noexcept {
    builder->stack.push_int64(value);
}

void zentaraAddUnsigned(ZentaraBuilder* builder, uint64_t value) noexcept {
    // As if read from text: unsigned is what does not fit otherwise.
    if (std::in_range<std::int64_t>(value)) {
        builder->stack.push_int64(static_cast<std::int64_t>(value));
    } else {
        builder->stack.push_uint64(value);
    }
}

void zentaraAddDouble(ZentaraBuilder* builder, double value) noexcept {
    builder->stack.push_double(value);
}

void zentaraAddText(ZentaraBuilder* builder, ZentaraText text) noexcept {
    builder->stack.push_string({text.bytes, text.length});
}

void zentaraAddKey(ZentaraBuilder* builder, ZentaraText key) noexcept {
    builder->stack.push_key({key.bytes, key.length});
}

void zentaraEndArray(ZentaraBuilder* builder, size_t count) noexcept {
    builder->stack.push_array(count);
}

void zentaraEndObject(ZentaraBuilder* builder, size_t count) noexcept {
    builder->stack.push_object(count);
}

size_t zentaraQueuedDepth() noexcept {
    return zentara::maximumPropertiesDepth;
}
