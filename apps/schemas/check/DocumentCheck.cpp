#include "schemas/check/DocumentCheck.h"

#include <algorithm>
#include <cmath>
#include <memory>
#include <optional>
#include <string>
#include <unordered_set>
#include <utility>
#include <vector>

#include "schemas/Format.h"
#include "schemas/Schema.h"
#include "schemas/SchemaCompiler.h"
#include "schemas/ValidationRun.h"
#include "schemas/check/FatalFormats.h"
#include "schemas/check/Phrases.h"

namespace zentara::schemas {

namespace {

/// Names a "$ref" of each loop, the one that was found first.
void reportLoops(const SchemaGraph& graph, FindingList& findings) {
    std::unordered_set<std::uint32_t> reported;
    for (SchemaGraph::Position node = 0; node < graph.nodes().size(); ++node) {
        const auto edges = graph.edges(node);
        const bool leadsBack = graph.isEndless(node) && !edges.empty() &&
                               edges.front().keyword == Keyword::reference &&
                               graph.loop(edges.front().target) == graph.loop(node);
        if (!leadsBack || !reported.insert(graph.loop(node)).second) continue;
        findings.add(RuleName::endlessReference, graph.pointer(node, {"$ref"}),
                     "It leads back to itself on the same value, where validation stops and "
                     "refuses the value.",
                     "Refer to it only from \"items\" or \"properties\", deeper in the value.");
    }
}

/// Measures the work of the engine for values that usually pass or fail late.
class CostMeter {
  public:
    struct Measured {
        std::int64_t units = 0;
        std::string_view value;  ///< what it is, for messages
    };

    CostMeter(const JSONObject& document, const SchemaGraph& graph)
        : document_(document), formats_(standardFormats().begin(), standardFormats().end()) {
        for (auto& format : formats_)
            format.otherKinds = Format::OtherKinds::accepted;
        constexpr std::size_t mostNames = 1000;
        JSONObject dependent;
        for (const auto& node : graph.nodes()) {
            if (node.keyword == "dependencies" && dependent.size() < mostNames)
                dependent.set(node.name, nullptr);
        }
        values_.emplace_back("an object with the names in \"dependencies\"", std::move(dependent));
    }

    /// The first value that takes `units`, or the costliest; nothing after too many measurements.
    [[nodiscard]] std::optional<Measured> find(const JSONObject& subschema, std::int64_t units) {
        if (left_ <= 0) return std::nullopt;
        left_ -= ValidationRun::maximumUnits / 8;
        SchemaCompiler compiler(document_, formats_, std::make_shared<SharedExpressions>());
        const auto nodes = compiler.compile(subschema);
        Measured most;
        for (const auto& [name, value] : values_) {
            ValidationRun run(*nodes);
            static_cast<void>(run.run(value));
            left_ -= run.units();
            if (run.units() > most.units) most = {run.units(), name};
            if (most.units >= units) break;
        }
        return most;
    }

  private:
    const JSONObject& document_;
    std::vector<Format> formats_;  ///< of which none ends the process
    std::vector<std::pair<std::string_view, JSONValue>> values_ = {
        {"null", nullptr},
        {"true", true},
        {"-1e300", -1e300},
        {"1e300", 1e300},
        {"an empty text", ""},
        {"a text of 1000 letters", std::string(1000, 'a')},
        {"an empty array", JSONArray()},
        {"an empty object", JSONObject()}};
    std::int64_t left_ = 2 * ValidationRun::maximumUnits;
};

/// Counts the subschemas that may be applied to one value, measures where they are many, and
/// reports the nesting.
void reportCosts(const JSONObject& document, const SchemaGraph& graph, FindingList& findings) {
    constexpr double unitsPerNode = 120;  // rather too many
    constexpr auto costly = ValidationRun::maximumUnits / 10;
    constexpr int deep = ValidationRun::maximumDepth / 2;
    struct Cost {
        double units = 0;
        int depth = 0;
    };
    CostMeter meter(document, graph);
    std::vector<Cost> costs(graph.nodes().size());
    for (const auto node : graph.order()) {
        Cost own{unitsPerNode, 0};
        Cost most;
        for (const auto& edge : graph.edges(node)) {
            own.depth = std::max(own.depth, 1);
            if (!edge.isSameValue() || graph.isEndless(node)) continue;
            const auto& part = costs[edge.target];
            own.units = std::min(own.units + part.units, 1e18);
            own.depth = std::max(own.depth, part.depth + 1);
            most = {std::max(most.units, part.units), std::max(most.depth, part.depth)};
        }
        std::string value = "By the number of subschemas, a value may take ";
        // Report only the innermost.
        if (own.units >= costly && most.units < costly) {
            if (const auto measured = meter.find(*graph.nodes()[node].schema, costly)) {
                own.units = static_cast<double>(measured->units);
                value = "Here, " + std::string(measured->value) + " takes ";
            }
        }
        costs[node] = own;
        if (own.units >= costly && most.units < costly) {
            const auto percent = std::min(100.0, 100 * own.units / ValidationRun::maximumUnits);
            findings.add(RuleName::costlyShape, graph.pointer(node),
                         value + shown(std::floor(percent)) +
                             "% of the most work of a validation; beyond it validation stops and "
                             "refuses the value.",
                         "Refer to a schema once rather than from several alternatives.");
        }
        if (own.depth > deep && most.depth <= deep) {
            findings.add(RuleName::costlyShape, graph.pointer(node),
                         "More than " + std::to_string(deep) +
                             " subschemas nest on the same value; beyond " +
                             std::to_string(ValidationRun::maximumDepth) +
                             " validation stops and refuses the value.",
                         "Refer to the last schema directly.");
        }
    }
}

void reportFatalFormats(const SchemaGraph& graph, std::span<const Summary> summaries,
                        FindingList& findings) {
    for (const auto& each : fatalFormats(graph, summaries)) {
        const auto pointer = graph.pointer(each.node, {"format"});
        const bool isFault = each.permitted != 0;
        findings.add(
            isFault ? RuleName::fatalFormat : RuleName::fatalForInvalid, pointer,
            isFault ? "The schema may permit " + namesOf(each.permitted) +
                          " here, and "
                          "numericString ends the process for a value that is not a string."
                    : "The format is checked before the type: an invalid event with " +
                          namesOf(each.reached) + " here ends the process.",
            std::string("Write \"type\": \"string\" with \"pattern\": \"^[0-9]*[.][0-9]+$\", which "
                        "refuses such a value") +
                (isFault ? "." : " with a message."));
    }
}

void reportDefinitions(const JSONObject& document, std::string_view keyword,
                       const SchemaGraph& graph, FindingList& findings) {
    const auto* const value = document.find(keyword);
    const auto* const definitions = value == nullptr ? nullptr : value->ifObject();
    if (definitions == nullptr) return;
    for (const auto& [name, definition] : *definitions) {
        std::vector<const JSONValue*> inside{&definition};
        bool isUsed = !definition.isObject();
        while (!inside.empty() && !isUsed) {
            const auto& each = *inside.back();
            inside.pop_back();
            if (const auto* const object = each.ifObject()) {
                isUsed = graph.contains(*object);
                for (const auto& member : *object)
                    inside.push_back(&member.value());
            } else if (const auto* const list = each.ifArray()) {
                for (const auto& element : *list)
                    inside.push_back(&element);
            }
        }
        if (isUsed) continue;
        findings.add(RuleName::unusedDefinition, childPointer(childPointer("", keyword), name),
                     "No reference leads here from the root, so the engine never reads it.",
                     "Refer to it, or remove it.");
    }
}

void reportDraft(const JSONObject& document, FindingList& findings) {
    const auto* const declared = document.find("$schema");
    const auto text = declared == nullptr ? std::nullopt : declared->ifString();
    if (!text || text->find("json-schema.org") == std::string_view::npos ||
        text->find("draft-04") != std::string_view::npos)
        return;
    findings.add(RuleName::otherDraft, "/$schema",
                 "The engine reads every schema as draft 4, whatever it declares.",
                 "Write \"http://json-schema.org/draft-04/schema#\".");
}

}  // namespace

void checkDocument(const JSONObject& document, const SchemaGraph& graph,
                   std::span<const Summary> summaries, FindingList& findings) {
    reportLoops(graph, findings);
    reportCosts(document, graph, findings);
    reportFatalFormats(graph, summaries, findings);
    reportDefinitions(document, "definitions", graph, findings);
    reportDefinitions(document, "$defs", graph, findings);
    reportDraft(document, findings);
}

}  // namespace zentara::schemas
