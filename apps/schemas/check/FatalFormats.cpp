#include "schemas/check/FatalFormats.h"

#include <algorithm>
#include <array>
#include <deque>

namespace zentara::schemas {

namespace {

using Kinds = std::uint16_t;

constexpr Kinds both(Kinds one, Kinds other) noexcept {
    return static_cast<Kinds>(one & other);
}
constexpr Kinds without(Kinds one, Kinds other) noexcept {
    return static_cast<Kinds>(one & ~other);
}

/// The kinds of values that a subschema is applied to.
struct State {
    Kinds evaluated = 0;
    Kinds live = 0;         ///< the subschemas around may accept them
    Kinds alternative = 0;  ///< they may be valid even if this subschema refuses them

    bool add(const State& other) noexcept {
        const auto before = *this;
        evaluated |= other.evaluated;
        live |= other.live;
        alternative |= other.alternative;
        return evaluated != before.evaluated || live != before.live ||
               alternative != before.alternative;
    }
    [[nodiscard]] State of(Kinds kinds) const noexcept {
        return {kinds, both(live, kinds), both(alternative, kinds)};
    }
};

class Flow {
  public:
    Flow(const SchemaGraph& graph, std::span<const Summary> summaries)
        : graph_(graph), summaries_(summaries), states_(graph.nodes().size()) {}

    void run() {
        push(0, loud, {kinds::object, kinds::object, 0});
        while (!waiting_.empty()) {
            const auto [node, mode] = waiting_.front();
            waiting_.pop_front();
            states_[node].isWaiting[mode] = false;
            process(node, mode);
        }
    }

    [[nodiscard]] std::vector<FatalFormat> found() const {
        std::vector<FatalFormat> all;
        for (SchemaGraph::Position node = 0; node < states_.size(); ++node) {
            const auto& state = states_[node];
            if (state.reached != 0) all.push_back({node, state.reached, state.permitted});
        }
        return all;
    }

  private:
    static constexpr std::size_t loud = 0;
    static constexpr std::size_t silent = 1;  // a subschema ends at its first failure

    struct NodeState {
        std::array<State, 2> byMode;
        std::array<bool, 2> isWaiting{};
        Kinds reached = 0, permitted = 0;
    };
    struct Waiting {
        SchemaGraph::Position node;
        std::size_t mode;
    };

    void push(SchemaGraph::Position node, std::size_t mode, const State& added) {
        auto& state = states_[node];
        if (!state.byMode[mode].add(added) || state.isWaiting[mode]) return;
        state.isWaiting[mode] = true;
        waiting_.push_back({node, mode});
    }

    void process(SchemaGraph::Position node, std::size_t mode) {
        auto state = states_[node].byMode[mode];
        const auto& own = summaries_[node];
        state.live = without(state.live, without(own.fails, state.alternative));
        auto& evaluated = state.evaluated;
        if (own.isFatal) {
            const auto reached = without(evaluated, kinds::string);
            states_[node].reached |= reached;
            states_[node].permitted |= both(reached, state.live);
            evaluated = both(evaluated, kinds::string);
        }
        const auto failed = [&](Kinds fails) {
            if (mode == silent) evaluated = without(evaluated, fails);
        };
        if (own.failsFirst) failed(kinds::all);
        const auto edges = graph_.edges(node);
        bool isTypeChecked = false;
        const auto checkType = [&] {
            if (!isTypeChecked) failed(without(kinds::all, own.accepted));
            isTypeChecked = true;
        };
        if (graph_.nodes()[node].fault != SchemaGraph::ReferenceFault::none) failed(kinds::all);
        for (std::size_t i = 0; i < edges.size();) {
            const auto keyword = edges[i].keyword;
            if (keyword != Keyword::reference) checkType();
            auto end = i;
            while (end < edges.size() && edges[end].keyword == keyword)
                ++end;
            const auto same = edges.subspan(i, end - i);
            i = end;
            if (keyword == Keyword::anyOf || keyword == Keyword::oneOf) {
                choose(same, state, failed);
                continue;
            }
            for (const auto& edge : same) {
                const auto& target = summaries_[edge.target];
                if (keyword == Keyword::negation) {
                    push(edge.target, silent, {evaluated, both(state.live, evaluated), evaluated});
                    failed(target.passes);
                } else if (keyword == Keyword::dependencies) {
                    push(edge.target, mode, state.of(both(evaluated, kinds::object)));
                } else if (!edge.isSameValue()) {
                    enter(edge, mode, state);
                } else {
                    push(edge.target, mode, state.of(evaluated));
                    failed(target.fails);
                }
            }
        }
    }

    /// Elements and members may be of any kind.
    void enter(const SchemaGraph::Edge& edge, std::size_t mode, const State& state) {
        const auto outer = edge.keyword == Keyword::items ? kinds::array : kinds::object;
        const auto all = [outer](Kinds kinds) -> Kinds {
            return (kinds & outer) != 0 ? kinds::all : 0;
        };
        if ((state.evaluated & outer) == 0) return;
        push(edge.target, mode, {kinds::all, all(state.live), all(state.alternative)});
    }

    template <typename Failed>
    void choose(std::span<const SchemaGraph::Edge> edges, const State& state,
                const Failed& failed) {
        const bool isAny = edges.front().keyword == Keyword::anyOf;
        Kinds once = 0, several = 0;          // that so many subschemas may accept
        Kinds passOnce = 0, passSeveral = 0;  // that so many accept
        for (const auto& edge : edges) {
            const auto& target = summaries_[edge.target];
            const auto may = without(kinds::all, target.fails);
            several |= both(once, may);
            once |= may;
            passSeveral |= both(passOnce, target.passes);
            passOnce |= target.passes;
        }
        auto left = state.evaluated;
        for (const auto& edge : edges) {
            const auto& target = summaries_[edge.target];
            const auto others = static_cast<Kinds>(several | both(once, target.fails));
            auto added = state.of(left);
            added.alternative |= both(left, others);
            push(edge.target, silent, added);
            if (isAny) left = without(left, target.passes);
        }
        failed(without(kinds::all, once));
        if (!isAny) failed(passSeveral);
    }

    const SchemaGraph& graph_;
    const std::span<const Summary> summaries_;
    std::vector<NodeState> states_;
    std::deque<Waiting> waiting_;
};

}  // namespace

std::vector<FatalFormat> fatalFormats(const SchemaGraph& graph,
                                      std::span<const Summary> summaries) {
    const auto isFatal = [](const Summary& each) {
        return each.isFatal;
    };
    if (std::none_of(summaries.begin(), summaries.end(), isFatal)) return {};
    Flow flow(graph, summaries);
    flow.run();
    return flow.found();
}

}  // namespace zentara::schemas
