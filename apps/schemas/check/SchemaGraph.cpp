#include "schemas/check/SchemaGraph.h"

#include <algorithm>

#include "schemas/KeywordValues.h"
#include "schemas/files/SourceMap.h"

namespace zentara::schemas {

SchemaGraph::SchemaGraph(const JSONObject& document) : references_(document) {
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
        const auto* const child = schemaOf(schema.find(spelling));
        if (child != nullptr) addEdge(keyword, nodeOf({child, node, spelling}));
    };
    const auto addList = [&](Keyword keyword, std::string_view spelling) {
        const auto* const list = schemasOf(schema.find(spelling));
        for (std::uint32_t i = 0; list != nullptr && i < list->size(); ++i)
            addEdge(keyword, nodeOf({(*list)[i].ifObject(), node, spelling, {}, i}));
        return list != nullptr;
    };
    const auto addMembers = [&](std::string_view spelling) {
        const auto* const members = namedSchemasOf(schema.find(spelling));
        if (members == nullptr) return;
        for (const auto& [name, child] : *members)
            addEdge(Keyword::properties, nodeOf({child.ifObject(), node, spelling, name}));
    };
    if (const auto reference = textOf(schema.find("$ref"))) addReference(node, *reference);
    addList(Keyword::allOf, "allOf");
    addList(Keyword::anyOf, "anyOf");
    addList(Keyword::oneOf, "oneOf");
    addOne(Keyword::negation, "not");
    addOne(Keyword::items, "items");
    if (addList(Keyword::items, "items")) addOne(Keyword::items, "additionalItems");
    addMembers("properties");
    addMembers("patternProperties");
    addOne(Keyword::properties, "additionalProperties");
    if (const auto* const dependencies = schemaOf(schema.find("dependencies"))) {
        for (const auto& [name, child] : *dependencies) {
            if (const auto* const object = child.ifObject())
                addEdge(Keyword::dependencies, nodeOf({object, node, "dependencies", name}));
        }
    }
    nodes_[node].edgeCount = static_cast<Position>(edges_.size()) - nodes_[node].firstEdge;
}

void SchemaGraph::addReference(Position node, std::string_view reference) {
    std::vector<std::string> path;
    const auto target = references_.follow(reference, &path);
    if (target.schema == nullptr) {
        nodes_[node].fault = target.isRemote ? ReferenceFault::remote : ReferenceFault::notFound;
        return;
    }
    const auto found = nodeOf({target.schema, noIndex});
    if (nodes_[found].parent == noIndex) targets_.try_emplace(found, pointerTo(path));
    addEdge(Keyword::reference, found);
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
