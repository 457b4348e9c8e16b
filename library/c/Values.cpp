#include <memory>
#include <stdexcept>
#include <utility>

#include <zentara/JSONValue.h>
#include "c/Boundary.h"
#include "json/JSONText.h"

using namespace zentara;
using namespace zentara::c;

using Kind = JSONValue::Kind;

static_assert(static_cast<int>(Kind::null) == ZENTARA_VALUE_NULL &&
                  static_cast<int>(Kind::boolean) == ZENTARA_VALUE_BOOLEAN &&
                  static_cast<int>(Kind::integer) == ZENTARA_VALUE_INTEGER &&
                  static_cast<int>(Kind::unsignedInteger) == ZENTARA_VALUE_UNSIGNED_INTEGER &&
                  static_cast<int>(Kind::number) == ZENTARA_VALUE_NUMBER &&
                  static_cast<int>(Kind::string) == ZENTARA_VALUE_TEXT &&
                  static_cast<int>(Kind::array) == ZENTARA_VALUE_ARRAY &&
                  static_cast<int>(Kind::object) == ZENTARA_VALUE_OBJECT,
              "the kinds of values are those of JSONValue");

namespace {

const JSONValue* valueOf(const zentara_value* value) noexcept {
    return reinterpret_cast<const JSONValue*>(value);
}

JSONValue parse(zentara_text json) {
    try {
        return JSONValue::parse(requiredString(json, "JSON"));
    } catch (const std::invalid_argument& error) {
        refuse(ZENTARA_INVALID_ARGUMENT, error.what());
    }
}

JSONObject parseObject(zentara_text json) {
    auto value = parse(json);
    if (!value.isObject()) refuse(ZENTARA_INVALID_ARGUMENT, "the properties are no JSON object");
    return std::move(value.object());
}

void checkClosed(const zentara_properties& properties) {
    if (!properties.open.empty()) {
        refuse(ZENTARA_INVALID_ARGUMENT, "an array or object of the properties is still open");
    }
}

JSONValue& containerOf(zentara_properties& properties) {
    return properties.open.empty() ? properties.root : properties.open.back().container;
}

/// The key of the next value; empty in an array.
std::string keyOf(zentara_properties& properties, zentara_text key) {
    if (containerOf(properties).isArray()) return {};
    if (key.bytes != nullptr) return string(key);
    if (!properties.nextKey) refuse(ZENTARA_INVALID_ARGUMENT, "a member without a key");
    return *std::exchange(properties.nextKey, std::nullopt);
}

void put(JSONValue& container, std::string_view key, JSONValue value) {
    if (container.isArray()) {
        container.array().push_back(std::move(value));
    } else {
        container.object().set(key, std::move(value));
    }
}

zentara_status put(zentara_properties* handle, zentara_text key, JSONValue value) noexcept {
    return guarded([&] {
        auto& properties = checked(handle);
        const auto name = keyOf(properties, key);
        put(containerOf(properties), name, std::move(value));
    });
}

zentara_status open(zentara_properties* handle, zentara_text key, JSONValue container) noexcept {
    return guarded([&] {
        auto& properties = checked(handle);
        properties.open.push_back({std::move(container), keyOf(properties, key)});
    });
}

}  // namespace

JSONObject zentara::c::copyOf(const zentara_properties& properties) {
    checkClosed(properties);
    return properties.root.object();
}

JSONObject zentara::c::taken(zentara_properties* properties) {
    const std::unique_ptr<zentara_properties> ended(&owned(properties));
    checkClosed(*ended);
    return std::move(ended->root.object());
}

Draft zentara::c::readDraft(const zentara_event_draft* record, Ownership ownership) {
    Draft draft{readRecord(record), {}};
    auto* const properties = draft.record.properties;
    if (properties != nullptr) {
        draft.properties =
            ownership == Ownership::taken ? taken(properties) : copyOf(checked(properties));
    }
    if (draft.record.properties_json.bytes != nullptr) {
        if (properties != nullptr) {
            refuse(ZENTARA_INVALID_ARGUMENT, "a draft with both properties and properties_json");
        }
        draft.properties = parseObject(draft.record.properties_json);
    }
    if (draft.record.content_type.bytes == nullptr) {
        draft.record.content_type = zentara_text_of("application/json");
    }
    return draft;
}

zentara_value_view zentara_value_look(const zentara_value* value) noexcept {
    zentara_value_view view{};
    if (value == nullptr) return view;
    const auto& json = *valueOf(value);
    view.kind = static_cast<zentara_value_kind>(json.kind());
    switch (json.kind()) {
        case Kind::null:
            break;
        case Kind::boolean:
            view.boolean = *json.ifBoolean();
            break;
        case Kind::integer:
            view.integer = *json.ifInteger();
            break;
        case Kind::unsignedInteger:
            view.unsigned_integer = *json.ifUnsignedInteger();
            break;
        case Kind::number:
            view.number = *json.ifDouble();
            break;
        case Kind::string:
            view.text = borrowed(*json.ifString());
            break;
        case Kind::array:
            view.count = json.ifArray()->size();
            break;
        case Kind::object:
            view.count = json.ifObject()->size();
            break;
    }
    return view;
}

const zentara_value* zentara_value_element(const zentara_value* array, size_t index) noexcept {
    const auto* const elements = array == nullptr ? nullptr : valueOf(array)->ifArray();
    if (elements == nullptr || index >= elements->size()) return nullptr;
    return handleOf((*elements)[index]);
}

const zentara_value* zentara_value_member(const zentara_value* object, size_t index,
                                          zentara_text* key) noexcept {
    const auto* const members = object == nullptr ? nullptr : valueOf(object)->ifObject();
    if (members == nullptr || index >= members->size()) return nullptr;
    const auto& member = members->begin()[static_cast<std::ptrdiff_t>(index)];
    if (key != nullptr) *key = borrowed(member.key());
    return handleOf(member.value());
}

const zentara_value* zentara_value_find(const zentara_value* object, zentara_text key) noexcept {
    const auto* const members = object == nullptr ? nullptr : valueOf(object)->ifObject();
    const auto* const value = members == nullptr ? nullptr : members->find(view(key));
    return value == nullptr ? nullptr : handleOf(*value);
}

zentara_text zentara_value_json(const zentara_value* value) noexcept {
    return guardedOr(zentara_text{}, [&] {
        auto& text = ThreadTexts::own().json;
        text = value == nullptr ? "null" : valueOf(value)->text();
        return borrowed(text);
    });
}

zentara_properties* zentara_properties_make() noexcept {
    return guardedOr<zentara_properties*>(nullptr, [] { return new zentara_properties; });
}

zentara_properties* zentara_properties_make_from_json(zentara_text json) noexcept {
    return guardedOr<zentara_properties*>(
        nullptr, [&] { return std::make_unique<zentara_properties>(parseObject(json)).release(); });
}

zentara_properties* zentara_properties_copy(const zentara_properties* properties) noexcept {
    return guardedOr<zentara_properties*>(nullptr, [&] {
        const auto& source = checked(properties);
        auto copy = std::make_unique<zentara_properties>(source.root.object());
        copy->open = source.open;
        copy->nextKey = source.nextKey;
        return copy.release();
    });
}

void zentara_properties_release(zentara_properties* properties) noexcept {
    release(properties);
}

zentara_status zentara_properties_put_null(zentara_properties* properties,
                                           zentara_text key) noexcept {
    return put(properties, key, JSONValue());
}

zentara_status zentara_properties_put_boolean(zentara_properties* properties, zentara_text key,
                                              bool value) noexcept {
    return put(properties, key, JSONValue(value));
}

zentara_status zentara_properties_put_integer(zentara_properties* properties, zentara_text key,
                                              int64_t value) noexcept {
    return put(properties, key, JSONValue(value));
}

zentara_status zentara_properties_put_unsigned_integer(zentara_properties* properties,
                                                       zentara_text key, uint64_t value) noexcept {
    return put(properties, key, JSONValue(value));
}

zentara_status zentara_properties_put_number(zentara_properties* properties, zentara_text key,
                                             double value) noexcept {
    return put(properties, key, JSONValue(value));
}

zentara_status zentara_properties_put_text(zentara_properties* properties, zentara_text key,
                                           zentara_text value) noexcept {
    JSONValue text;
    const auto status = guarded([&] { text = JSONValue(view(value)); });
    return status == ZENTARA_OK ? put(properties, key, std::move(text)) : status;
}

zentara_status zentara_properties_put_json(zentara_properties* properties, zentara_text key,
                                           zentara_text json) noexcept {
    JSONValue value;
    const auto status = guarded([&] { value = parse(json); });
    return status == ZENTARA_OK ? put(properties, key, std::move(value)) : status;
}

zentara_status zentara_properties_open_array(zentara_properties* properties,
                                             zentara_text key) noexcept {
    return open(properties, key, JSONValue(JSONArray()));
}

zentara_status zentara_properties_open_object(zentara_properties* properties,
                                              zentara_text key) noexcept {
    return open(properties, key, JSONValue(JSONObject()));
}

zentara_status zentara_properties_close(zentara_properties* properties) noexcept {
    return guarded([&] {
        auto& levels = checked(properties).open;
        if (levels.empty()) refuse(ZENTARA_INVALID_ARGUMENT, "nothing is open");
        auto& outer = levels.size() == 1 ? properties->root : levels[levels.size() - 2].container;
        put(outer, levels.back().key, std::move(levels.back().container));
        levels.pop_back();
    });
}

zentara_status zentara_properties_set_key(zentara_properties* properties,
                                          zentara_text key) noexcept {
    return guarded([&] { checked(properties).nextKey = requiredString(key, "key"); });
}

zentara_status zentara_properties_remove(zentara_properties* properties,
                                         zentara_text key) noexcept {
    return guarded([&] { checked(properties).root.object().erase(requiredString(key, "key")); });
}

zentara_status zentara_properties_replace_json(zentara_properties* properties,
                                               zentara_text json) noexcept {
    return guarded([&] {
        auto& target = checked(properties);
        target.root = JSONValue(parseObject(json));
        target.open.clear();
        target.nextKey.reset();
    });
}

const zentara_value* zentara_properties_value(const zentara_properties* properties) noexcept {
    return guardedOr<const zentara_value*>(nullptr,
                                           [&] { return handleOf(checked(properties).root); });
}
