#pragma once

#include <cstdint>
#include <initializer_list>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "json/JSONValue.h"
#include "schemas/References.h"
#include "schemas/SchemaNodes.h"

namespace zentara::schemas {

/// The subschemas that the engine can reach from the root of a document, and how it goes from each
/// to the others. Refers to the document. Built in linear time, without recursion.
class SchemaGraph {
  public:
    using Position = std::uint32_t;

    /// From a subschema to another. The edges of a node are in the order of the engine's checks.
    struct Edge {
        Keyword keyword;
        Position target;

        /// Whether the target is applied to the same value.
        [[nodiscard]] bool isSameValue() const noexcept {
            return keyword != Keyword::items && keyword != Keyword::properties;
        }
    };
    /// Why a "$ref" has no target.
    enum class ReferenceFault : std::uint8_t { none, notFound, remote };
    struct Node {
        const JSONObject* schema;
        Position parent;  ///< the node that it was found in
        std::string_view keyword = {}, name = {};
        std::uint32_t index = noIndex;
        Position firstEdge = 0, edgeCount = 0;
        ReferenceFault fault = ReferenceFault::none;
    };
    static constexpr std::uint32_t noIndex = 0xFFFF'FFFF;

    explicit SchemaGraph(const JSONObject& document);
    SchemaGraph(const SchemaGraph&) = delete;
    SchemaGraph& operator=(const SchemaGraph&) = delete;

    [[nodiscard]] std::span<const Node> nodes() const noexcept { return nodes_; }
    [[nodiscard]] std::span<const Edge> edges(Position node) const noexcept {
        return std::span(edges_).subspan(nodes_[node].firstEdge, nodes_[node].edgeCount);
    }
    [[nodiscard]] bool contains(const JSONObject& schema) const noexcept {
        return positions_.contains(&schema);
    }
    /// To a node, or to what is inside of it; to the nearest value around if it is long.
    [[nodiscard]] std::string pointer(Position node,
                                      std::initializer_list<std::string_view> inside = {}) const;

    /// The nodes such that each comes behind the nodes that it applies to the same value, if it
    /// does not lead back to itself.
    [[nodiscard]] const std::vector<Position>& order() const noexcept { return order_; }
    /// Whether the node leads back to itself on the same value.
    [[nodiscard]] bool isEndless(Position node) const noexcept { return loops_[node] != 0; }
    /// The nodes that lead back to each other have the same number.
    [[nodiscard]] std::uint32_t loop(Position node) const noexcept { return loops_[node]; }

  private:
    void expand(Position node);
    void addEdge(Keyword keyword, Position target) { edges_.push_back({keyword, target}); }
    Position nodeOf(const Node& node);
    void addReference(Position node, std::string_view reference);
    void sort();

    References references_;
    std::vector<Node> nodes_;
    std::vector<Edge> edges_;
    std::unordered_map<const JSONObject*, Position> positions_;
    std::unordered_map<Position, std::string> targets_;  ///< pointers of what a "$ref" found
    std::vector<Position> order_;
    std::vector<std::uint32_t> loops_;
};

}  // namespace zentara::schemas
