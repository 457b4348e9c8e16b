#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <tuple>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

#include "json/JSONValue.h"
#include "schemas/KeywordValues.h"
#include "schemas/Schema.h"
#include "schemas/SchemaNodes.h"
#include "schemas/diff/Document.h"
#include "support/WorkLimits.h"

namespace zentara::schemas::diff {

/// Proves that one document accepts every value that another accepts, apart from the engine's
/// bounds on work. What it proves is so; it does not find every proof. The proof is an induction
/// over the values: it compares what the outer document requires, keyword by keyword, with what the
/// inner one guarantees.
class Inclusion {
  public:
    /// The documents must outlive this object. A proof that takes more steps is given up.
    Inclusion(const Document& outer, const Document& inner, std::int64_t steps = 3'000'000);
    ~Inclusion();
    Inclusion(const Inclusion&) = delete;
    Inclusion& operator=(const Inclusion&) = delete;

    /// Whether every value of the inner document that is of these kinds is proven to be accepted by
    /// the outer one.
    [[nodiscard]] bool isProven(unsigned kinds = kinds::all);

    /// Whether a schema of the outer and one of the inner document are written alike, and so is
    /// what their references lead to.
    [[nodiscard]] bool isSame(const JSONObject& outer, const JSONObject& inner);

  private:
    /// "properties", "patternProperties" and "additionalProperties" of a schema.
    struct Members {
        const JSONObject* named = nullptr;
        const JSONObject* patterns = nullptr;
        Additional additional;
    };
    /// "items" and "additionalItems" of a schema.
    struct Items {
        const JSONArray* positional = nullptr;
        Additional others;
    };
    /// Schemas of the inner document that hold together, and what follows from them. With a `$ref`
    /// or "allOf" its subschemas are among the parts.
    struct Conjunction {
        std::vector<const JSONObject*> parts;
        std::vector<const JSONArray*> split;    ///< "anyOf" and "oneOf" with a part for them
        std::vector<std::string_view> present;  ///< keys that the object is known to have

        unsigned kinds = kinds::all;  ///< of the values that may be accepted
        double lower, upper;
        bool isLowerOpen = false, isUpperOpen = false;
        std::int64_t minLength = 0, maxLength, minItems = 0, maxItems, minProperties = 0,
                     maxProperties;
        bool hasUniqueItems = false;
        std::vector<double> multiples;
        std::set<std::string_view> formats, patterns, required;
        std::vector<Members> members;
        std::vector<Items> items;
        const JSONArray* values = nullptr;  ///< the shortest "enum"
    };
    struct Goal {
        const JSONObject* outer;
        const Conjunction* inner;
        unsigned kinds;

        friend auto operator<=>(const Goal&, const Goal&) = default;
    };
    struct Open {
        std::size_t position;  ///< among the open goals
        std::size_t level;     ///< of the value
    };

    bool isProven(const JSONObject& inner, unsigned kinds, const JSONObject& outer);
    bool holds(const Conjunction& inner, unsigned kinds, const JSONObject& outer);
    bool holdsByKeywords(const Conjunction& inner, unsigned kinds, const JSONObject& outer);
    bool holdsByCases(const Conjunction& inner, unsigned kinds, const JSONObject& outer);
    bool holdsForValues(const Conjunction& inner, unsigned kinds, const JSONObject& outer);

    // The keywords of the outer schema.
    bool formatHolds(const Conjunction& inner, unsigned kinds, const JSONObject& outer);
    bool combinationsHold(const Conjunction& inner, unsigned kinds, const JSONObject& outer);
    bool oneOfHolds(const Conjunction& inner, unsigned kinds, const JSONArray& alternatives);
    bool notHolds(const Conjunction& inner, unsigned kinds, const JSONObject& excluded);
    bool numbersHold(const Conjunction& inner, unsigned kinds, const JSONObject& outer);
    bool sizesHold(const Conjunction& inner, unsigned kinds, const JSONObject& outer);
    bool itemsHold(const Conjunction& inner, const JSONObject& outer);
    bool membersHold(const Conjunction& inner, const JSONObject& outer);
    bool otherMembersHold(const Conjunction& inner, const Members& outer,
                          std::optional<std::string_view> pattern, const Additional& wanted);
    bool dependenciesHold(const Conjunction& inner, const JSONObject& outer);

    const Conjunction& conjunction(std::vector<const JSONObject*> parts,
                                   std::vector<const JSONArray*> split = {},
                                   std::vector<std::string_view> present = {});
    void addPart(Conjunction& all, const JSONObject& part);
    void addBounds(Conjunction& all, const JSONObject& part);
    static void removeEmptyKinds(Conjunction& all);
    /// Null if no accepted object has such a key.
    const Conjunction* member(const Conjunction& object, std::string_view name);
    const Conjunction* element(const Conjunction& array, std::size_t position);

    bool isWrittenAlike(const JSONObject& outer, const JSONObject& inner);
    bool isWrittenAlike(const JSONValue& outer, const JSONValue& inner);
    bool refersToChanges(const JSONObject& inner);
    bool refersToChanges(const JSONValue& inner);
    void findChangedReferences();
    bool isEquivalent(const JSONObject& outer, const JSONObject& inner);
    /// Whether the inner document accepts what the outer one accepts, of these schemas.
    bool reverseHolds(const JSONObject& inner, const JSONObject& outer);

    bool accepts(const Document& document, const JSONObject& schema, const JSONValue& value);
    bool matches(std::string_view pattern, std::string_view text);
    bool isValidPattern(std::string_view pattern);
    bool spend(std::int64_t steps) { return (steps_ -= steps) > 0; }

    const Document& outer_;
    const Document& inner_;
    int reversals_ = 0;  ///< how many proofs this one is part of
    std::int64_t steps_;
    WorkAllowance patternWork_;
    SharedExpressions expressions_;

    using ConjunctionKey = std::tuple<std::vector<const JSONObject*>, std::vector<const JSONArray*>,
                                      std::vector<std::string_view>>;
    std::map<ConjunctionKey, std::unique_ptr<Conjunction>> conjunctions_;
    std::map<Goal, bool> known_;
    std::map<Goal, Open> open_;
    std::size_t level_ = 0;
    std::size_t firstAssumed_;  ///< the outermost open goal that the current one relies on

    bool knowsReferences_ = false;
    std::unordered_set<std::string_view> changedReferences_;
    bool allReferencesChanged_ = false;
    struct PairHash {
        std::size_t operator()(const std::pair<const JSONObject*, const JSONObject*>& pair) const {
            return std::hash<const void*>()(pair.first) * 31 +
                   std::hash<const void*>()(pair.second);
        }
    };
    std::unordered_map<std::pair<const JSONObject*, const JSONObject*>, bool, PairHash> alike_;
    std::unordered_map<const JSONObject*, bool> refersToChanges_;
    std::map<std::pair<const Document*, const JSONObject*>, std::unique_ptr<const SchemaNodes>>
        compiled_;
    std::unique_ptr<Inclusion> reverse_;
};

}  // namespace zentara::schemas::diff
