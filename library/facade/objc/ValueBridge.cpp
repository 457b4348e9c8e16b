#include <memory>
#include <utility>

#include "facade/objc/Handles.h"
#include "json/JSONText.h"

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
            view.arrayCount = json.array().size();
            break;
        case Kind::object:
            view.object = handleOf(json.object());
            break;
    }
    return view;
}

const ZentaraValue* zentaraElement(const ZentaraValue* array, size_t index) noexcept {
    return handleOf(valueOf(array).array()[index]);
}

size_t zentaraMemberCount(const ZentaraObject* object) noexcept {
    return valueOf(object).size();
}

ZentaraText zentaraMemberKey(const ZentaraObject* object, size_t index) noexcept {
    return bridged(valueOf(object).begin()[index].key());
}

const ZentaraValue* zentaraMemberValue(const ZentaraObject* object, size_t index) noexcept {
    return handleOf(valueOf(object).begin()[index].value());
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
