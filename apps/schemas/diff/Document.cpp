#include "schemas/diff/Document.h"

#include <unordered_set>
#include <utility>
#include <vector>

#include "schemas/KeywordValues.h"

namespace zentara::schemas::diff {

namespace {

/// Calls `visit(subschema, isSameValue)` for each subschema and for where `$ref` leads.
template <typename Visit>
void forEachSubschema(const Document& document, const JSONObject& schema, const Visit& visit) {
    if (const auto reference = textOf(schema.find("$ref"))) {
        if (const auto* const target = document.target(*reference)) visit(*target, true);
    }
    for (const auto* const keyword : {"allOf", "anyOf", "oneOf", "items"}) {
        if (const auto* const list = schemasOf(schema.find(keyword))) {
            for (const auto& each : *list)
                visit(*each.ifObject(), *keyword != 'i');
        }
    }
    for (const auto* const keyword : {"not", "items", "additionalItems", "additionalProperties"}) {
        if (const auto* const inner = schemaOf(schema.find(keyword)))
            visit(*inner, *keyword == 'n');
    }
    for (const auto* const keyword : {"properties", "patternProperties", "dependencies"}) {
        const auto* const value = schema.find(keyword);
        const auto* const table = value == nullptr ? nullptr : value->ifObject();
        if (table == nullptr) continue;
        for (const auto& [name, inner] : *table) {
            if (const auto* const object = inner.ifObject()) visit(*object, *keyword == 'd');
        }
    }
}

}  // namespace

bool Document::mayEndValidation(const JSONObject& schema) const {
    // Most documents have nothing of the kind.
    for (const auto* const each : {&root_, &schema}) {
        const auto known = mayEnd_.find(each);
        const bool result = known != mayEnd_.end() ? known->second : mayEnd(*each);
        mayEnd_[each] = result;
        if (!result) return false;
    }
    return true;
}

bool Document::mayEnd(const JSONObject& schema) const {
    constexpr std::size_t mostVisits = 2'000'000;
    struct Links {
        std::vector<const JSONObject*> sameValue;
        std::size_t entries = 0;  ///< links on the same value that lead here
    };
    std::unordered_map<const JSONObject*, Links> reached{{&schema, {}}};
    std::vector<const JSONObject*> open = {&schema};
    while (!open.empty()) {
        const auto* const current = open.back();
        open.pop_back();
        std::vector<const JSONObject*> sameValue;
        forEachSubschema(*this, *current, [&](const JSONObject& inner, bool isSameValue) {
            const auto [entry, isFirst] = reached.try_emplace(&inner);
            if (isFirst) open.push_back(&inner);
            if (!isSameValue) return;
            sameValue.push_back(&inner);
            ++entry->second.entries;
        });
        reached[current].sameValue = std::move(sameValue);
        if (++visited_ > mostVisits || textOf(current->find("format")) == "numericString")
            return true;
    }
    // Without a cycle the schemas can be taken away in their order.
    for (const auto& [each, links] : reached) {
        if (links.entries == 0) open.push_back(each);
    }
    std::size_t ordered = 0;
    while (!open.empty()) {
        const auto* const current = open.back();
        open.pop_back();
        ++ordered;
        for (const auto* const inner : reached[current].sameValue) {
            if (--reached[inner].entries == 0) open.push_back(inner);
        }
    }
    return ordered != reached.size();
}

// As deep as the document.
// NOLINTNEXTLINE(misc-no-recursion)
JSONValue Transplant::copy(const JSONValue& value) {
    ++cost_;
    if (const auto* const object = value.ifObject()) return copy(*object);
    if (const auto* const array = value.ifArray()) {
        JSONArray copied;
        copied.reserve(array->size());
        for (const auto& each : *array)
            copied.push_back(copy(each));
        return copied;
    }
    return value;
}

// NOLINTNEXTLINE(misc-no-recursion)
JSONObject Transplant::copy(const JSONObject& schema) {
    JSONObject copied;
    copied.reserve(schema.size());
    for (const auto& [key, value] : schema)
        add(copied, key, value);
    return copied;
}

// NOLINTNEXTLINE(misc-no-recursion)
void Transplant::add(JSONObject& schema, std::string_view keyword, const JSONValue& value) {
    const auto text = value.ifString();
    if (keyword == "$ref" && text && text->starts_with('#')) {
        schema.set(keyword, prefix_ + std::string(text->substr(1)));
        isReferredTo_ = true;
    } else if (keyword == "enum" && value.isArray()) {
        // What looks like a reference inside is a value.
        schema.set(keyword, value);
        cost_ += value.ifArray()->size();
    } else {
        schema.set(keyword, copy(value));
    }
}

void Transplant::attachTo(JSONObject& schema) {
    if (!isReferredTo_) return;
    schema.set(prefix_.substr(2), copy(document_));
    isReferredTo_ = false;
}

}  // namespace zentara::schemas::diff
