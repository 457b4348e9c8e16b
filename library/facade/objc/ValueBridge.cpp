#include "facade/objc/ValueBridge.h"

#include "facade/objc/BridgeText.h"
#include "facade/objc/ValueHandle.h"

using namespace zentara;

namespace {

const JSONObject::value_type& member(const ZentaraObject* object, size_t index) {
    return unbridged(object).begin()[static_cast<std::ptrdiff_t>(index)];
}

}  // namespace

ZentaraValueView zentaraView(const ZentaraValue* value) noexcept {
    const auto& json = unbridged(value);
    ZentaraValueView view{};
    switch (json.kind()) {
        case JSONValue::Kind::null:
            view.kind = zentaraNullValue;
            break;
        case JSONValue::Kind::boolean:
            view.kind = zentaraBooleanValue;
            view.boolean = json.boolean();
            break;
        case JSONValue::Kind::integer:
            view.kind = zentaraSignedValue;
            view.signedInteger = json.integer();
            break;
        case JSONValue::Kind::unsignedInteger:
            view.kind = zentaraUnsignedValue;
            view.unsignedInteger = json.unsignedInteger();
            break;
        case JSONValue::Kind::number:
            view.kind = zentaraDoubleValue;
            view.real = json.number();
            break;
        case JSONValue::Kind::string:
            view.kind = zentaraTextValue;
            view.text = bridged(std::string_view(json.string()));
            break;
        case JSONValue::Kind::array:
            view.kind = zentaraArrayValue;
            view.arrayCount = json.array().size();
            break;
        case JSONValue::Kind::object:
            view.kind = zentaraObjectValue;
            view.object = bridged(json.object());
            break;
    }
    return view;
}

const ZentaraValue* zentaraElement(const ZentaraValue* array, size_t index) noexcept {
    return bridged(unbridged(array).array()[index]);
}

size_t zentaraMemberCount(const ZentaraObject* object) noexcept {
    return unbridged(object).size();
}

ZentaraText zentaraMemberKey(const ZentaraObject* object, size_t index) noexcept {
    return bridged(std::string_view(member(object, index).key()));
}

const ZentaraValue* zentaraMemberValue(const ZentaraObject* object, size_t index) noexcept {
    return bridged(member(object, index).value());
}
