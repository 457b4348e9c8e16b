#include "schemas/types/Demands.h"

#include <algorithm>
#include <cmath>
#include <unordered_set>
#include <utility>

#include "schemas/Schema.h"
#include "schemas/files/References.h"
#include "schemas/files/SourceMap.h"

namespace zentara::schemas {

namespace {

bool areObjects(const JSONArray& list) {
    return std::all_of(list.begin(), list.end(),
                       [](const JSONValue& each) { return each.isObject(); });
}

Kinds kindsNamed(std::string_view type) {
    constexpr Kinds kinds[] = {objectKind,  listKind,    textKind, integerKind,
                               numberKinds, booleanKind, nullKind};
    const auto known = typeNamed(type);
    return known ? kinds[static_cast<std::size_t>(*known)] : 0;
}

Kinds kindsOfType(const JSONObject& schema) {
    const auto* const type = schema.find("type");
    if (type == nullptr) return allKinds;
    if (type->isString()) return kindsNamed(type->string());
    Kinds kinds = 0;
    if (const auto* const names = type->ifArray()) {
        for (const auto& name : *names)
            if (name.isString()) kinds |= kindsNamed(name.string());
    }
    return kinds;
}

bool permitsOnlyNull(const JSONObject& schema) {
    const auto* const values = schema.find("enum");
    return kindsOfType(schema) == nullKind ||
           (values != nullptr && *values == JSONValue(JSONArray{nullptr}));
}

/// The only schema of "anyOf" or "oneOf" that permits more than null.
struct OnlyChoice {
    const JSONObject* schema = nullptr;
    std::size_t position = 0;
    bool orNull = false;
};
OnlyChoice onlyChoice(const JSONArray& schemas) {
    OnlyChoice choice;
    for (std::size_t i = 0; i < schemas.size(); ++i) {
        const auto& schema = *schemas[i].ifObject();
        if (permitsOnlyNull(schema)) {
            choice.orNull = true;
        } else if (choice.schema != nullptr) {
            return {};
        } else {
            choice.schema = &schema;
            choice.position = i;
        }
    }
    return choice;
}

/// Whether the schema says more than where other schemas are and what it is for.
bool saysMore(const JSONObject& schema) {
    constexpr std::string_view others[] = {"$ref",        "allOf", "anyOf",   "oneOf",      "title",
                                           "description", "id",    "$schema", "definitions"};
    return std::any_of(schema.begin(), schema.end(), [&](const auto& member) {
        return std::find(std::begin(others), std::end(others), member.key()) == std::end(others);
    });
}

/// A value of an enumeration as one of the kinds. In an enumeration, the engine takes true for 1,
/// false for 0, and 2.0 for 2.
JSONValue asOneOf(Kinds kinds, const JSONValue& value) {
    const auto integer = value.asInteger();
    if (value.isBoolean() && (kinds & booleanKind) == 0) return value.boolean() ? 1 : 0;
    if (!integer) return value;
    if ((kinds & numberKinds) == 0 && (*integer == 0 || *integer == 1)) return *integer == 1;
    return *integer;
}

}  // namespace

const JSONArray* schemasUnder(const JSONObject& schema, std::string_view keyword) {
    const auto* const value = schema.find(keyword);
    const auto* const list = value == nullptr ? nullptr : value->ifArray();
    return list != nullptr && areObjects(*list) ? list : nullptr;
}

const JSONObject* dictionaryUnder(const JSONObject& schema, std::string_view keyword) {
    const auto* const value = schema.find(keyword);
    const auto* const object = value == nullptr ? nullptr : value->ifObject();
    if (object == nullptr) return nullptr;
    const bool isDictionary = std::all_of(object->begin(), object->end(), [](const auto& member) {
        return member.value().isObject();
    });
    return isDictionary ? object : nullptr;
}

std::string textUnder(const JSONObject& schema, std::string_view keyword) {
    const auto* const value = schema.find(keyword);
    return value != nullptr && value->isString() ? std::string(value->string()) : "";
}

bool isTrue(const JSONObject& schema, std::string_view keyword) {
    const auto* const value = schema.find(keyword);
    return value != nullptr && value->ifBoolean() == true;
}

Kinds kindOf(const JSONValue& value) {
    if (value.isString()) return textKind;
    // The engine takes numbers beyond 64 bits for integers, too.
    if (value.isNumber())
        return value.asInteger()                       ? integerKind
               : std::abs(*value.asDouble()) >= 0x1p63 ? numberKinds
                                                       : fractionKind;
    if (value.isBoolean()) return booleanKind;
    if (value.isNull()) return nullKind;
    return value.isObject() ? objectKind : listKind;
}

std::string DemandFinder::pointerTo(const std::string& outer, std::string_view keyword,
                                    std::string_view component) {
    work_.spend(2 + component.size() / 16);
    const auto pointer = childPointer(outer, keyword);
    return mayExtend(pointer, component) ? childPointer(pointer, component) : outer;
}

void DemandFinder::addReference(const Demand& demand, Demands& found) {
    const auto reference = textUnder(*demand.schema, "$ref");
    if (reference.empty()) return;
    work_.spend(1 + reference.size() / 16);
    if (auto target = referenceTarget(document_, reference)) {
        found.push_back(
            {target->schema, std::move(target->pointer), demand.orNull, std::move(target->name)});
    }
}

void DemandFinder::addAllOf(const Demand& demand, Demands& found) {
    const auto* const schemas = schemasUnder(*demand.schema, "allOf");
    for (std::size_t i = 0; schemas != nullptr && i < schemas->size(); ++i) {
        found.push_back({(*schemas)[i].ifObject(),
                         pointerTo(demand.pointer, "allOf", std::to_string(i)), demand.orNull, ""});
    }
}

bool DemandFinder::addChoices(const Demand& demand, Demands& found) {
    bool hasSeveral = false;
    for (const auto* const keyword : {"anyOf", "oneOf"}) {
        const auto* const schemas = schemasUnder(*demand.schema, keyword);
        if (schemas == nullptr) continue;
        work_.spend(schemas->size());
        const auto choice = onlyChoice(*schemas);
        hasSeveral = hasSeveral || choice.schema == nullptr;
        if (choice.schema == nullptr) continue;
        found.push_back({choice.schema,
                         pointerTo(demand.pointer, keyword, std::to_string(choice.position)),
                         demand.orNull || choice.orNull, ""});
    }
    return hasSeveral;
}

Demands DemandFinder::expand(Demands demands) {
    Demands all;
    std::unordered_set<const JSONObject*> known;
    std::reverse(demands.begin(), demands.end());
    while (!demands.empty()) {
        auto demand = std::move(demands.back());
        demands.pop_back();
        if (!known.insert(demand.schema).second) continue;
        work_.spend(1 + demand.schema->size());
        Demands inner;
        addReference(demand, inner);
        addAllOf(demand, inner);
        const bool hasChoices = addChoices(demand, inner);
        demands.insert(demands.end(), inner.rbegin(), inner.rend());
        if (hasChoices || saysMore(*demand.schema)) all.push_back(std::move(demand));
    }
    return all;
}

Kinds permittedKinds(const Demands& demands) {
    Kinds kinds = allKinds;
    for (const auto& demand : demands)
        kinds &= kindsOfType(*demand.schema) | (demand.orNull ? nullKind : 0);
    return kinds;
}

std::optional<std::vector<JSONValue>> enumeratedValues(const Demands& demands, Kinds& kinds,
                                                       Work& work) {
    std::optional<std::vector<JSONValue>> values;
    for (const auto& demand : demands) {
        const auto* const found = demand.schema->find("enum");
        if (found == nullptr || !found->isArray()) continue;
        bool hasNull = demand.orNull;
        std::unordered_set<std::string> texts;
        std::vector<JSONValue> permitted;
        for (const auto& each : *found->ifArray()) {
            hasNull = hasNull || each.isNull();
            auto value = asOneOf(kinds, each);
            if (value.isNull() || (kindOf(value) & kinds) == 0) continue;
            auto text = value.text();
            work.spend(1 + text.size() / 16);
            if (texts.insert(std::move(text)).second) permitted.push_back(std::move(value));
        }
        if (!hasNull) kinds &= ~nullKind;
        if (!values) {
            values = std::move(permitted);
        } else {
            std::erase_if(*values, [&](const auto& each) { return !texts.contains(each.text()); });
        }
    }
    return values;
}

}  // namespace zentara::schemas
