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
        case boost::json::kind::null:
            view.kind = zentaraNullValue;
            break;
        case boost::json::kind::bool_:
            view.kind = zentaraBooleanValue;
            view.boolean = json.get_bool();
            break;
        case boost::json::kind::int64:
            view.kind = zentaraSignedValue;
            view.signedInteger = json.get_int64();
            break;
        case boost::json::kind::uint64:
            view.kind = zentaraUnsignedValue;
            view.unsignedInteger = json.get_uint64();
            break;
        case boost::json::kind::double_:
            view.kind = zentaraDoubleValue;
            view.real = json.get_double();
            break;
        case boost::json::kind::string:
            view.kind = zentaraTextValue;
            view.text = bridged(std::string_view(json.get_string()));
            break;
        case boost::json::kind::array:
            view.kind = zentaraArrayValue;
            view.arrayCount = json.get_array().size();
            break;
        case boost::json::kind::object:
            view.kind = zentaraObjectValue;
            view.object = bridged(json.get_object());
            break;
    }
    return view;
}

const ZentaraValue* zentaraElement(const ZentaraValue* array, size_t index) noexcept {
    return bridged(unbridged(array).get_array()[index]);
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
