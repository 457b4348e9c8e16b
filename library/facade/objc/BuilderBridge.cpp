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
    builder->values.emplace_back(nullptr);
}

void zentaraAddBoolean(ZentaraBuilder* builder, bool value) noexcept {
    builder->values.emplace_back(value);
}

void zentaraAddSigned(ZentaraBuilder* builder, int64_t value) noexcept {
    builder->values.emplace_back(value);
}

void zentaraAddUnsigned(ZentaraBuilder* builder, uint64_t value) noexcept {
    builder->values.emplace_back(value);
}

void zentaraAddDouble(ZentaraBuilder* builder, double value) noexcept {
    builder->values.emplace_back(value);
}

void zentaraAddText(ZentaraBuilder* builder, ZentaraText text) noexcept {
    builder->values.emplace_back(std::string_view(text.bytes, text.length));
}

void zentaraAddKey(ZentaraBuilder* builder, ZentaraText key) noexcept {
    builder->values.emplace_back(std::string_view(key.bytes, key.length));
}

void zentaraEndArray(ZentaraBuilder* builder, size_t count) noexcept {
    auto& values = builder->values;
    const auto first = values.end() - static_cast<std::ptrdiff_t>(count);
    zentara::JSONArray array;
    array.reserve(count);
    for (auto value = first; value != values.end(); ++value)
        array.push_back(std::move(*value));
    values.erase(first, values.end());
    values.emplace_back(std::move(array));
}

void zentaraEndObject(ZentaraBuilder* builder, size_t count) noexcept {
    auto& values = builder->values;
    const auto first = values.end() - static_cast<std::ptrdiff_t>(2 * count);
    zentara::JSONObject object;
    object.reserve(count);
    for (auto member = first; member != values.end(); member += 2)
        object.set(member[0].string(), std::move(member[1]));
    values.erase(first, values.end());
    values.emplace_back(std::move(object));
}

size_t zentaraQueuedDepth() noexcept {
    return zentara::maximumPropertiesDepth;
}
