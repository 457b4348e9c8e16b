#include "schemas/diff/Comparison.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <utility>

#include "schemas/diff/Decision.h"
#include "schemas/diff/Walk.h"

namespace zentara::schemas {

using diff::Search;
using diff::Walk;

namespace {

/// The value with the place at the end of the path, which is added where it is missing.
JSONValue& placeIn(JSONValue& value, const std::vector<Walk::Step>& path) {
    auto* place = &value;
    for (const auto& step : path) {
        if (step.member) {
            if (!place->isObject()) *place = JSONObject();
            place = &(*place->ifObject())[*step.member];
        } else {
            if (!place->isArray()) *place = JSONArray();
            auto& list = *place->ifArray();
            while (list.size() <= step.element)
                list.push_back(list.empty() ? JSONValue() : JSONValue(list.front()));
            place = &list[step.element];
        }
    }
    return *place;
}

/// Tries values of the whole schema that hold, at its place, what only one of the schemas accepts
/// there.
bool tryWholes(const JSONValue& base, const Walk::Witness& witness, const JSONValue& part,
               const Search::Try& tryValue) {
    auto whole = base;
    placeIn(whole, witness.path) = part;
    if (tryValue(whole)) return true;
    const auto* const members = part.ifObject();
    if (members == nullptr) return false;
    // The place may have to hold more than what matters to the difference.
    whole = base;
    auto& place = placeIn(whole, witness.path);
    if (!place.isObject()) place = JSONObject();
    if (!witness.member.empty() && !members->contains(witness.member)) {
        place.ifObject()->erase(witness.member);
        if (tryValue(whole)) return true;
    }
    for (const auto& [key, value] : *members)
        place.ifObject()->set(key, value);
    return tryValue(whole);
}

void tryWholes(const std::vector<Walk::Witness>& witnesses, const JSONObject& document,
               Sampler::Values values, std::optional<JSONValue> Walk::Witness::*part,
               const Search::Try& tryValue) {
    constexpr int mostBases = 5;
    const auto hasPart = [part](const Walk::Witness& each) {
        return (each.*part).has_value();
    };
    if (std::none_of(witnesses.begin(), witnesses.end(), hasPart) || !diff::canBeDrawn(document))
        return;
    Sampler sampler(document, 3, values);
    for (int i = 0; i < mostBases; ++i) {
        const auto base = sampler.valid();
        if (!base) return;
        for (const auto& witness : witnesses) {
            if (hasPart(witness) && tryWholes(*base, witness, *(witness.*part), tryValue)) return;
        }
    }
}

}  // namespace

std::string_view changeName(Change change) noexcept {
    constexpr std::array<std::string_view, 6> names = {"none",     "compatible", "wider",
                                                       "narrower", "both",       "unknown"};
    return names[static_cast<std::size_t>(change)];
}

Comparison compare(const JSONObject& before, const JSONObject& after, Sampler::Values values) {
    Comparison comparison;
    if (before == after) return comparison;
    const auto now = std::chrono::steady_clock::now();
    Walk walk(before, after, values, now + std::chrono::milliseconds(500));
    walk.run();
    Search search;
    search.values = values;
    search.draws = 150;
    search.deadline = now + std::chrono::milliseconds(1200);
    search.first = [&](bool isForOld, const Search::Try& tryValue) {
        tryWholes(walk.witnesses(), isForOld ? before : after, values,
                  isForOld ? &Walk::Witness::onlyOld : &Walk::Witness::onlyNew, tryValue);
    };
    auto decision = diff::decide(before, after, search);
    comparison.differences = std::move(walk.differences());
    comparison.change = decision.change;
    comparison.onlyOld = std::move(decision.onlyOld);
    comparison.onlyNew = std::move(decision.onlyNew);
    const bool isForPeople =
        std::all_of(comparison.differences.begin(), comparison.differences.end(),
                    [](const Difference& each) { return each.change == Change::none; });
    if (comparison.change == Change::compatible && isForPeople) comparison.change = Change::none;
    return comparison;
}

}  // namespace zentara::schemas
