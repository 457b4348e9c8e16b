#include "schemas/diff/Inclusion.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "json/ObjectEquality.h"
#include "schemas/Schema.h"
#include "schemas/SchemaCompiler.h"
#include "schemas/ValidationRun.h"

// The functions call each other as deep as the schemas and the references nest; `holds` bounds it.
// NOLINTBEGIN(misc-no-recursion)

namespace zentara::schemas::diff {

namespace {

/// The work of all patterns together, about a third of a second.
constexpr std::int64_t mostPatternWork = 300'000'000;
/// A step takes about as long as these units of the engine's work.
constexpr std::int64_t unitsPerStep = 300;
constexpr std::size_t leastStackSpace = std::size_t{512} << 10U;
constexpr std::size_t mostParts = 100;
constexpr std::size_t mostCases = 32;
constexpr std::size_t mostSplits = 4;
constexpr std::size_t mostVariants = 64;
constexpr int mostReversals = 2;
constexpr std::size_t notAssumed = std::numeric_limits<std::size_t>::max();
constexpr double infinity = std::numeric_limits<double>::infinity();
/// Up to here every integer is a double.
constexpr double exactIntegers = 0x1p53;

/// Kinds that a proof may treat separately. Integers are read as doubles beyond 64 bits.
constexpr unsigned groups[] = {kinds::object, kinds::array,    kinds::string, kinds::integer,
                               kinds::null,   kinds::fraction, kinds::boolean};

bool isNumeric(const JSONValue& value) {
    return value.isNumber() || value.isBoolean();
}

/// The values that are equal to a number or boolean: 1, 1.0 and true.
std::vector<JSONValue> equalNumbers(const JSONValue& value) {
    const double real = value.isBoolean() ? (value.boolean() ? 1.0 : 0.0) : *value.asDouble();
    std::vector<JSONValue> all = {value};
    const auto add = [&](JSONValue other) {
        if (objectsEqual(value, other) && std::find(all.begin(), all.end(), other) == all.end())
            all.push_back(std::move(other));
    };
    add(real);
    if (real == 0 || real == 1) add(real == 1);
    if (real >= -0x1p63 && real < 0x1p63) add(static_cast<std::int64_t>(real));
    if (real >= 0x1p63 && real < 0x1p64) add(static_cast<std::uint64_t>(real));
    return all;
}

/// The values that the engine takes as equal to `value`. Empty if there are too many.
std::vector<JSONValue> equalValues(const JSONValue& value) {
    if (isNumeric(value)) return equalNumbers(value);
    std::vector<JSONValue> all = {value};
    const auto vary = [&all](const JSONValue& part, const auto& place) {
        const auto variants = equalValues(part);
        if (variants.empty() || variants.size() * all.size() > mostVariants) return false;
        std::vector<JSONValue> next;
        for (const auto& each : all) {
            for (const auto& variant : variants) {
                next.push_back(each);
                place(next.back()) = variant;
            }
        }
        all = std::move(next);
        return true;
    };
    if (const auto* const list = value.ifArray()) {
        for (std::size_t i = 0; i < list->size(); ++i) {
            if (!vary((*list)[i],
                      [i](JSONValue& each) -> JSONValue& { return (*each.ifArray())[i]; }))
                return {};
        }
    } else if (const auto* const object = value.ifObject()) {
        for (const auto& member : *object) {
            if (!vary(member.value(), [&member](JSONValue& each) -> JSONValue& {
                    return *each.ifObject()->find(member.key());
                }))
                return {};
        }
    }
    return all;
}

unsigned kindsOfValues(const JSONArray& values) {
    unsigned all = 0;
    for (const auto& value : values) {
        if (isNumeric(value)) {
            for (const auto& each : equalNumbers(value))
                all |= kinds::of(each);
        } else {
            all |= kinds::of(value);
        }
    }
    return all;
}

bool hasMembers(const JSONObject& schema) {
    return schema.contains("properties") || schema.contains("patternProperties") ||
           schema.contains("additionalProperties");
}

/// Returns the number of values that were looked at.
std::int64_t collectReferences(const JSONObject& schema, std::unordered_set<std::string_view>& all);

std::int64_t collectReferences(const JSONValue& value, std::unordered_set<std::string_view>& all) {
    if (const auto* const object = value.ifObject()) return collectReferences(*object, all);
    std::int64_t count = 1;
    if (const auto* const list = value.ifArray()) {
        for (const auto& each : *list)
            count += collectReferences(each, all);
    }
    return count;
}

std::int64_t collectReferences(const JSONObject& schema,
                               std::unordered_set<std::string_view>& all) {
    std::int64_t count = 1;
    for (const auto& [key, value] : schema) {
        const auto text = key == "$ref" ? value.ifString() : std::nullopt;
        if (text) all.insert(*text);
        count += collectReferences(value, all);
    }
    return count;
}

/// What "type" leaves, in the schema and those that hold with it.
unsigned possibleKinds(const Document& document, const JSONObject& schema, int depth = 0) {
    constexpr int deepest = 4;
    auto all = kindsOfType(schema.find("type"));
    if (depth == deepest) return all;
    if (const auto reference = textOf(schema.find("$ref"))) {
        const auto* const target = document.target(*reference);
        all &= target == nullptr ? 0 : possibleKinds(document, *target, depth + 1);
    }
    if (const auto* const list = schemasOf(schema.find("allOf"));
        list != nullptr && list->size() < 100) {
        for (const auto& each : *list)
            all &= possibleKinds(document, *each.ifObject(), depth + 1);
    }
    for (const auto* const keyword : {"anyOf", "oneOf"}) {
        const auto* const list = schemasOf(schema.find(keyword));
        if (list == nullptr || list->size() >= 100) continue;
        unsigned any = 0;
        for (const auto& each : *list)
            any |= possibleKinds(document, *each.ifObject(), depth + 1);
        all &= any;
    }
    const auto* const values = schema.find("enum");
    if (values != nullptr && values->isArray() && values->ifArray()->size() < 100)
        all &= kindsOfValues(*values->ifArray());
    return all;
}

template <typename Container, typename Value>
bool holdsValue(const Container& container, const Value& value) {
    return std::find(container.begin(), container.end(), value) != container.end();
}

}  // namespace

Inclusion::Inclusion(const Document& outer, const Document& inner, std::int64_t steps)
    : outer_(outer),
      inner_(inner),
      steps_(steps),
      patternWork_(mostPatternWork),
      firstAssumed_(notAssumed) {}

Inclusion::~Inclusion() = default;

bool Inclusion::isProven(unsigned kinds) {
    return isProven(inner_.root(), kinds, outer_.root());
}

bool Inclusion::isProven(const JSONObject& inner, unsigned kinds, const JSONObject& outer) {
    // With no work left, a pattern counts as invalid.
    return holds(conjunction({&inner}), kinds, outer) && !patternWork_.exhausted();
}

bool Inclusion::holds(const Conjunction& inner, unsigned kinds, const JSONObject& outer) {
    kinds &= inner.kinds;
    if (kinds == 0) return true;
    if (!spend(5) || patternWork_.exhausted()) return false;
    if (remainingStackSpace() < leastStackSpace) return false;
    for (const auto* const part : inner.parts) {
        if (isSame(outer, *part)) return true;
    }
    const Goal goal{&outer, &inner, kinds};
    if (const auto found = known_.find(goal); found != known_.end()) return found->second;
    const auto [here, isNew] = open_.try_emplace(goal, Open{open_.size(), level_});
    if (!isNew) {
        // The same for a part of the value is the hypothesis of the induction; the same for the
        // value itself proves nothing.
        if (here->second.level == level_) return false;
        firstAssumed_ = std::min(firstAssumed_, here->second.position);
        return true;
    }
    const auto position = here->second.position;
    const auto wasAssumed = std::exchange(firstAssumed_, notAssumed);
    constexpr unsigned fewValues = kinds::boolean | kinds::null;
    const bool result = inner.values != nullptr ? holdsForValues(inner, kinds, outer)
                                                : holdsByKeywords(inner, kinds, outer) ||
                                                      ((kinds & ~fewValues) == 0 &&
                                                       holdsForValues(inner, kinds, outer)) ||
                                                      holdsByCases(inner, kinds, outer);
    open_.erase(goal);
    // A proof that relies on an open goal is valid only if that goal is proven in the end.
    if (!result || firstAssumed_ >= position) known_.emplace(goal, result);
    if (result && firstAssumed_ < position) {
        firstAssumed_ = std::min(firstAssumed_, wasAssumed);
    } else {
        firstAssumed_ = wasAssumed;
    }
    return result;
}

bool Inclusion::holdsByKeywords(const Conjunction& inner, unsigned kinds, const JSONObject& outer) {
    if ((kinds & ~kindsOfType(outer.find("type"))) != 0 || !formatHolds(inner, kinds, outer))
        return false;
    if (const auto* const values = outer.find("enum"); values != nullptr && values->isArray())
        return false;
    if (!numbersHold(inner, kinds, outer) || !sizesHold(inner, kinds, outer)) return false;
    if ((kinds & kinds::string) != 0) {
        const auto pattern = textOf(outer.find("pattern"));
        if (pattern && !inner.patterns.contains(*pattern)) return false;
    }
    if ((kinds & kinds::array) != 0 && !itemsHold(inner, outer)) return false;
    if ((kinds & kinds::object) != 0) {
        if (const auto* const names = textsOf(outer.find("required"))) {
            for (const auto& name : *names) {
                if (!inner.required.contains(*name.ifString())) return false;
            }
        }
        if (!membersHold(inner, outer) || !dependenciesHold(inner, outer)) return false;
    }
    if (const auto reference = textOf(outer.find("$ref"))) {
        const auto* const target = outer_.target(*reference);
        if (target == nullptr || !holds(inner, kinds, *target)) return false;
    }
    return combinationsHold(inner, kinds, outer);
}

/// Each alternative of an "anyOf" or "oneOf" of the inner document by itself.
bool Inclusion::holdsByCases(const Conjunction& inner, unsigned kinds, const JSONObject& outer) {
    if (inner.split.size() == mostSplits) return false;
    for (const auto* const part : inner.parts) {
        for (const auto* const keyword : {"anyOf", "oneOf"}) {
            const auto* const list = schemasOf(part->find(keyword));
            if (list == nullptr || list->size() > mostCases || holdsValue(inner.split, list))
                continue;
            auto split = inner.split;
            split.push_back(list);
            return std::all_of(list->begin(), list->end(), [&](const JSONValue& alternative) {
                auto parts = inner.parts;
                parts.push_back(alternative.ifObject());
                return holds(conjunction(std::move(parts), split, inner.present), kinds, outer);
            });
        }
    }
    return false;
}

/// Asks the engine for each value that the inner schemas can accept.
bool Inclusion::holdsForValues(const Conjunction& inner, unsigned kinds, const JSONObject& outer) {
    const auto isAccepted = [&](const JSONValue& value) {
        if ((kinds::of(value) & kinds) == 0 || accepts(outer_, outer, value)) return true;
        return std::any_of(inner.parts.begin(), inner.parts.end(), [&](const JSONObject* part) {
            return !accepts(inner_, *part, value) && steps_ > 0;
        });
    };
    if (inner.values == nullptr)
        return isAccepted(nullptr) && isAccepted(false) && isAccepted(true);
    return std::all_of(inner.values->begin(), inner.values->end(), [&](const JSONValue& value) {
        const auto variants = equalValues(value);
        return !variants.empty() && std::all_of(variants.begin(), variants.end(), isAccepted);
    });
}

bool Inclusion::formatHolds(const Conjunction& inner, unsigned kinds, const JSONObject& outer) {
    const auto name = textOf(outer.find("format"));
    if (!name) return true;
    const auto formats = stoppingFormats();
    const auto format = std::find_if(formats.begin(), formats.end(),
                                     [&](const Format& each) { return each.name == *name; });
    if (format == formats.end()) return false;
    if (format->otherKinds != Format::OtherKinds::accepted &&
        (kinds & ~unsigned{kinds::string}) != 0)
        return false;
    return (kinds & kinds::string) == 0 || inner.formats.contains(*name);
}

bool Inclusion::combinationsHold(const Conjunction& inner, unsigned kinds,
                                 const JSONObject& outer) {
    if (const auto* const all = schemasOf(outer.find("allOf"))) {
        for (const auto& each : *all) {
            if (!holds(inner, kinds, *each.ifObject())) return false;
        }
    }
    const auto* const anyOf = schemasOf(outer.find("anyOf"));
    const auto* const oneOf = schemasOf(outer.find("oneOf"));
    const auto* const excluded = schemaOf(outer.find("not"));
    // An alternative that ends the validation refuses the value, whatever the others say.
    const auto mayEnd = [this](const JSONValue& each) {
        return outer_.mayEndValidation(*each.ifObject());
    };
    for (const auto* const list : {anyOf, oneOf}) {
        if (list != nullptr && std::any_of(list->begin(), list->end(), mayEnd)) return false;
    }
    if (excluded != nullptr && outer_.mayEndValidation(*excluded)) return false;
    if (anyOf != nullptr) {
        for (const auto group : groups) {
            const auto accepting = [&](const JSONValue& each) {
                return holds(inner, kinds & group, *each.ifObject());
            };
            if ((kinds & group) != 0 && std::none_of(anyOf->begin(), anyOf->end(), accepting))
                return false;
        }
    }
    if (oneOf != nullptr && !oneOfHolds(inner, kinds, *oneOf)) return false;
    return excluded == nullptr || notHolds(inner, kinds, *excluded);
}

bool Inclusion::oneOfHolds(const Conjunction& inner, unsigned kinds,
                           const JSONArray& alternatives) {
    const auto isEquivalentList = [&](const JSONObject* part) {
        const auto* const list = schemasOf(part->find("oneOf"));
        return list != nullptr &&
               std::equal(list->begin(), list->end(), alternatives.begin(), alternatives.end(),
                          [&](const JSONValue& one, const JSONValue& other) {
                              return isEquivalent(*other.ifObject(), *one.ifObject());
                          });
    };
    if (std::any_of(inner.parts.begin(), inner.parts.end(), isEquivalentList)) return true;
    // Of each kind of values a single alternative can accept any.
    for (const auto group : groups) {
        if ((kinds & group) == 0) continue;
        const JSONObject* only = nullptr;
        for (const auto& each : alternatives) {
            if ((possibleKinds(outer_, *each.ifObject()) & kinds & group) == 0) continue;
            if (only != nullptr) return false;
            only = each.ifObject();
        }
        if (only == nullptr || !holds(inner, kinds & group, *only)) return false;
    }
    return true;
}

bool Inclusion::notHolds(const Conjunction& inner, unsigned kinds, const JSONObject& excluded) {
    if ((possibleKinds(outer_, excluded) & kinds) == 0) return true;
    return std::any_of(inner.parts.begin(), inner.parts.end(), [&](const JSONObject* part) {
        const auto* const already = schemaOf(part->find("not"));
        return already != nullptr && !inner_.mayEndValidation(*already) &&
               reverseHolds(*already, excluded);
    });
}

bool Inclusion::numbersHold(const Conjunction& inner, unsigned kinds, const JSONObject& outer) {
    if ((kinds & kinds::number) == 0) return true;
    const bool areIntegers = (kinds & kinds::number & ~unsigned{kinds::integer}) == 0;
    // The bounds of integers are closed if they are doubles exactly.
    const auto closed = [&](double bound, bool isOpen, double step) {
        if (!areIntegers || std::abs(bound) >= exactIntegers) return std::pair(bound, isOpen);
        const double whole = step > 0 ? std::ceil(bound) : std::floor(bound);
        return std::pair(whole == bound && isOpen ? bound + step : whole, false);
    };
    if (const auto minimum = numberOf(outer.find("minimum"))) {
        const auto [wanted, isOpen] = closed(*minimum, isTrue(outer.find("exclusiveMinimum")), 1);
        const auto [sure, isSureOpen] = closed(inner.lower, inner.isLowerOpen, 1);
        const bool isFree = wanted == -infinity && !isOpen;
        if (!isFree && (sure < wanted || (sure == wanted && isOpen && !isSureOpen))) return false;
    }
    if (const auto maximum = numberOf(outer.find("maximum"))) {
        const auto [wanted, isOpen] = closed(*maximum, isTrue(outer.find("exclusiveMaximum")), -1);
        const auto [sure, isSureOpen] = closed(inner.upper, inner.isUpperOpen, -1);
        const bool isFree = wanted == infinity && !isOpen;
        if (!isFree && (sure > wanted || (sure == wanted && isOpen && !isSureOpen))) return false;
    }
    const auto unit = numberOf(outer.find("multipleOf"));
    if (!unit || *unit <= 0) return true;
    // The engine divides doubles, whose rounding may let through what is no multiple.
    if (areIntegers && *unit == 1) return true;
    const bool areExact =
        areIntegers && inner.lower >= -exactIntegers / 2 && inner.upper <= exactIntegers / 2;
    return std::any_of(inner.multiples.begin(), inner.multiples.end(), [&](double multiple) {
        if (multiple == *unit) return true;
        const bool isMultiple = areIntegers && multiple < exactIntegers &&
                                std::floor(multiple) == multiple && std::floor(*unit) == *unit &&
                                std::fmod(multiple, *unit) == 0;
        int exponent = 0;
        return isMultiple && (areExact || std::frexp(multiple / *unit, &exponent) == 0.5);
    });
}

bool Inclusion::sizesHold(const Conjunction& inner, unsigned kinds, const JSONObject& outer) {
    struct Bound {
        std::string_view keyword;
        unsigned kinds;
        std::int64_t sure;
        bool isMinimum;
    };
    for (const auto& bound : {
             Bound{"minLength", kinds::string, inner.minLength, true},
             {"maxLength", kinds::string, inner.maxLength, false},
             {"minItems", kinds::array, inner.minItems, true},
             {"maxItems", kinds::array, inner.maxItems, false},
             {"minProperties", kinds::object, inner.minProperties, true},
             {"maxProperties", kinds::object, inner.maxProperties, false},
         }) {
        const auto wanted = integerOf(outer.find(bound.keyword));
        if ((kinds & bound.kinds) == 0 || !wanted) continue;
        if (bound.isMinimum ? bound.sure < *wanted : bound.sure > *wanted) return false;
    }
    return true;
}

bool Inclusion::itemsHold(const Conjunction& inner, const JSONObject& outer) {
    if (isTrue(outer.find("uniqueItems")) && !inner.hasUniqueItems && inner.maxItems > 1)
        return false;
    const auto* const positional = schemasOf(outer.find("items"));
    const auto* const all = schemaOf(outer.find("items"));
    if (positional == nullptr && all == nullptr) return true;
    const auto others = positional == nullptr ? Additional{false, all}
                                              : additionalOf(outer.find("additionalItems"));
    std::size_t positions = positional == nullptr ? 0 : positional->size();
    for (const auto& each : inner.items) {
        if (each.positional != nullptr) positions = std::max(positions, each.positional->size());
    }
    // The last position stands for all behind the lists.
    for (std::size_t position = 0; position <= positions; ++position) {
        if (std::cmp_greater_equal(position, inner.maxItems)) return true;
        if (!spend(1)) return false;
        const auto wanted = positional != nullptr && position < positional->size()
                                ? Additional{false, (*positional)[position].ifObject()}
                                : others;
        if (!wanted.isForbidden && wanted.schema == nullptr) continue;
        const auto* const element = this->element(inner, position);
        if (element == nullptr) return true;
        if (wanted.isForbidden) {
            if (element->kinds == 0) return true;
            return false;
        }
        ++level_;
        const bool isProven = holds(*element, kinds::all, *wanted.schema);
        --level_;
        if (!isProven) return false;
    }
    return true;
}

bool Inclusion::membersHold(const Conjunction& inner, const JSONObject& outer) {
    if (!hasMembers(outer)) return true;
    const Members wanted{namedSchemasOf(outer.find("properties")),
                         namedSchemasOf(outer.find("patternProperties")),
                         additionalOf(outer.find("additionalProperties"))};
    const bool isOpen = !wanted.additional.isForbidden && wanted.additional.schema == nullptr;
    if (wanted.patterns != nullptr) {
        for (const auto& each : *wanted.patterns) {
            if (!isValidPattern(each.key())) return false;
        }
    }
    const auto isMemberProven = [&](std::string_view name) {
        if (!spend(2)) return false;
        std::vector<const JSONObject*> schemas;
        const auto* const named = wanted.named == nullptr ? nullptr : wanted.named->find(name);
        if (named != nullptr) schemas.push_back(named->ifObject());
        bool isCovered = named != nullptr;
        if (wanted.patterns != nullptr) {
            for (const auto& [pattern, schema] : *wanted.patterns) {
                if (!matches(pattern, name)) continue;
                isCovered = true;
                schemas.push_back(schema.ifObject());
            }
        }
        if (!isCovered && wanted.additional.schema != nullptr)
            schemas.push_back(wanted.additional.schema);
        const bool isForbidden = !isCovered && wanted.additional.isForbidden;
        if (schemas.empty() && !isForbidden) return true;
        const auto* const sure = member(inner, name);
        if (sure == nullptr || sure->kinds == 0) return !patternWork_.exhausted();
        if (isForbidden) return false;
        ++level_;
        const bool isProven = std::all_of(
            schemas.begin(), schemas.end(),
            [&](const JSONObject* schema) { return holds(*sure, kinds::all, *schema); });
        --level_;
        return isProven;
    };
    if (wanted.named != nullptr) {
        for (const auto& each : *wanted.named) {
            if (!isMemberProven(each.key())) return false;
        }
    }
    if (wanted.patterns == nullptr && isOpen) return true;
    for (const auto& members : inner.members) {
        if (members.named == nullptr) continue;
        for (const auto& each : *members.named) {
            if (!isMemberProven(each.key())) return false;
        }
    }
    // All other names.
    if (wanted.patterns != nullptr) {
        for (const auto& [pattern, schema] : *wanted.patterns) {
            if (!otherMembersHold(inner, wanted, pattern, {false, schema.ifObject()})) return false;
        }
    }
    return isOpen || otherMembersHold(inner, wanted, std::nullopt, wanted.additional);
}

/// For the names that no "properties" lists and that match `pattern`, or none of the patterns of
/// the outer schema.
bool Inclusion::otherMembersHold(const Conjunction& inner, const Members& outer,
                                 std::optional<std::string_view> pattern,
                                 const Additional& wanted) {
    std::vector<const JSONObject*> sure;
    // One of them applies; null for none.
    std::vector<const JSONObject*> cases;
    bool hasCases = false;
    for (const auto& members : inner.members) {
        const auto* const same =
            pattern && members.patterns != nullptr ? members.patterns->find(*pattern) : nullptr;
        if (members.patterns == nullptr || members.patterns->empty()) {
            if (members.additional.isForbidden) return true;
            if (members.additional.schema != nullptr) sure.push_back(members.additional.schema);
        } else if (same != nullptr) {
            sure.push_back(same->ifObject());
        } else if (!hasCases) {
            hasCases = true;
            for (const auto& [text, schema] : *members.patterns) {
                const bool matchesOuter =
                    !pattern && outer.patterns != nullptr && outer.patterns->contains(text);
                if (!matchesOuter) cases.push_back(schema.ifObject());
            }
            if (!members.additional.isForbidden) cases.push_back(members.additional.schema);
        }
    }
    if (!hasCases) cases.push_back(nullptr);
    return std::all_of(cases.begin(), cases.end(), [&](const JSONObject* each) {
        auto parts = sure;
        if (each != nullptr) parts.push_back(each);
        const auto& member = conjunction(std::move(parts));
        if (wanted.isForbidden) return member.kinds == 0;
        ++level_;
        const bool isProven = holds(member, kinds::all, *wanted.schema);
        --level_;
        return isProven;
    });
}

bool Inclusion::dependenciesHold(const Conjunction& inner, const JSONObject& outer) {
    const auto* const dependencies = schemaOf(outer.find("dependencies"));
    if (dependencies == nullptr) return true;
    for (const auto& [key, dependency] : *dependencies) {
        const auto* const names = textsOf(&dependency);
        const auto* const schema = dependency.ifObject();
        if (names == nullptr && schema == nullptr) continue;
        if (!spend(2)) return false;
        const auto* const value = member(inner, key);
        if (value == nullptr || value->kinds == 0) continue;
        // With the key the inner document's own dependencies on it hold, too.
        auto present = inner.present;
        if (!holdsValue(present, key)) present.push_back(key);
        const auto& withKey = conjunction(inner.parts, inner.split, std::move(present));
        if (schema != nullptr && !holds(withKey, kinds::object, *schema)) return false;
        if (names == nullptr) continue;
        for (const auto& name : *names) {
            if (!withKey.required.contains(*name.ifString())) return false;
        }
    }
    return true;
}

const Inclusion::Conjunction& Inclusion::conjunction(std::vector<const JSONObject*> parts,
                                                     std::vector<const JSONArray*> split,
                                                     std::vector<std::string_view> present) {
    auto& known = conjunctions_[{parts, split, present}];
    if (known != nullptr) return *known;
    known = std::make_unique<Conjunction>();
    auto& all = *known;
    constexpr auto unbounded = std::numeric_limits<std::int64_t>::max();
    all.lower = -infinity;
    all.upper = infinity;
    all.maxLength = all.maxItems = all.maxProperties = unbounded;
    all.split = std::move(split);
    all.present = std::move(present);
    all.required.insert(all.present.begin(), all.present.end());
    for (const auto* const part : parts) {
        if (!holdsValue(all.parts, part)) all.parts.push_back(part);
    }
    // Parts beyond the bound are left out: the conjunction then accepts more.
    for (std::size_t i = 0; i < all.parts.size(); ++i) {
        spend(2);
        addPart(all, *all.parts[i]);
    }
    removeEmptyKinds(all);
    return all;
}

void Inclusion::addPart(Conjunction& all, const JSONObject& part) {
    const auto add = [&all](const JSONObject* inner) {
        if (all.parts.size() < mostParts && !holdsValue(all.parts, inner))
            all.parts.push_back(inner);
    };
    if (const auto reference = textOf(part.find("$ref"))) {
        if (const auto* const target = inner_.target(*reference)) {
            add(target);
        } else {
            all.kinds = 0;
        }
    }
    if (const auto* const list = schemasOf(part.find("allOf"))) {
        for (const auto& each : *list)
            add(each.ifObject());
    }
    all.kinds &= possibleKinds(inner_, part);
    if (const auto* const excluded = schemaOf(part.find("not")); excluded != nullptr) {
        if (excluded->empty()) all.kinds = 0;
        if (excluded->size() == 1 && excluded->contains("type"))
            all.kinds &= ~kindsOfType(excluded->find("type"));
    }
    if (const auto* const values = part.find("enum"); values != nullptr && values->isArray()) {
        const auto& list = *values->ifArray();
        spend(static_cast<std::int64_t>(list.size()));
        all.kinds &= kindsOfValues(list);
        if (all.values == nullptr || list.size() < all.values->size()) all.values = &list;
    }
    if (const auto format = textOf(part.find("format"))) {
        const auto formats = stoppingFormats();
        const auto found = std::find_if(formats.begin(), formats.end(),
                                        [&](const Format& each) { return each.name == *format; });
        if (found == formats.end()) {
            all.kinds = 0;
        } else {
            all.formats.insert(*format);
            if (found->otherKinds != Format::OtherKinds::accepted) all.kinds &= kinds::string;
        }
    }
    if (const auto pattern = textOf(part.find("pattern"))) {
        if ((all.kinds & kinds::string) != 0 && !isValidPattern(*pattern))
            all.kinds &= ~unsigned{kinds::string};
        all.patterns.insert(*pattern);
    }
    addBounds(all, part);
    all.hasUniqueItems = all.hasUniqueItems || isTrue(part.find("uniqueItems"));
    if (const auto* const items = schemaOf(part.find("items")))
        all.items.push_back({nullptr, {false, items}});
    if (const auto* const items = schemasOf(part.find("items"))) {
        all.items.push_back({items, additionalOf(part.find("additionalItems"))});
        if (all.items.back().others.isForbidden)
            all.maxItems = std::min(all.maxItems, static_cast<std::int64_t>(items->size()));
    }
    if (const auto* const names = textsOf(part.find("required"))) {
        for (const auto& name : *names)
            all.required.insert(*name.ifString());
    }
    if (hasMembers(part)) {
        Members members{namedSchemasOf(part.find("properties")),
                        namedSchemasOf(part.find("patternProperties")),
                        additionalOf(part.find("additionalProperties"))};
        const bool hasPatterns = members.patterns != nullptr && !members.patterns->empty();
        if (hasPatterns) {
            for (const auto& each : *members.patterns) {
                if (!isValidPattern(each.key())) all.kinds &= ~unsigned{kinds::object};
            }
        }
        if (members.additional.isForbidden && !hasPatterns) {
            const auto size = members.named == nullptr ? 0 : members.named->size();
            all.maxProperties = std::min(all.maxProperties, static_cast<std::int64_t>(size));
        }
        all.members.push_back(members);
    }
    if (const auto* const dependencies = schemaOf(part.find("dependencies"))) {
        for (const auto& key : all.present) {
            const auto* const dependency = dependencies->find(key);
            if (dependency == nullptr) continue;
            if (const auto* const schema = dependency->ifObject()) add(schema);
            if (const auto* const names = textsOf(dependency)) {
                for (const auto& name : *names)
                    all.required.insert(*name.ifString());
            }
        }
    }
}

void Inclusion::addBounds(Conjunction& all, const JSONObject& part) {
    if (const auto minimum = numberOf(part.find("minimum"))) {
        const bool isOpen = isTrue(part.find("exclusiveMinimum"));
        if (*minimum > all.lower) all.isLowerOpen = false;
        if (*minimum >= all.lower) all.isLowerOpen = all.isLowerOpen || isOpen;
        all.lower = std::max(all.lower, *minimum);
    }
    if (const auto maximum = numberOf(part.find("maximum"))) {
        const bool isOpen = isTrue(part.find("exclusiveMaximum"));
        if (*maximum < all.upper) all.isUpperOpen = false;
        if (*maximum <= all.upper) all.isUpperOpen = all.isUpperOpen || isOpen;
        all.upper = std::min(all.upper, *maximum);
    }
    const auto unit = numberOf(part.find("multipleOf"));
    if (unit && *unit > 0) all.multiples.push_back(*unit);
    const auto raise = [&part](std::int64_t& bound, std::string_view keyword) {
        if (const auto integer = integerOf(part.find(keyword))) bound = std::max(bound, *integer);
    };
    const auto lower = [&part](std::int64_t& bound, std::string_view keyword) {
        if (const auto integer = integerOf(part.find(keyword))) bound = std::min(bound, *integer);
    };
    raise(all.minLength, "minLength");
    lower(all.maxLength, "maxLength");
    raise(all.minItems, "minItems");
    lower(all.maxItems, "maxItems");
    raise(all.minProperties, "minProperties");
    lower(all.maxProperties, "maxProperties");
}

void Inclusion::removeEmptyKinds(Conjunction& all) {
    all.minProperties = std::max(all.minProperties, static_cast<std::int64_t>(all.required.size()));
    if (all.minLength > all.maxLength) all.kinds &= ~unsigned{kinds::string};
    if (all.minItems > all.maxItems) all.kinds &= ~unsigned{kinds::array};
    if (all.minProperties > all.maxProperties) all.kinds &= ~unsigned{kinds::object};
    if (all.lower > all.upper || (all.lower == all.upper && (all.isLowerOpen || all.isUpperOpen)))
        all.kinds &= ~unsigned{kinds::number};
    for (const auto& members : all.members) {
        if (!members.additional.isForbidden ||
            (members.patterns != nullptr && !members.patterns->empty()))
            continue;
        for (const auto& name : all.required) {
            if (members.named == nullptr || !members.named->contains(name))
                all.kinds &= ~unsigned{kinds::object};
        }
    }
}

const Inclusion::Conjunction* Inclusion::member(const Conjunction& object, std::string_view name) {
    std::vector<const JSONObject*> parts;
    for (const auto& members : object.members) {
        bool isCovered = false;
        if (members.named != nullptr) {
            if (const auto* const schema = members.named->find(name)) {
                isCovered = true;
                parts.push_back(schema->ifObject());
            }
        }
        if (members.patterns != nullptr) {
            for (const auto& [pattern, schema] : *members.patterns) {
                if (!matches(pattern, name)) continue;
                isCovered = true;
                parts.push_back(schema.ifObject());
            }
        }
        if (isCovered) continue;
        if (members.additional.isForbidden) return nullptr;
        if (members.additional.schema != nullptr) parts.push_back(members.additional.schema);
    }
    return &conjunction(std::move(parts));
}

/// Null if no accepted array has so many elements.
const Inclusion::Conjunction* Inclusion::element(const Conjunction& array, std::size_t position) {
    std::vector<const JSONObject*> parts;
    for (const auto& items : array.items) {
        if (items.positional != nullptr && position < items.positional->size()) {
            parts.push_back((*items.positional)[position].ifObject());
        } else if (items.others.isForbidden) {
            return nullptr;
        } else if (items.others.schema != nullptr) {
            parts.push_back(items.others.schema);
        }
    }
    return &conjunction(std::move(parts));
}

bool Inclusion::isSame(const JSONObject& outer, const JSONObject& inner) {
    if (&outer == &inner && &outer_.root() == &inner_.root()) return true;
    if (!isWrittenAlike(outer, inner)) return false;
    findChangedReferences();
    return !allReferencesChanged_ && (changedReferences_.empty() || !refersToChanges(inner));
}

/// Apart from what references lead to.
bool Inclusion::isWrittenAlike(const JSONObject& outer, const JSONObject& inner) {
    if (outer.size() != inner.size()) return false;
    const auto [known, isNew] = alike_.try_emplace({&outer, &inner}, false);
    if (!isNew) return known->second;
    for (const auto& [key, value] : outer) {
        const auto* const match = inner.find(key);
        if (match == nullptr || !spend(1) || !isWrittenAlike(value, *match)) return false;
    }
    return alike_[{&outer, &inner}] = true;
}

bool Inclusion::isWrittenAlike(const JSONValue& outer, const JSONValue& inner) {
    if (outer.isObject() && inner.isObject())
        return isWrittenAlike(*outer.ifObject(), *inner.ifObject());
    if (!outer.isArray() || !inner.isArray()) return outer == inner;
    const auto& list = *outer.ifArray();
    const auto& others = *inner.ifArray();
    return std::equal(list.begin(), list.end(), others.begin(), others.end(),
                      [this](const JSONValue& one, const JSONValue& other) {
                          return spend(1) && isWrittenAlike(one, other);
                      });
}

/// Whether a reference inside leads to something that the documents define differently.
bool Inclusion::refersToChanges(const JSONObject& inner) {
    const auto known = refersToChanges_.find(&inner);
    if (known != refersToChanges_.end()) return known->second;
    bool result = false;
    for (const auto& [key, value] : inner) {
        const auto reference = key == "$ref" ? value.ifString() : std::nullopt;
        result = !spend(1) || (reference && changedReferences_.contains(*reference)) ||
                 refersToChanges(value);
        if (result) break;
    }
    return refersToChanges_[&inner] = result;
}

bool Inclusion::refersToChanges(const JSONValue& inner) {
    if (const auto* const object = inner.ifObject()) return refersToChanges(*object);
    const auto* const list = inner.ifArray();
    return list != nullptr &&
           std::any_of(list->begin(), list->end(),
                       [this](const JSONValue& each) { return refersToChanges(each); });
}

void Inclusion::findChangedReferences() {
    if (knowsReferences_) return;
    knowsReferences_ = true;
    std::unordered_set<std::string_view> references;
    collectReferences(inner_.root(), references);
    // What refers to a changed definition has changed itself.
    std::unordered_map<std::string_view, std::vector<std::string_view>> users;
    std::vector<std::string_view> open;
    for (const auto reference : references) {
        const auto* const before = outer_.target(reference);
        const auto* const after = inner_.target(reference);
        if (before == nullptr && after == nullptr) continue;
        if (before == nullptr || after == nullptr || !isWrittenAlike(*before, *after)) {
            open.push_back(reference);
            continue;
        }
        std::unordered_set<std::string_view> inside;
        spend(collectReferences(*after, inside));
        for (const auto inner : inside)
            users[inner].push_back(reference);
        if (steps_ <= 0) {
            allReferencesChanged_ = true;
            return;
        }
    }
    while (!open.empty()) {
        const auto reference = open.back();
        open.pop_back();
        if (!changedReferences_.insert(reference).second) continue;
        const auto& affected = users[reference];
        open.insert(open.end(), affected.begin(), affected.end());
    }
}

bool Inclusion::isEquivalent(const JSONObject& outer, const JSONObject& inner) {
    return isSame(outer, inner) ||
           (holds(conjunction({&inner}), kinds::all, outer) && reverseHolds(inner, outer));
}

bool Inclusion::reverseHolds(const JSONObject& inner, const JSONObject& outer) {
    if (reversals_ == mostReversals || !spend(10)) return false;
    if (reverse_ == nullptr) {
        reverse_ = std::make_unique<Inclusion>(inner_, outer_, steps_ / 4);
        reverse_->reversals_ = reversals_ + 1;
    }
    return reverse_->isProven(outer, kinds::all, inner);
}

bool Inclusion::accepts(const Document& document, const JSONObject& schema,
                        const JSONValue& value) {
    auto& compiled = compiled_[{&document, &schema}];
    if (compiled == nullptr) {
        Transplant transplant(document.root(), "@document");
        auto whole = transplant.copy(schema);
        transplant.attachTo(whole);
        spend(static_cast<std::int64_t>(transplant.cost()));
        SchemaCompiler compiler(whole, stoppingFormats(), std::make_shared<SharedExpressions>());
        compiled = compiler.compile();
    }
    if (steps_ <= 0) return false;
    ValidationRun run(*compiled);
    const bool isValid = run.run(value).valid();
    return spend(5 + run.units() / unitsPerStep) && isValid;
}

bool Inclusion::matches(std::string_view pattern, std::string_view text) {
    spend(2);
    return expressions_.of(pattern).matches(text, &patternWork_);
}

bool Inclusion::isValidPattern(std::string_view pattern) {
    return expressions_.of(pattern).isValid(&patternWork_);
}

}  // namespace zentara::schemas::diff

// NOLINTEND(misc-no-recursion)
