#include "collector/data/PropertyStatistics.h"

#include <algorithm>

#include "collector/data/EventFilter.h"
#include "collector/data/JSONText.h"

namespace zentara::collector {

namespace {

std::string_view typeOf(JSONValue::Kind kind) {
    switch (kind) {
        case JSONValue::Kind::null:
            return "null";
        case JSONValue::Kind::boolean:
            return "boolean";
        case JSONValue::Kind::integer:
        case JSONValue::Kind::unsignedInteger:
            return "integer";
        case JSONValue::Kind::number:
            return "number";
        case JSONValue::Kind::string:
            return "string";
        case JSONValue::Kind::array:
            return "array";
        case JSONValue::Kind::object:
            return "object";
    }
    return "";
}

}  // namespace

void PropertyStatistics::declare(const std::vector<std::string>& path, Need need) {
    if (path.size() > EventFilter::deepestProperty) return;
    isDeclaring_ = true;
    Property* property = &properties_.front();
    for (const auto& name : path)
        property = name == "*" ? elements(*property) : member(*property, name);
    property->isRequired = need == Need::required;
    isDeclaring_ = false;
}

PropertyStatistics::Property* PropertyStatistics::member(Property& parent, std::string_view name) {
    const auto known = parent.members.find(name);
    if (known != parent.members.end()) return known->second;
    auto* const made = make(parent, name);
    if (made == nullptr) return nullptr;
    made->isUnnamed |= name.empty() || name == "*" || name.find('.') != std::string_view::npos;
    parent.members.emplace(name, made);
    return made;
}

PropertyStatistics::Property* PropertyStatistics::elements(Property& parent) {
    if (parent.elements == nullptr) parent.elements = make(parent, "*");
    return parent.elements;
}

PropertyStatistics::Property* PropertyStatistics::make(const Property& parent,
                                                       std::string_view name) {
    const std::size_t length = parent.path.size() + name.size() + 1;
    const bool isFull = properties_.size() > declared_ + mostOthers;
    if (!isDeclaring_ && (isFull || length > longestPath)) {
        hasMore_ = true;
        return nullptr;
    }
    auto& made = properties_.emplace_back();
    made.path = parent.path + (parent.depth == 0 ? "" : ".") + std::string(name);
    made.depth = parent.depth + 1;
    made.isUnnamed = parent.isUnnamed;
    made.isDeclared = isDeclaring_;
    if (isDeclaring_) ++declared_;
    return &made;
}

void PropertyStatistics::add(std::string_view event) {
    ++events_;
    const auto value = JSONValue::parse(event);
    const auto* const object = value.ifObject();
    const auto* const properties = object == nullptr ? nullptr : object->find("properties");
    if (properties != nullptr) lookInside(properties_.front(), *properties);
}

void PropertyStatistics::look(Property& property, const JSONValue& value) {
    if (property.lastEvent != events_) ++property.present;
    property.lastEvent = events_;
    ++property.types[typeOf(value.kind())];
    if (value.isObject() || value.isArray()) {
        lookInside(property, value);
    } else {
        countValue(property, value);
    }
}

void PropertyStatistics::lookInside(Property& property, const JSONValue& value) {
    const auto* const object = value.ifObject();
    const auto* const array = value.ifArray();
    const bool isEmpty =
        (object == nullptr || object->empty()) && (array == nullptr || array->empty());
    if (isEmpty) return;
    if (property.depth == EventFilter::deepestProperty) {
        hasMore_ = true;
    } else if (object != nullptr) {
        for (const auto& [name, content] : *object) {
            if (auto* const inner = member(property, name)) look(*inner, content);
        }
    } else if (auto* const inner = elements(property)) {
        for (const auto& element : *array)
            look(*inner, element);
    }
}

void PropertyStatistics::countValue(Property& property, const JSONValue& value) {
    const auto text = value.ifString();
    const std::string whole = text ? std::string() : value.text();
    const std::string_view all = text ? *text : std::string_view(whole);
    Value key{value.kind(), std::string(beginningOf(all, longestValue)), all.size() > longestValue};
    const auto known = property.values.find(key);
    if (known != property.values.end()) {
        ++known->second;
    } else if (property.values.size() < mostValues) {
        property.values.emplace(std::move(key), 1);
    } else {
        ++property.uncounted;
    }
}

JSONObject PropertyStatistics::resultOf(const Property& property) {
    JSONObject types;
    for (const auto& [type, count] : property.types)
        types.set(type, count);
    using Counted = std::pair<const Value*, std::uint64_t>;
    std::vector<Counted> counted;
    std::uint64_t others = property.uncounted;
    for (const auto& [value, count] : property.values) {
        counted.emplace_back(&value, count);
        others += count;
    }
    std::stable_sort(counted.begin(), counted.end(), [](const Counted& one, const Counted& other) {
        return one.second > other.second;
    });
    counted.resize(std::min(counted.size(), mostListed));
    JSONArray values;
    for (const auto& [value, count] : counted) {
        others -= count;
        JSONObject listed{{"value", value->text}, {"type", typeOf(value->kind)}, {"count", count}};
        if (value->isCut) listed.set("cut", true);
        values.push_back(std::move(listed));
    }
    JSONObject result{{"path", property.path},
                      {"declared", property.isDeclared},
                      {"required", property.isRequired},
                      {"present", property.present},
                      {"types", std::move(types)},
                      {"values", std::move(values)},
                      {"otherValues", others}};
    if (property.isUnnamed) result.set("unnamed", true);
    return result;
}

JSONArray PropertyStatistics::result() const {
    std::vector<const Property*> all;
    for (const auto& property : properties_) {
        if (property.depth > 0) all.push_back(&property);
    }
    std::sort(all.begin() + static_cast<std::ptrdiff_t>(declared_), all.end(),
              [](const Property* one, const Property* other) { return one->path < other->path; });
    JSONArray list;
    for (const auto* property : all)
        list.push_back(resultOf(*property));
    return list;
}

}  // namespace zentara::collector
