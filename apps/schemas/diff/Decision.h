#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>

#include "json/JSONValue.h"
#include "schemas/diff/Comparison.h"
#include "schemas/values/Sampler.h"

namespace zentara::schemas::diff {

/// What a change means, and the values that show it.
struct Decision {
    Change change = Change::unknown;
    std::optional<JSONValue> onlyOld, onlyNew;
};

/// What a decision may use beside the two documents.
struct Search {
    Sampler::Values values = Sampler::Values::any;
    int draws = 24;                  ///< of each document
    std::int64_t steps = 3'000'000;  ///< of each proof
    /// A search that takes long ends without a result.
    std::chrono::steady_clock::time_point deadline;
    /// Calls its second argument with values to try first, until it returns true.
    using Try = std::function<bool(const JSONValue&)>;
    std::function<void(bool isForOld, const Try&)> first;
};

/// Whether values can be drawn for a document. Not if a pattern might take long for each.
[[nodiscard]] bool canBeDrawn(const JSONObject& document);

/// Decides by proofs of both directions and, for what is not proven, a search for a value that
/// refutes it. Never `Change::none`.
[[nodiscard]] Decision decide(const JSONObject& before, const JSONObject& after,
                              const Search& search);

}  // namespace zentara::schemas::diff
