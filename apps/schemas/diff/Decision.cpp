#include "schemas/diff/Decision.h"
#include "schemas/KeywordValues.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "schemas/KeywordValues.h"
#include "schemas/Schema.h"
#include "schemas/diff/Document.h"
#include "schemas/diff/Inclusion.h"
#include "support/ASCII.h"
#include "support/WorkLimits.h"
#include "text/RegularExpression.h"

namespace zentara::schemas::diff {

namespace {

constexpr std::size_t mostVaried = 64;  ///< members of a value that are varied
constexpr std::int64_t longest = 5000;
constexpr int mostShrinks = 500;

/// Values at the bounds that the keywords of a schema set, for the value itself.
class BoundValues {
  public:
    explicit BoundValues(std::vector<JSONValue>& all) : all_(all) {}

    void addSamples() {
        for (const JSONValue& each :
             {JSONValue(nullptr), JSONValue(true), JSONValue(false), JSONValue(0), JSONValue(1),
              JSONValue(-1), JSONValue(7), JSONValue(2.0), JSONValue(1.5), JSONValue(1e30),
              JSONValue(""), JSONValue("a"), JSONValue("1.5"), JSONValue("some text"),
              JSONValue(JSONArray()), JSONValue(JSONArray{1, 1}), JSONValue(JSONArray{"a", 2}),
              JSONValue(JSONObject()), JSONValue(JSONObject{{"more", 1}})})
            all_.push_back(each);
    }

    // NOLINTNEXTLINE(misc-no-recursion)
    void add(const Document& document, const JSONObject& schema, int depth = 0) {
        if (depth == 4) return;
        if (const auto* const values = schema.find("enum");
            values != nullptr && values->isArray()) {
            const auto& list = *values->ifArray();
            all_.insert(all_.end(), list.begin(), list.begin() + std::min(list.size(), mostVaried));
        }
        for (const auto* const keyword : {"minimum", "maximum", "multipleOf"}) {
            const auto* const value = schema.find(keyword);
            if (const auto bound = value == nullptr ? std::nullopt : value->asDouble())
                addNumbers(*bound);
        }
        for (const auto* const keyword :
             {"minLength", "maxLength", "minItems", "maxItems", "minProperties", "maxProperties"}) {
            const auto* const value = schema.find(keyword);
            if (const auto size = value == nullptr ? std::nullopt : value->asInteger())
                addSizes(*size, std::string_view(keyword).substr(3));
        }
        if (const auto* const names = textsOf(schema.find("required"))) addObjects(*names);
        if (const auto* const dependencies = schemaOf(schema.find("dependencies"))) {
            for (const auto& [key, dependency] : *dependencies) {
                auto names = textsOf(&dependency) == nullptr ? JSONArray() : *textsOf(&dependency);
                names.push_back(key);
                addObjects(names);
            }
        }
        if (const auto reference = textOf(schema.find("$ref"))) {
            if (const auto* const target = document.target(*reference))
                add(document, *target, depth + 1);
        }
        for (const auto* const keyword : {"allOf", "anyOf", "oneOf"}) {
            const auto* const list = schemasOf(schema.find(keyword));
            if (list == nullptr || list->size() > mostVaried) continue;
            for (const auto& each : *list)
                add(document, *each.ifObject(), depth + 1);
        }
        if (const auto* const excluded = schemaOf(schema.find("not")))
            add(document, *excluded, depth + 1);
    }

  private:
    void addNumbers(double bound) {
        for (const double each : {bound, bound + 1, bound - 1, bound + 0.5, bound - 0.5, 2 * bound,
                                  std::nextafter(bound, -1e308), std::nextafter(bound, 1e308)}) {
            if (std::isfinite(each)) all_.push_back(each);
            if (std::abs(each) < 0x1p53 && std::floor(each) == each)
                all_.push_back(static_cast<std::int64_t>(each));
        }
    }

    void addSizes(std::int64_t size, std::string_view what) {
        if (size < 0 || size > longest) return;
        for (const auto each : {size - 1, size, size + 1}) {
            if (each < 0 || each > longest) continue;
            const auto count = static_cast<std::size_t>(each);
            if (what == "Length") {
                for (const char character : {'a', '1', 'A'})
                    all_.push_back(std::string(count, character));
            } else if (what == "Items") {
                JSONArray numbers;
                JSONArray texts;
                for (std::size_t i = 0; i < count; ++i) {
                    numbers.push_back(i);
                    texts.push_back(std::to_string(i));
                }
                all_.push_back(std::move(numbers));
                all_.push_back(std::move(texts));
            } else {
                JSONObject object;
                for (std::size_t i = 0; i < count; ++i)
                    object.set("p" + std::to_string(i), i);
                all_.push_back(std::move(object));
            }
        }
    }

    void addObjects(const JSONArray& names) {
        if (names.size() > mostVaried) return;
        JSONObject whole;
        for (const auto& name : names)
            whole.set(*name.ifString(), 1);
        for (const auto& name : names) {
            auto part = whole;
            part.erase(*name.ifString());
            all_.push_back(std::move(part));
        }
        all_.push_back(std::move(whole));
    }

    std::vector<JSONValue>& all_;
};

/// Looks for a value that one document accepts and the other refuses.
class Refutation {
  public:
    Refutation(const JSONObject& accepting, const JSONObject& refusing, const Search& search)
        : accepting_(JSONObject(accepting), stoppingFormats()),
          refusing_(JSONObject(refusing), stoppingFormats()),
          search_(search) {}

    [[nodiscard]] std::optional<JSONValue> find(bool isForOld, const JSONObject& accepting,
                                                const JSONObject& refusing) {
        if (search_.first) {
            search_.first(isForOld,
                          [this](const JSONValue& value) { return tryValue(value) || isOver(); });
        }
        if (!found_) search(accepting, refusing);
        if (found_) shrink(*found_);
        return std::move(found_);
    }

  private:
    void search(const JSONObject& accepting, const JSONObject& refusing) {
        std::vector<JSONValue> bounds;
        BoundValues all(bounds);
        if (search_.values == Sampler::Values::any) all.addSamples();
        all.add(Document(accepting), accepting);
        all.add(Document(refusing), refusing);
        if (std::any_of(bounds.begin(), bounds.end(),
                        [this](const JSONValue& each) { return tryValue(each) || isOver(); }))
            return;
        if (!canBeDrawn(accepting) || !canBeDrawn(refusing)) return;
        Sampler drawn(accepting, 1, search_.values);
        Sampler others(refusing, 2, search_.values);
        constexpr int mostFailures = 3;
        for (int draw = 0, failures = 0; draw < search_.draws && !isOver(); ++draw) {
            auto value = drawn.valid();
            if (!value && ++failures == mostFailures) break;
            if (value && (tryValue(*value) || (draw < 6 && tryVariants(*value)))) return;
        }
        for (int draw = 0; draw < search_.draws / 2 && !isOver(); ++draw) {
            const auto value = others.invalid();
            if (!value || tryValue(value->value)) return;
        }
    }

    [[nodiscard]] bool mayShrink() { return shrinks_++ < mostShrinks && !isOver(); }
    [[nodiscard]] bool isOver() const {
        return std::chrono::steady_clock::now() > search_.deadline;
    }

    bool tryValue(const JSONValue& value) {
        if (isOver()) return false;
        if (search_.values == Sampler::Values::properties && !value.isObject()) return false;
        if (!isRefutation(value)) return false;
        found_ = value;
        return true;
    }

    [[nodiscard]] bool isRefutation(const JSONValue& value) const {
        return accepting_.validate(value).valid() && !refusing_.validate(value).valid();
    }

    /// Takes away what does not matter, for people.
    // NOLINTNEXTLINE(misc-no-recursion)
    void shrink(JSONValue& part) {
        if (auto* const object = part.ifObject()) {
            for (std::size_t i = object->size(); i-- > 0 && mayShrink();) {
                const std::string key(object->begin()[i].key());
                auto kept = *object;
                object->erase(key);
                if (isRefutation(*found_)) continue;
                *object = std::move(kept);
                shrink(object->at(key));
            }
        } else if (auto* const list = part.ifArray()) {
            for (std::size_t i = list->size(); i-- > 0 && mayShrink();) {
                auto kept = *list;
                list->erase(list->begin() + i);
                if (isRefutation(*found_)) continue;
                *list = std::move(kept);
                shrink((*list)[i]);
            }
        }
    }

    /// The value with a change in one place.
    bool tryVariants(const JSONValue& value) {
        auto varied = value;
        if (auto* const object = varied.ifObject()) {
            std::size_t count = 0;
            for (const auto& member : *value.ifObject()) {
                if (++count > mostVaried) break;
                auto without = *value.ifObject();
                without.erase(member.key());
                if (tryValue(JSONValue(std::move(without)))) return true;
            }
            for (const JSONValue& extra : {JSONValue(1), JSONValue("a"), JSONValue(nullptr)}) {
                object->set("somethingElse", extra);
                if (tryValue(varied)) return true;
            }
            return false;
        }
        if (auto* const list = varied.ifArray()) {
            if (list->empty()) return false;
            list->push_back(JSONValue(list->front()));
            if (tryValue(varied)) return true;
            list->pop_back();
            list->pop_back();
            return tryValue(varied);
        }
        if (const auto text = value.ifString())
            return tryValue(std::string(*text) + 'a') ||
                   tryValue(text->substr(0, text->size() / 2));
        if (const auto integer = value.ifInteger())
            return tryValue(static_cast<double>(*integer)) || tryValue(-*integer / 2);
        return false;
    }

    const Schema accepting_, refusing_;
    const Search& search_;
    std::optional<JSONValue> found_;
    int shrinks_ = 0;
};

void collectPatterns(const JSONObject& schema, std::set<std::string_view>& patterns);

// NOLINTNEXTLINE(misc-no-recursion)
void collectPatterns(const JSONValue& value, std::set<std::string_view>& patterns) {
    if (const auto* const object = value.ifObject()) collectPatterns(*object, patterns);
    if (const auto* const list = value.ifArray()) {
        for (const auto& each : *list)
            collectPatterns(each, patterns);
    }
}

// NOLINTNEXTLINE(misc-no-recursion)
void collectPatterns(const JSONObject& schema, std::set<std::string_view>& patterns) {
    if (const auto pattern = textOf(schema.find("pattern"))) patterns.insert(*pattern);
    if (const auto* const table = namedSchemasOf(schema.find("patternProperties"))) {
        for (const auto& each : *table)
            patterns.insert(each.key());
    }
    for (const auto& member : schema)
        collectPatterns(member.value(), patterns);
}

}  // namespace

bool canBeDrawn(const JSONObject& document) {
    // Long runs of a character make bad patterns slow.
    constexpr std::size_t length = 30;
    constexpr std::size_t mostCharacters = 8;
    WorkAllowance allowance(50'000'000);
    std::set<std::string_view> patterns;
    collectPatterns(document, patterns);
    for (const auto pattern : patterns) {
        const RegularExpression expression(pattern);
        std::set<char> characters;
        for (const char character : pattern) {
            if (isLetter(character) || isDigit(character)) characters.insert(character);
            if (characters.size() == mostCharacters) break;
        }
        for (const char character : characters) {
            static_cast<void>(expression.matches(std::string(length, character) + '!', &allowance));
            if (allowance.exhausted()) return false;
        }
    }
    return true;
}

Decision decide(const JSONObject& before, const JSONObject& after, const Search& search) {
    const Document oldDocument(before);
    const Document newDocument(after);
    const unsigned kinds =
        search.values == Sampler::Values::properties ? unsigned{kinds::object} : kinds::all;
    const bool isKept = Inclusion(newDocument, oldDocument, search.steps).isProven(kinds);
    const bool isNothingNew = Inclusion(oldDocument, newDocument, search.steps).isProven(kinds);
    Decision decision;
    if (!isKept) decision.onlyOld = Refutation(before, after, search).find(true, before, after);
    if (!isNothingNew)
        decision.onlyNew = Refutation(after, before, search).find(false, after, before);
    if (decision.onlyOld) {
        decision.change = decision.onlyNew ? Change::both : Change::narrower;
    } else if (isKept) {
        decision.change = isNothingNew ? Change::compatible : Change::wider;
    }
    return decision;
}

}  // namespace zentara::schemas::diff
