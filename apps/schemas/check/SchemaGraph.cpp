#include "schemas/check/SchemaGraph.h"

#include <algorithm>
#include <charconv>
#include <optional>

#include "schemas/files/SourceMap.h"
#include "support/ASCII.h"
#include "text/Unicode.h"

namespace zentara::schemas {

const JSONArray* listOf(JSONValue::Kind kind, const JSONValue* value) noexcept {
    const auto* const list = value == nullptr ? nullptr : value->ifArray();
    const auto isOther = [kind](const JSONValue& each) {
        return each.kind() != kind;
    };
    return list == nullptr || std::any_of(list->begin(), list->end(), isOther) ? nullptr : list;
}

const JSONObject* dictionaryOfObjects(const JSONValue* value) noexcept {
    const auto* const object = value == nullptr ? nullptr : value->ifObject();
    const auto isOther = [](const JSONMember& each) {
        return !each.value().isObject();
    };
    return object == nullptr || std::any_of(object->begin(), object->end(), isOther) ? nullptr
                                                                                     : object;
}

SchemaGraph::SchemaGraph(const JSONObject& document) : document_(document) {
    nodeOf({&document, 0});
    for (Position node = 0; node < nodes_.size(); ++node)
        expand(node);
    sort();
}

SchemaGraph::Position SchemaGraph::nodeOf(const Node& node) {
    const auto next = static_cast<Position>(nodes_.size());
    const auto [known, isNew] = positions_.try_emplace(node.schema, next);
    if (isNew) nodes_.push_back(node);
    return known->second;
}

/// Adds the edges of a node, as the engine's compiler does.
void SchemaGraph::expand(Position node) {
    const auto& schema = *nodes_[node].schema;
    nodes_[node].firstEdge = static_cast<Position>(edges_.size());
    const auto addOne = [&](Keyword keyword, std::string_view spelling) {
        const auto* const value = schema.find(spelling);
        const auto* const child = value == nullptr ? nullptr : value->ifObject();
        if (child != nullptr) addEdge(keyword, nodeOf({child, node, spelling}));
    };
    const auto addList = [&](Keyword keyword, std::string_view spelling) {
        const auto* const list = listOf(JSONValue::Kind::object, schema.find(spelling));
        for (std::uint32_t i = 0; list != nullptr && i < list->size(); ++i)
            addEdge(keyword, nodeOf({(*list)[i].ifObject(), node, spelling, {}, i}));
        return list != nullptr;
    };
    const auto addMembers = [&](std::string_view spelling) {
        const auto* const members = dictionaryOfObjects(schema.find(spelling));
        if (members == nullptr) return;
        for (const auto& [name, child] : *members)
            addEdge(Keyword::properties, nodeOf({child.ifObject(), node, spelling, name}));
    };
    const auto* const reference = schema.find("$ref");
    if (reference != nullptr && reference->isString()) addReference(node, *reference->ifString());
    addList(Keyword::allOf, "allOf");
    addList(Keyword::anyOf, "anyOf");
    addList(Keyword::oneOf, "oneOf");
    addOne(Keyword::negation, "not");
    addOne(Keyword::items, "items");
    if (addList(Keyword::items, "items")) addOne(Keyword::items, "additionalItems");
    addMembers("properties");
    addMembers("patternProperties");
    addOne(Keyword::properties, "additionalProperties");
    const auto* const dependencies = schema.find("dependencies");
    if (dependencies != nullptr && dependencies->isObject()) {
        for (const auto& [name, child] : *dependencies->ifObject()) {
            if (const auto* const object = child.ifObject())
                addEdge(Keyword::dependencies, nodeOf({object, node, "dependencies", name}));
        }
    }
    nodes_[node].edgeCount = static_cast<Position>(edges_.size()) - nodes_[node].firstEdge;
}

void SchemaGraph::addReference(Position node, std::string_view reference) {
    if (reference == "#") return addEdge(Keyword::reference, 0);
    const JSONObject* target = nullptr;
    std::string failure, pointer;
    const auto path =
        reference.starts_with("#/") ? percentDecoded(reference.substr(2)) : std::nullopt;
    if (path && isValidUTF8(*path)) target = follow(*path, pointer, failure);
    if (target != nullptr) {
        const auto found = nodeOf({target, noIndex});
        if (nodes_[found].parent == noIndex) targets_.try_emplace(found, std::move(pointer));
        return addEdge(Keyword::reference, found);
    }
    nodes_[node].failure = static_cast<std::uint32_t>(failures_.size());
    failures_.push_back(std::move(failure));
}

const JSONObject* SchemaGraph::follow(std::string_view path, std::string& pointer,
                                      std::string& failure) {
    const auto* current = &document_;
    std::optional<std::string_view> rest = path;
    const auto take = [&rest] {
        const auto component = rest->substr(0, rest->find('/'));
        rest = component.size() == rest->size() ? std::nullopt
                                                : std::optional(rest->substr(component.size() + 1));
        return component;
    };
    const auto enter = [&pointer](std::string_view component) {
        if (mayExtend(pointer, component)) pointer = childPointer(pointer, component);
    };
    const auto elementNamed = [this, &enter](std::string_view component,
                                             const JSONArray& list) -> const JSONObject* {
        if (component.starts_with('+') && !component.starts_with("+-")) component.remove_prefix(1);
        std::int64_t index = 0;
        const auto* const last = component.data() + component.size();
        const auto [end, error] = std::from_chars(component.data(), last, index);
        if (error != std::errc() || end != last || index < 0) return nullptr;
        const auto position = static_cast<std::size_t>(index);
        if (position >= list.size()) return nullptr;
        const auto [known, isNew] = holdsObjectsOnly_.try_emplace(&list, false);
        if (isNew) {
            known->second = std::all_of(list.begin(), list.end(),
                                        [](const JSONValue& each) { return each.isObject(); });
        }
        enter(std::to_string(index));
        return known->second ? list[position].ifObject() : nullptr;
    };
    while (rest) {
        const auto component = take();
        const auto* const value = current->find(component);
        enter(component);
        current = value == nullptr ? nullptr : value->ifObject();
        if (value != nullptr && value->isArray() && rest)
            current = elementNamed(take(), *value->ifArray());
        if (current == nullptr) {
            failure = "Reference not found '";
            failure.append(component).append("' in '").append(path).append("'");
            return nullptr;
        }
    }
    return current;
}

std::string SchemaGraph::pointer(Position node,
                                 std::initializer_list<std::string_view> inside) const {
    std::vector<Position> path;
    for (; node != 0 && !targets_.contains(node); node = nodes_[node].parent)
        path.push_back(node);
    auto pointer = node == 0 ? std::string() : targets_.at(node);
    for (auto each = path.rbegin(); each != path.rend(); ++each) {
        const auto& entered = nodes_[*each];
        const auto name =
            entered.index == noIndex ? std::string(entered.name) : std::to_string(entered.index);
        const bool hasName = entered.index != noIndex || entered.name.data() != nullptr;
        if (!mayExtend(pointer, std::string(entered.keyword) + '/' + name)) return pointer;
        pointer = childPointer(pointer, entered.keyword);
        if (hasName) pointer = childPointer(pointer, name);
    }
    for (const auto component : inside) {
        if (!mayExtend(pointer, component)) break;
        pointer = childPointer(pointer, component);
    }
    return pointer;
}

/// Finds the strongly connected components of the edges on the same value; those that a node leads
/// to come first.
void SchemaGraph::sort() {
    constexpr std::uint32_t unseen = 0;
    constexpr std::uint32_t settled = 0xFFFF'FFFF;
    std::vector<std::uint32_t> seen(nodes_.size(), unseen);  // in the order of discovery
    std::vector<std::uint32_t> lowest(nodes_.size());
    std::vector<Position> open;  // not settled yet
    struct Visit {
        Position node;
        std::uint32_t edge;
    };
    std::vector<Visit> visits;
    std::uint32_t count = 0;
    std::uint32_t loops = 0;
    loops_.assign(nodes_.size(), 0);
    order_.reserve(nodes_.size());
    const auto enter = [&](Position node) {
        seen[node] = lowest[node] = ++count;
        open.push_back(node);
        visits.push_back({node, 0});
    };
    const auto settle = [&](Position node) {
        const bool isAlone = open.back() == node;
        const auto leadsToItself = [&] {
            const auto out = edges(node);
            return std::any_of(out.begin(), out.end(), [node](const Edge& edge) {
                return edge.isSameValue() && edge.target == node;
            });
        };
        const auto loop = !isAlone || leadsToItself() ? ++loops : 0;
        for (Position last = node + 1; last != node;) {
            last = open.back();
            open.pop_back();
            seen[last] = settled;
            loops_[last] = loop;
            order_.push_back(last);
            if (last == node) break;
        }
    };
    for (Position root = 0; root < nodes_.size(); ++root) {
        if (seen[root] != unseen) continue;
        enter(root);
        while (!visits.empty()) {
            const auto node = visits.back().node;
            const auto out = edges(node);
            auto& next = visits.back().edge;
            while (next < out.size() && !out[next].isSameValue())
                ++next;
            if (next < out.size()) {
                const auto target = out[next++].target;
                if (seen[target] == unseen) {
                    enter(target);
                } else if (seen[target] != settled) {
                    lowest[node] = std::min(lowest[node], seen[target]);
                }
                continue;
            }
            if (lowest[node] == seen[node]) settle(node);
            visits.pop_back();
            if (!visits.empty()) {
                auto& outer = lowest[visits.back().node];
                outer = std::min(outer, lowest[node]);
            }
        }
    }
}

}  // namespace zentara::schemas
