#include "schemas/values/SchemaIndex.h"

#include <algorithm>

namespace zentara::schemas {

SchemaIndex::SchemaIndex(const JSONObject& document)
    : document_(document), schema_(document, stoppingFormats()), references_(document) {}

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
    const auto reference = textOf(schema.find("$ref"));
    if (!reference) return nullptr;
    const auto [known, isNew] = targets_.try_emplace(&schema, nullptr);
    if (isNew) known->second = references_.follow(*reference).schema;
    return known->second;
}

const JSONObject* SchemaIndex::objects(const JSONObject& schema, std::string_view key) const {
    const auto* const value = schema.find(key);
    const auto [known, isNew] = areOfKind_.try_emplace(value, false);
    if (isNew) known->second = namedSchemasOf(value) != nullptr;
    return known->second ? value->ifObject() : nullptr;
}

const JSONArray* SchemaIndex::list(const JSONObject& schema, std::string_view key,
                                   JSONValue::Kind kind) const {
    const auto* const value = schema.find(key);
    // A keyword is asked for one kind only.
    const auto [known, isNew] = areOfKind_.try_emplace(value, false);
    if (isNew) known->second = listOf(kind, value) != nullptr;
    return known->second ? value->ifArray() : nullptr;
}

SchemaIndex::Bounds SchemaIndex::bounds(const JointSchemas& all, std::string_view least,
                                        std::string_view most) {
    Bounds result;
    for (const auto* const schema : all) {
        result.least = std::max(result.least, integerOf(schema->find(least)).value_or(0));
        result.most = std::min(result.most, integerOf(schema->find(most)).value_or(INT64_MAX));
    }
    return result;
}

std::optional<JointSchemas> SchemaIndex::member(const JointSchemas& all,
                                                std::string_view name) const {
    JointSchemas result;
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
        const auto additional = additionalOf(schema->find("additionalProperties"));
        if (isNamed) continue;
        if (additional.isForbidden) return std::nullopt;
        if (additional.schema != nullptr) result.push_back(additional.schema);
    }
    return result;
}

std::optional<JointSchemas> SchemaIndex::element(const JointSchemas& all,
                                                 std::size_t position) const {
    JointSchemas result;
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
