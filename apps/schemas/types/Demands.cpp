#include "schemas/types/Demands.h"

#include <algorithm>
#include <cmath>
#include <unordered_set>
#include <utility>

#include "schemas/files/SourceMap.h"

namespace zentara::schemas {

namespace {

bool permitsOnlyNull(const JSONObject& schema) {
    const auto* const values = schema.find("enum");
    return kindsOfType(schema.find("type")) == kinds::null ||
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
    if (value.isBoolean() && (kinds & kinds::boolean) == 0) return value.boolean() ? 1 : 0;
    if (!integer) return value;
    if ((kinds & kinds::number) == 0 && (*integer == 0 || *integer == 1)) return *integer == 1;
    return *integer;
}

}  // namespace

Kinds kindOf(const JSONValue& value) {
    if (!value.isNumber()) return kinds::of(value);
    // The engine takes numbers beyond 64 bits for integers, too.
    return value.asInteger()                       ? kinds::integer
           : std::abs(*value.asDouble()) >= 0x1p63 ? kinds::number
                                                   : kinds::fraction;
}

std::string DemandFinder::pointerTo(const std::string& outer, std::string_view keyword,
                                    std::string_view component) {
    work_.spend(2 + component.size() / 16);
    const auto pointer = childPointer(outer, keyword);
    return mayExtend(pointer, component) ? childPointer(pointer, component) : outer;
}

void DemandFinder::addReference(const Demand& demand, Demands& found) {
    const auto reference = textOf(demand.schema->find("$ref"));
    if (!reference) return;
    work_.spend(1 + reference->size() / 16);
    std::vector<std::string> path;
    const auto* const target = references_.follow(*reference, &path).schema;
    if (target == nullptr) return;
    found.push_back({target, zentara::schemas::pointerTo(path), demand.orNull,
                     path.empty() ? "" : path.back()});
}

void DemandFinder::addAllOf(const Demand& demand, Demands& found) {
    const auto* const schemas = schemasOf(demand.schema->find("allOf"));
    for (std::size_t i = 0; schemas != nullptr && i < schemas->size(); ++i) {
        found.push_back({(*schemas)[i].ifObject(),
                         pointerTo(demand.pointer, "allOf", std::to_string(i)), demand.orNull, ""});
    }
}

bool DemandFinder::addChoices(const Demand& demand, Demands& found) {
    bool hasSeveral = false;
    for (const auto* const keyword : {"anyOf", "oneOf"}) {
        const auto* const schemas = schemasOf(demand.schema->find(keyword));
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
    Kinds kinds = kinds::all;
    for (const auto& demand : demands)
        kinds &= kindsOfType(demand.schema->find("type")) | (demand.orNull ? kinds::null : 0U);
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
        if (!hasNull) kinds &= kinds::all & ~kinds::null;
        if (!values) {
            values = std::move(permitted);
        } else {
            std::erase_if(*values, [&](const auto& each) { return !texts.contains(each.text()); });
        }
    }
    return values;
}

}  // namespace zentara::schemas
