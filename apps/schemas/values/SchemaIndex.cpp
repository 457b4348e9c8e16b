#include "schemas/values/SchemaIndex.h"

#include <algorithm>

#include "schemas/files/References.h"
#include "schemas/values/SafeFormats.h"

namespace zentara::schemas {

unsigned kind::of(const JSONValue& value) noexcept {
    switch (value.kind()) {
        case JSONValue::Kind::null:
            return null;
        case JSONValue::Kind::boolean:
            return boolean;
        case JSONValue::Kind::integer:
        case JSONValue::Kind::unsignedInteger:
            return integer;
        case JSONValue::Kind::number:
            return fraction;
        case JSONValue::Kind::string:
            return text;
        case JSONValue::Kind::array:
            return array;
        case JSONValue::Kind::object:
            break;
    }
    return object;
}

SchemaIndex::SchemaIndex(const JSONObject& document)
    : document_(document), schema_(document, safeFormats()) {}

SchemaIndex::Verdict SchemaIndex::validate(const JSONValue& value) const {
    Verdict verdict;
    auto messages = schema_.validate(value, &verdict.places).errors();
    verdict.isValid = !messages;
    if (messages) verdict.messages = *std::move(messages);
    verdict.isStopped =
        !verdict.messages.empty() && verdict.messages.back().starts_with("Validation stopped: ");
    return verdict;
}

const JSONObject* SchemaIndex::target(const JSONObject& schema) const {
    const auto* const reference = schema.find("$ref");
    if (reference == nullptr || !reference->isString()) return nullptr;
    const auto [known, isNew] = targets_.try_emplace(&schema, nullptr);
    if (isNew) {
        if (const auto found = referenceTarget(document_, reference->string()))
            known->second = found->schema;
    }
    return known->second;
}

unsigned SchemaIndex::kinds(const JSONObject& schema) const {
    const auto* const type = schema.find("type");
    if (type == nullptr) return kind::all;
    const auto ofName = [](std::string_view name) -> unsigned {
        const auto known = typeNamed(name);
        if (!known) return 0;
        switch (*known) {
            case Type::Object:
                return kind::object;
            case Type::Array:
                return kind::array;
            case Type::String:
                return kind::text;
            case Type::Integer:
                return kind::integer;
            case Type::Number:
                return kind::number;
            case Type::Boolean:
                return kind::boolean;
            case Type::Null:
                break;
        }
        return kind::null;
    };
    if (const auto name = type->ifString()) return ofName(*name);
    unsigned all = 0;
    if (const auto* const names = list(schema, "type", JSONValue::Kind::string))
        for (const auto& name : *names)
            all |= ofName(name.string());
    return all;
}

const JSONObject* SchemaIndex::objects(const JSONObject& schema, std::string_view key) const {
    const auto* const value = schema.find(key);
    const auto* const object = value == nullptr ? nullptr : value->ifObject();
    if (object == nullptr) return nullptr;
    const auto [known, isNew] = areOfKind_.try_emplace(value, true);
    if (isNew) {
        known->second = std::all_of(object->begin(), object->end(),
                                    [](const JSONMember& each) { return each.value().isObject(); });
    }
    return known->second ? object : nullptr;
}

const JSONArray* SchemaIndex::list(const JSONObject& schema, std::string_view key,
                                   JSONValue::Kind kind) const {
    const auto* const value = schema.find(key);
    const auto* const array = value == nullptr ? nullptr : value->ifArray();
    if (array == nullptr) return nullptr;
    // A keyword is asked for one kind only.
    const auto [known, isNew] = areOfKind_.try_emplace(value, true);
    if (isNew) {
        known->second = std::all_of(array->begin(), array->end(),
                                    [kind](const JSONValue& each) { return each.kind() == kind; });
    }
    return known->second ? array : nullptr;
}

SchemaIndex::Bounds SchemaIndex::bounds(const Demands& all, std::string_view least,
                                        std::string_view most) {
    Bounds result;
    for (const auto* const schema : all) {
        const auto* const lower = schema->find(least);
        const auto* const upper = schema->find(most);
        if (lower != nullptr) result.least = std::max(result.least, lower->asInteger().value_or(0));
        if (upper != nullptr)
            result.most = std::min(result.most, upper->asInteger().value_or(INT64_MAX));
    }
    return result;
}

std::optional<Demands> SchemaIndex::member(const Demands& all, std::string_view name) const {
    Demands result;
    for (const auto* const schema : all) {
        bool isNamed = false;
        const auto add = [&](const JSONValue& subschema) {
            isNamed = true;
            result.push_back(&subschema.object());
        };
        if (const auto* const named = objects(*schema, "properties"))
            if (const auto* const own = named->find(name)) add(*own);
        if (const auto* const patterns = objects(*schema, "patternProperties"))
            for (const auto& [text, subschema] : *patterns)
                if (pattern(text).expression().matches(name)) add(subschema);
        const auto* const additional = schema->find("additionalProperties");
        if (isNamed || additional == nullptr) continue;
        if (additional->ifBoolean() == false) return std::nullopt;
        if (additional->isObject()) add(*additional);
    }
    return result;
}

std::optional<Demands> SchemaIndex::element(const Demands& all, std::size_t position) const {
    Demands result;
    for (const auto* const schema : all) {
        const auto* items = schema->find("items");
        if (items == nullptr) continue;
        if (const auto* const array = list(*schema, "items", JSONValue::Kind::object)) {
            items =
                position < array->size() ? &(*array)[position] : schema->find("additionalItems");
            if (items != nullptr && items->ifBoolean() == false) return std::nullopt;
        }
        if (items != nullptr && items->isObject()) result.push_back(&items->object());
    }
    return result;
}

const PatternText& SchemaIndex::pattern(std::string_view text) const {
    const auto known = patterns_.find(text);
    if (known != patterns_.end()) return known->second;
    return patterns_.try_emplace(std::string(text), text).first->second;
}

}  // namespace zentara::schemas
