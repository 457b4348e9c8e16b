#include <memory>
#include <utility>

#include <zentara/ZentaraClient.h>
#include "facade/objc/Handles.h"
#include "json/JSONText.h"
#include "model/EventAccess.h"

using namespace zentara;

using Kind = JSONValue::Kind;

static_assert(static_cast<int>(Kind::null) == zentaraNullValue &&
                  static_cast<int>(Kind::boolean) == zentaraBooleanValue &&
                  static_cast<int>(Kind::integer) == zentaraSignedValue &&
                  static_cast<int>(Kind::unsignedInteger) == zentaraUnsignedValue &&
                  static_cast<int>(Kind::number) == zentaraDoubleValue &&
                  static_cast<int>(Kind::string) == zentaraTextValue &&
                  static_cast<int>(Kind::array) == zentaraArrayValue &&
                  static_cast<int>(Kind::object) == zentaraObjectValue,
              "the kinds of the bridge are those of JSONValue");

namespace {

ZentaraClientErrorRef makeError(ZentaraErrorKind kind, const std::string& detail) {
#define MAKE_PLAIN(name) \
    if (kind == zentaraKindOf##name) return std::make_shared<name>();
#define MAKE_DETAILED(name) \
    if (kind == zentaraKindOf##name) return std::make_shared<name>(detail);
    ZENTARA_EACH_PLAIN_ERROR(MAKE_PLAIN)
    ZENTARA_EACH_DETAILED_ERROR(MAKE_DETAILED)
    return nullptr;
}

ZentaraErrorKind kindOf(const ZentaraClientError& error) {
#define FIND_KIND(name) \
    if (dynamic_cast<const name*>(&error) != nullptr) return zentaraKindOf##name;
    ZENTARA_EACH_PLAIN_ERROR(FIND_KIND)
    ZENTARA_EACH_DETAILED_ERROR(FIND_KIND)
    return zentaraOtherError;
}

}  // namespace

ZentaraError* zentaraMakeError(ZentaraErrorKind kind, ZentaraText detail) noexcept {
    return std::make_unique<ZentaraError>(ZentaraError{makeError(kind, string(detail))}).release();
}

void zentaraReleaseError(ZentaraError* error) noexcept {
    delete error;
}

ZentaraErrorView zentaraViewError(const ZentaraError* error) noexcept {
    const auto& values = *error->error;
    return {kindOf(values), bridged(values.domain()), values.code(),
            bridged(values.localizedDescription())};
}

ZentaraEvent* zentaraMakeEvent(const ZentaraEventTexts* texts,
                               ZentaraBuilder* properties) noexcept {
    ZentaraEvent event{ZentaraClient::createEvent(
        string(texts->schemaId), string(texts->schemaVersion), string(texts->contentType),
        string(texts->url), string(texts->referer), ZentaraBuilder::finish(properties),
        optionalString(texts->relationId))};
    return std::make_unique<ZentaraEvent>(std::move(event)).release();
}

ZentaraEvent* zentaraKeepEvent(const ZentaraEvent* event) noexcept {
    return std::make_unique<ZentaraEvent>(*event).release();
}

void zentaraReleaseEvent(ZentaraEvent* event) noexcept {
    delete event;
}

ZentaraEventTexts zentaraEventTexts(const ZentaraEvent* event) noexcept {
    if (event == nullptr) return {};
    const auto& values = *event->event;
    return {bridged(values.schemaId()),         bridged(values.schemaVersion()),
            bridged(values.contentType()),      bridged(values.url().string()),
            bridged(values.referer().string()), optionalBridged(values.relationId())};
}

const ZentaraValue* zentaraEventProperties(const ZentaraEvent* event) noexcept {
    return handleOf(*EventAccess::values(*event->event).properties);
}

ZentaraValueView zentaraViewValue(const ZentaraValue* value) noexcept {
    const auto& json = valueOf(value);
    ZentaraValueView view{};
    view.kind = static_cast<ZentaraValueKind>(json.kind());
    switch (json.kind()) {
        case Kind::null:
            break;
        case Kind::boolean:
            view.boolean = json.boolean();
            break;
        case Kind::integer:
            view.signedInteger = json.integer();
            break;
        case Kind::unsignedInteger:
            view.unsignedInteger = json.unsignedInteger();
            break;
        case Kind::number:
            view.real = json.number();
            break;
        case Kind::string:
            view.text = bridged(json.string());
            break;
        case Kind::array:
            view.count = json.array().size();
            break;
        case Kind::object:
            view.count = json.object().size();
            break;
    }
    return view;
}

const ZentaraValue* zentaraElement(const ZentaraValue* array, size_t index) noexcept {
    return handleOf(valueOf(array).array()[index]);
}

const ZentaraValue* zentaraMember(const ZentaraValue* object, size_t index,
                                  ZentaraText* key) noexcept {
    const auto& member = valueOf(object).object().begin()[static_cast<std::ptrdiff_t>(index)];
    *key = bridged(member.key());
    return handleOf(member.value());
}

ZentaraBuilder* zentaraMakeBuilder() noexcept {
    return std::make_unique<ZentaraBuilder>().release();
}

void zentaraDiscardBuilder(ZentaraBuilder* builder) noexcept {
    delete builder;
}

void zentaraAdd(ZentaraBuilder* builder, ZentaraValueView scalar) noexcept {
    auto& value = builder->values.emplace_back();
    switch (scalar.kind) {
        case zentaraBooleanValue:
            value = scalar.boolean;
            break;
        case zentaraSignedValue:
            value = scalar.signedInteger;
            break;
        case zentaraUnsignedValue:
            value = scalar.unsignedInteger;
            break;
        case zentaraDoubleValue:
            value = scalar.real;
            break;
        case zentaraTextValue:
            value = std::string_view(scalar.text.bytes, scalar.text.length);
            break;
        case zentaraNullValue:
        case zentaraArrayValue:
        case zentaraObjectValue:
            break;
    }
}

void zentaraEndArray(ZentaraBuilder* builder, size_t count) noexcept {
    auto& values = builder->values;
    JSONArray array;
    array.reserve(count);
    const auto first = values.end() - static_cast<std::ptrdiff_t>(count);
    for (auto value = first; value != values.end(); ++value)
        array.push_back(std::move(*value));
    values.erase(first, values.end());
    values.emplace_back(std::move(array));
}

void zentaraEndObject(ZentaraBuilder* builder, size_t count) noexcept {
    auto& values = builder->values;
    JSONObject object;
    object.reserve(count);
    const auto first = values.end() - static_cast<std::ptrdiff_t>(2 * count);
    for (auto member = first; member != values.end(); member += 2)
        object.set(member[0].string(), std::move(member[1]));
    values.erase(first, values.end());
    values.emplace_back(std::move(object));
}

size_t zentaraQueuedDepth() noexcept {
    return maximumPropertiesDepth;
}
