#include "schemas/diff/Walk.h"
#include "schemas/KeywordValues.h"

#include <algorithm>
#include <cstdint>
#include <unordered_set>

#include "json/JSONText.h"
#include "json/ObjectEquality.h"
#include "schemas/Keywords.h"
#include "schemas/files/SourceMap.h"

namespace zentara::schemas::diff {

namespace {

constexpr std::size_t mostDifferences = 1000;
constexpr std::size_t mostDecided = 300;
constexpr std::size_t mostVisits = 100'000;
constexpr std::size_t mostCopied = 5'000'000;
constexpr std::size_t mostListedValues = 20;
constexpr std::size_t deepest = 600;

bool isKeyword(std::string_view key) {
    return std::any_of(KeywordTable::lines.begin(), KeywordTable::lines.end(),
                       [key](const KeywordLine& line) { return line.spelling == key; }) &&
           !key.empty();
}

std::string shown(const JSONValue& value) {
    constexpr std::size_t longest = 60;
    std::string text;
    if (!appendJSON(text, value)) return "a value that JSON cannot hold";
    if (text.size() <= longest) return text;
    auto end = longest;
    while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0U) == 0x80U)
        --end;
    return text.substr(0, end) + "...";
}

std::string shownTypes(const JSONValue* type) {
    if (type == nullptr) return "any";
    const auto* const names = textsOf(type);
    if (const auto name = type->ifString()) return std::string(*name);
    if (names == nullptr || names->empty()) return shown(*type);
    std::string text;
    for (const auto& name : *names) {
        if (!text.empty()) text += " or ";
        text += *name.ifString();
    }
    return text;
}

/// For the bounds and other keywords with a plain value.
std::string changeOf(std::string_view keyword, const JSONValue* before, const JSONValue* after) {
    std::string text(keyword);
    if (before == nullptr) return text + ' ' + shown(*after) + " was added";
    if (after == nullptr) return text + ' ' + shown(*before) + " was removed";
    const auto one = before->asDouble();
    const auto other = after->asDouble();
    const bool areOrdered = one && other && *one != *other;
    text += areOrdered ? (*one < *other ? " rose" : " fell") : " changed";
    return text + " from " + shown(*before) + " to " + shown(*after);
}

const JSONArray* arrayIn(const JSONValue* value) {
    return value == nullptr ? nullptr : value->ifArray();
}

const JSONObject* tableIn(const JSONValue* value) {
    const auto* const table = value == nullptr ? nullptr : value->ifObject();
    const auto isObject = [](const JSONMember& each) {
        return each.value().isObject();
    };
    return table != nullptr && std::all_of(table->begin(), table->end(), isObject) ? table
                                                                                   : nullptr;
}

std::unordered_set<std::string_view> namesIn(const JSONValue* required) {
    std::unordered_set<std::string_view> names;
    if (const auto* const list = textsOf(required)) {
        for (const auto& name : *list)
            names.insert(*name.ifString());
    }
    return names;
}

bool areEqual(const JSONValue* one, const JSONValue* other) {
    return one == nullptr || other == nullptr ? one == other : *one == *other;
}

std::string memberOf(const std::string& property, std::string_view name) {
    return property.empty() ? std::string(name) : property + '.' + std::string(name);
}

}  // namespace

Walk::Walk(const JSONObject& before, const JSONObject& after, Sampler::Values values,
           std::chrono::steady_clock::time_point deadline)
    : before_(before),
      after_(after),
      fromBefore_(before, "@before"),
      fromAfter_(after, "@after"),
      same_(after_, before_),
      values_(values),
      deadline_(deadline) {}

void Walk::run() {
    visit(placeOf(before_, before_.root(), ""), placeOf(after_, after_.root(), ""), "");
    if (isCut_) {
        differences_.push_back(
            {"", "", Change::unknown, "there may be more differences, which are not listed"});
    }
}

bool Walk::isFull() {
    isCut_ = isCut_ || differences_.size() >= mostDifferences || visits_ >= mostVisits ||
             std::chrono::steady_clock::now() > deadline_;
    return isCut_;
}

const JSONValue* Walk::Place::find(std::string_view keyword) const {
    for (const auto& part : parts) {
        if (const auto* const value = part.schema->find(keyword)) return value;
    }
    return nullptr;
}

std::string Walk::Place::pointer(std::string_view keyword) const {
    for (const auto& part : parts) {
        if (part.schema->contains(keyword)) return childPointer(part.pointer, keyword);
    }
    return parts.back().pointer;
}

Walk::Place Walk::placeOf(const Document& document, const JSONObject& schema, std::string pointer) {
    constexpr std::size_t mostParts = 50;
    Place place{{{&schema, std::move(pointer)}}};
    const Place alone = place;
    while (const auto reference = textOf(place.parts.back().schema->find("$ref"))) {
        const auto* const target = document.target(*reference);
        if (target == nullptr || place.parts.size() == mostParts) return alone;
        for (const auto& [key, value] : *target) {
            // A keyword that applies twice cannot be looked up.
            if (key != "$ref" && isKeyword(key) && place.find(key) != nullptr) return alone;
        }
        place.parts.push_back({target, std::string(reference->substr(1))});
        place.isResolved = true;
    }
    return place;
}

// As deep as the documents, within bounds.
// NOLINTBEGIN(misc-no-recursion)

void Walk::visit(const Place& before, const Place& after, const std::string& property) {
    if (isFull() || same_.isSame(*after.parts.front().schema, *before.parts.front().schema)) return;
    const std::pair here(before.parts.back().schema, after.parts.back().schema);
    if (std::find(open_.begin(), open_.end(), here) != open_.end()) return;
    if (open_.size() == deepest) {
        isCut_ = true;
        return;
    }
    ++visits_;
    open_.push_back(here);
    const auto known = differences_.size();
    visitParts(before, after, property);
    open_.pop_back();
    // Nothing else describes it, such as a definition that has moved.
    if (differences_.size() != known || isCut_) return;
    const auto old = patched(before);
    const auto now = patchedNew(after);
    if (old == now && mayDecide() && before.parts.size() == 1 && after.parts.size() == 1) {
        differences_.push_back({after.parts.front().pointer, property, Change::none,
                                "differs where the engine does not look"});
    } else {
        add(after.parts.front().pointer, property, "is written differently", old, now);
    }
}

void Walk::visitParts(const Place& before, const Place& after, const std::string& property) {
    compareAnnotations(before, after, property);
    compareValues(before, after, property);
    visitMembers(before, after, property);
    visitItems(before, after, property);
    const auto* const all = before.find("allOf");
    const auto* const others = after.find("allOf");
    const auto* const list = arrayIn(all);
    const auto* const otherList = arrayIn(others);
    if (list != nullptr && otherList != nullptr && list->size() == otherList->size()) {
        for (std::size_t i = 0; i < list->size(); ++i) {
            if (!(*list)[i].isObject() || !(*otherList)[i].isObject()) continue;
            const auto index = std::to_string(i);
            visit(placeOf(before_, *(*list)[i].ifObject(),
                          childPointer(before.pointer("allOf"), index)),
                  placeOf(after_, *(*otherList)[i].ifObject(),
                          childPointer(after.pointer("allOf"), index)),
                  property);
        }
    } else {
        compareKeywords(before, after, property, {"allOf"},
                        [] { return "the schemas of allOf changed"; });
    }
    for (const std::string_view keyword : {"anyOf", "oneOf"}) {
        compareKeywords(before, after, property, {keyword}, [&]() -> std::string {
            const auto* const one = arrayIn(before.find(keyword));
            const auto* const two = arrayIn(after.find(keyword));
            const auto count = one == nullptr ? 0 : one->size();
            const auto newCount = two == nullptr ? 0 : two->size();
            const std::string suffix = " of " + std::string(keyword);
            if (one == nullptr || two == nullptr || count == newCount)
                return "the alternatives" + suffix +
                       (one == nullptr   ? " were added"
                        : two == nullptr ? " were removed"
                                         : " changed");
            return "alternatives" + suffix + (count < newCount ? " were added" : " were removed");
        });
    }
    compareKeywords(before, after, property, {"not"}, [] { return "what not excludes changed"; });
    compareKeywords(before, after, property, {"dependencies"},
                    [] { return "the dependencies changed"; });
}

/// What is for people only.
void Walk::compareAnnotations(const Place& before, const Place& after,
                              const std::string& property) {
    for (const std::string_view key : {"title", "description", "default", "examples"}) {
        const auto* const old = before.find(key);
        const auto* const now = after.find(key);
        if (areEqual(old, now)) continue;
        const auto* const verb =
            old == nullptr ? " was added" : (now == nullptr ? " was removed" : " changed");
        differences_.push_back({now == nullptr ? before.pointer(key) : after.pointer(key), property,
                                Change::none, "the " + std::string(key) + verb});
    }
}

void Walk::compareValues(const Place& before, const Place& after, const std::string& property) {
    compareKeywords(before, after, property, {"type"}, [&] {
        return "the type changed from " + shownTypes(before.find("type")) + " to " +
               shownTypes(after.find("type"));
    });
    const auto* const values = arrayIn(before.find("enum"));
    const auto* const newValues = arrayIn(after.find("enum"));
    if (values != nullptr && newValues != nullptr) {
        const auto textsIn = [](const JSONArray& list) {
            std::unordered_set<std::string> texts;
            for (const auto& each : list)
                texts.insert(each.text());
            return texts;
        };
        const auto compareLists = [&](const JSONArray& list, const JSONArray& other,
                                      bool isRemoval) {
            const auto others = textsIn(other);
            std::vector<const JSONValue*> missing;
            for (const auto& each : list) {
                if (!others.contains(each.text())) missing.push_back(&each);
            }
            const std::string verb = isRemoval ? " removed" : " added";
            const auto addValue = [&](const JSONValue& value, std::string reason) {
                // Only the values that the engine takes as equal matter.
                JSONArray without;
                for (const auto& each : *values) {
                    if (!(each == value) && objectsEqual(each, value)) without.push_back(each);
                }
                auto with = without;
                with.push_back(value);
                auto old = patched(before, {"enum"});
                auto changed = old;
                old.set("enum", isRemoval ? with : without);
                changed.set("enum", isRemoval ? without : with);
                add((isRemoval ? before : after).pointer("enum"), property, std::move(reason), old,
                    changed);
            };
            if (missing.size() <= mostListedValues) {
                for (std::size_t i = 0; i < missing.size(); ++i)
                    addValue(*missing[i], "the value " + shown(*missing[i]) + " was" + verb);
            } else {
                addValue(*missing[0], std::to_string(missing.size()) + " values were" + verb +
                                          ", such as " + shown(*missing[0]));
            }
        };
        compareLists(*values, *newValues, true);
        compareLists(*newValues, *values, false);
    } else {
        compareKeywords(before, after, property, {"enum"}, [&] {
            return std::string("the list of values ") +
                   (values != nullptr ? "was removed" : "was added");
        });
    }
    for (const bool isMinimum : {true, false}) {
        const std::string_view bound = isMinimum ? "minimum" : "maximum";
        const std::string_view exclusive = isMinimum ? "exclusiveMinimum" : "exclusiveMaximum";
        compareKeywords(before, after, property, {bound, exclusive}, [&] {
            const auto* const old = before.find(bound);
            const auto* const now = after.find(bound);
            if (!areEqual(old, now)) return changeOf(bound, old, now);
            const auto* const flag = after.find(exclusive);
            return std::string(bound) + (flag != nullptr && flag->ifBoolean() == true
                                             ? " is exclusive now"
                                             : " is no longer exclusive");
        });
    }
    for (const std::string_view keyword :
         {"multipleOf", "minLength", "maxLength", "pattern", "format", "minItems", "maxItems",
          "uniqueItems", "minProperties", "maxProperties"}) {
        compareKeywords(before, after, property, {keyword}, [&] {
            return changeOf(keyword, before.find(keyword), after.find(keyword));
        });
    }
}

void Walk::visitMembers(const Place& before, const Place& after, const std::string& property) {
    const auto* const oldNamed = tableIn(before.find("properties"));
    const auto* const newNamed = tableIn(after.find("properties"));
    std::vector<std::string_view> names;
    for (const auto* const table : {oldNamed, newNamed}) {
        if (table == nullptr) continue;
        for (const auto& member : *table) {
            if (table == oldNamed || oldNamed == nullptr || !oldNamed->contains(member.key()))
                names.push_back(member.key());
        }
    }
    const auto isNamed = [](const JSONObject* table, std::string_view name) {
        return table != nullptr && table->contains(name);
    };
    for (const auto* const place : {&before, &after}) {
        if (const auto* const list = textsOf(place->find("required"))) {
            for (const auto& name : *list) {
                const auto text = *name.ifString();
                if (!isNamed(oldNamed, text) && !isNamed(newNamed, text)) names.push_back(text);
            }
        }
    }
    const auto oldRequired = namesIn(before.find("required"));
    const auto newRequired = namesIn(after.find("required"));
    for (const auto name : names) {
        if (isFull()) return;
        const auto* const old = oldNamed == nullptr ? nullptr : oldNamed->find(name);
        const auto* const now = newNamed == nullptr ? nullptr : newNamed->find(name);
        const bool wasRequired = oldRequired.contains(name);
        const bool isRequired = newRequired.contains(name);
        const auto pointer = [name](const Place& place) {
            return childPointer(place.pointer("properties"), name);
        };
        if ((old == nullptr) != (now == nullptr)) {
            const std::string kind = isRequired ? "required" : "optional";
            add(pointer(now == nullptr ? before : after), memberOf(property, name),
                now == nullptr ? "was removed" : "is a new " + kind + " property",
                reduced(before, old, false, wasRequired, name),
                reduced(before, now, true, isRequired, name), name);
            continue;
        }
        if (wasRequired != isRequired) {
            const auto& place = isRequired ? after : before;
            add(place.pointer("required"), memberOf(property, name),
                isRequired ? "is required now" : "is no longer required",
                reduced(before, old, false, wasRequired, name),
                reduced(before, old, false, isRequired, name), name);
        }
        if (old == nullptr) continue;
        path_.push_back({std::string(name)});
        visit(placeOf(before_, *old->ifObject(), pointer(before)),
              placeOf(after_, *now->ifObject(), pointer(after)), memberOf(property, name));
        path_.pop_back();
    }
    const auto* const old = before.find("additionalProperties");
    const auto* const now = after.find("additionalProperties");
    if (old != nullptr && now != nullptr && old->isObject() && now->isObject()) {
        visitInner(*old, *now, before, after, {"additionalProperties"}, memberOf(property, "*"),
                   {"somethingElse"});
    } else {
        compareKeywords(before, after, property, {"additionalProperties"}, [&] {
            const auto isRefused = [](const JSONValue* value) {
                return value != nullptr && value->ifBoolean() == false;
            };
            if (isRefused(now)) return "further properties are refused now";
            if (isRefused(old)) return "further properties are allowed now";
            return "what further properties may hold changed";
        });
    }
    const auto* const oldPatterns = tableIn(before.find("patternProperties"));
    const auto* const newPatterns = tableIn(after.find("patternProperties"));
    const bool areAlike =
        oldPatterns != nullptr && newPatterns != nullptr &&
        oldPatterns->size() == newPatterns->size() &&
        std::all_of(oldPatterns->begin(), oldPatterns->end(),
                    [&](const JSONMember& each) { return newPatterns->contains(each.key()); });
    if (!areAlike) {
        compareKeywords(before, after, property, {"patternProperties"},
                        [] { return "the patterns of property names changed"; });
        return;
    }
    for (const auto& [pattern, schema] : *oldPatterns) {
        // No value is built for a name that a pattern describes.
        visitInner(schema, newPatterns->at(pattern), before, after, {"patternProperties", pattern},
                   memberOf(property, "{" + std::string(pattern) + "}"), {std::string(pattern)});
    }
}

void Walk::visitItems(const Place& before, const Place& after, const std::string& property) {
    const auto* const old = before.find("items");
    const auto* const now = after.find("items");
    const auto* const list = arrayIn(old);
    const auto* const newList = arrayIn(now);
    if (old != nullptr && now != nullptr && old->isObject() && now->isObject()) {
        visitInner(*old, *now, before, after, {"items"}, property + "[]", {});
    } else if (list != nullptr && newList != nullptr && list->size() == newList->size()) {
        for (std::size_t i = 0; i < list->size(); ++i) {
            const auto index = std::to_string(i);
            visitInner((*list)[i], (*newList)[i], before, after, {"items", index},
                       property + "[" + index + "]", {std::nullopt, i});
        }
        compareKeywords(before, after, property, {"additionalItems"},
                        [] { return "what further elements may hold changed"; });
    } else {
        compareKeywords(before, after, property, {"items", "additionalItems"},
                        [] { return "what the elements may hold changed"; });
    }
}

void Walk::visitInner(const JSONValue& before, const JSONValue& after, const Place& oldPlace,
                      const Place& newPlace, Keywords components, const std::string& property,
                      Step step) {
    if (!before.isObject() || !after.isObject()) return;
    auto oldPointer = oldPlace.pointer(*components.begin());
    auto newPointer = newPlace.pointer(*components.begin());
    if (components.size() == 2) {
        oldPointer = childPointer(oldPointer, components.begin()[1]);
        newPointer = childPointer(newPointer, components.begin()[1]);
    }
    path_.push_back(std::move(step));
    visit(placeOf(before_, *before.ifObject(), std::move(oldPointer)),
          placeOf(after_, *after.ifObject(), std::move(newPointer)), property);
    path_.pop_back();
}

bool Walk::compareKeywords(const Place& before, const Place& after, const std::string& property,
                           Keywords keywords, const std::function<std::string()>& reason) {
    if (isFull()) return false;
    const bool areSame =
        std::all_of(keywords.begin(), keywords.end(), [&](std::string_view keyword) {
            const auto* const old = before.find(keyword);
            const auto* const now = after.find(keyword);
            if (!areEqual(old, now)) return false;
            if (old == nullptr) return true;
            // What references inside lead to may have changed.
            const JSONObject* const one = now->ifObject();
            if (one != nullptr) return same_.isSame(*one, *old->ifObject());
            const auto* const list = now->ifArray();
            if (list == nullptr || keyword == "enum") return true;
            const auto* other = old->ifArray()->begin();
            return std::all_of(list->begin(), list->end(), [&](const JSONValue& each) {
                const auto& matching = *other++;
                return !each.isObject() || same_.isSame(*each.ifObject(), *matching.ifObject());
            });
        });
    if (areSame) return false;
    const auto keyword =
        *std::find_if(keywords.begin(), keywords.end(), [&](std::string_view each) {
            return each == *(keywords.end() - 1) || !areEqual(before.find(each), after.find(each));
        });
    const auto& place = after.find(keyword) == nullptr ? before : after;
    add(place.pointer(keyword), property, reason(), patched(before),
        patched(before, keywords, &after));
    return true;
}

// NOLINTEND(misc-no-recursion)

bool Walk::mayDecide() const {
    return differences_.size() < mostDecided && fromBefore_.cost() + fromAfter_.cost() < mostCopied;
}

JSONObject Walk::patched(const Place& place, Keywords without, const Place* other) {
    JSONObject schema;
    if (!mayDecide()) return schema;
    for (const auto& part : place.parts) {
        for (const auto& [key, value] : *part.schema) {
            const bool isReplaced = std::find(without.begin(), without.end(), key) != without.end();
            if (isReplaced || !isKeyword(key) || (key == "$ref" && place.isResolved)) continue;
            fromBefore_.add(schema, key, value);
        }
    }
    for (const auto keyword : without) {
        const auto* const value = other == nullptr ? nullptr : other->find(keyword);
        if (value != nullptr) fromAfter_.add(schema, keyword, *value);
    }
    fromBefore_.attachTo(schema);
    fromAfter_.attachTo(schema);
    return schema;
}

JSONObject Walk::patchedNew(const Place& place) {
    JSONObject schema;
    if (!mayDecide()) return schema;
    for (const auto& part : place.parts) {
        for (const auto& [key, value] : *part.schema) {
            if (isKeyword(key) && (key != "$ref" || !place.isResolved))
                fromAfter_.add(schema, key, value);
        }
    }
    fromAfter_.attachTo(schema);
    return schema;
}

JSONObject Walk::reduced(const Place& openness, const JSONValue* member, bool isNew,
                         bool isRequired, std::string_view name) {
    JSONObject schema;
    if (!mayDecide()) return schema;
    for (const auto* const keyword : {"type", "patternProperties", "additionalProperties"}) {
        if (const auto* const value = openness.find(keyword))
            fromBefore_.add(schema, keyword, *value);
    }
    JSONObject named;
    if (member != nullptr)
        named.set(name, (isNew ? fromAfter_ : fromBefore_).copy(*member->ifObject()));
    schema.set("properties", std::move(named));
    if (isRequired) schema.set("required", JSONArray{name});
    fromBefore_.attachTo(schema);
    fromAfter_.attachTo(schema);
    return schema;
}

void Walk::add(std::string pointer, const std::string& property, std::string reason,
               const JSONObject& before, const JSONObject& after, std::string_view member) {
    Decision decision;
    if (mayDecide()) {
        Search search;
        search.steps = 300'000;
        search.values = path_.empty() ? values_ : Sampler::Values::any;
        search.deadline = deadline_;
        decision = decide(before, after, search);
    }
    differences_.push_back({std::move(pointer), property, decision.change, std::move(reason)});
    if (decision.onlyOld || decision.onlyNew) {
        witnesses_.push_back(
            {path_, std::string(member), std::move(decision.onlyOld), std::move(decision.onlyNew)});
    }
}

}  // namespace zentara::schemas::diff
