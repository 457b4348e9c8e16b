#include "schemas/check/Vocabulary.h"

#include <algorithm>
#include <array>
#include <vector>

#include "schemas/SchemaNodes.h"
#include "support/ASCII.h"

namespace zentara::schemas {

namespace {

constexpr auto known = std::to_array<KnownKeyword>({
    {"format", kinds::string, Expected::text},
    {"$ref", kinds::all, Expected::text},
    {"type", kinds::all, Expected::any},
    {"allOf", kinds::all, Expected::objects},
    {"anyOf", kinds::all, Expected::objects},
    {"oneOf", kinds::all, Expected::objects},
    {"not", kinds::all, Expected::object},
    {"enum", kinds::all, Expected::list},
    {"maxLength", kinds::string, Expected::integer},
    {"minLength", kinds::string, Expected::integer},
    {"pattern", kinds::string, Expected::text},
    {"multipleOf", kinds::number, Expected::number},
    {"minimum", kinds::number, Expected::number},
    {"maximum", kinds::number, Expected::number},
    {"minItems", kinds::array, Expected::integer},
    {"maxItems", kinds::array, Expected::integer},
    {"uniqueItems", kinds::array, Expected::boolean},
    {"items", kinds::array, Expected::items},
    {"maxProperties", kinds::object, Expected::integer},
    {"minProperties", kinds::object, Expected::integer},
    {"required", kinds::object, Expected::texts},
    {"properties", kinds::object, Expected::dictionary},
    {"dependencies", kinds::object, Expected::dependencies},
    {"exclusiveMinimum", kinds::number, Expected::boolean},
    {"exclusiveMaximum", kinds::number, Expected::boolean},
    {"additionalItems", kinds::array, Expected::objectOrBoolean},
    {"patternProperties", kinds::object, Expected::dictionary},
    {"additionalProperties", kinds::object, Expected::objectOrBoolean},
});

constexpr auto others = std::to_array<OtherKeyword>({
    {"const", "permits one value", R"(Write "enum" with one value.)"},
    {"if", "applies \"then\" or \"else\"",
     R"(Write "anyOf" of the two cases, one of them with "not".)"},
    {"then", "applies if \"if\" passes", R"(Write "anyOf" of the two cases.)"},
    {"else", "applies if \"if\" fails", R"(Write "anyOf" of the two cases.)"},
    {"contains", "demands an element of a kind",
     R"(Write "not": {"items": {"not": …}} with the schema of the element inside.)"},
    {"minContains", "counts such elements", "Leave it out: elements cannot be counted by kind."},
    {"maxContains", "counts such elements", "Leave it out: elements cannot be counted by kind."},
    {"propertyNames", "restricts the names of properties",
     R"(Write "patternProperties" and "additionalProperties": false.)"},
    {"dependentRequired", "demands further properties",
     R"(Write "dependencies" with a list of names.)"},
    {"dependentSchemas", "applies a schema if a property is present",
     R"(Write "dependencies" with a schema.)"},
    {"prefixItems", "has a schema for each of the first elements",
     R"(Write "items" with a list of schemas.)"},
    {"unevaluatedProperties", "restricts further properties",
     R"(Write "additionalProperties" where the properties are listed.)"},
    {"unevaluatedItems", "restricts further elements",
     R"(Write "additionalItems" beside a list of "items".)"},
    {"$id", "is the base of references",
     R"(Leave it out: "$ref" always begins with "#/" at the root of the document.)"},
    {"$anchor", "names a schema for references",
     R"(Refer to it by its path, as "#/definitions/name".)"},
    {"$dynamicRef", "refers to a schema", R"(Write "$ref".)"},
    {"$recursiveRef", "refers to a schema", R"(Write "$ref".)"},
    {"$dynamicAnchor", "names a schema for references",
     R"(Refer to it by its path, as "#/definitions/name".)"},
    {"contentEncoding", "says how a text is encoded", R"(Write a "pattern" if it matters.)"},
    {"contentMediaType", "says what a text holds", R"(Write a "pattern" if it matters.)"},
    {"contentSchema", "describes what a text holds", R"(Write a "pattern" if it matters.)"},
    {"divisibleBy", "demands multiples", R"(Write "multipleOf".)"},
    {"extends", "adds a schema", R"(Write "allOf".)"},
    {"disallow", "forbids types", R"(Write "not" with a "type".)"},
    {"nullable", "permits null", R"(Write "type" as a list with "null".)"},
    {"discriminator", "chooses a schema by a property", R"(Write "oneOf" with an "enum" each.)"},
});

// Keys with a meaning for people and programs, or common in schemas.
constexpr auto annotations = std::to_array<std::string_view>({
    "$schema", "id",          "$comment", "$defs",    "$vocabulary", "title",    "description",
    "default", "definitions", "example",  "examples", "deprecated",  "readOnly", "writeOnly",
    "note",    "notes",       "name",     "version",  "owner",       "tags",
});

/// The number of letters to insert, remove, replace or exchange with the next.
std::size_t distance(std::string_view one, std::string_view other) {
    std::vector<std::size_t> before(other.size() + 1), last(other.size() + 1),
        row(other.size() + 1);
    for (std::size_t j = 0; j <= other.size(); ++j)
        row[j] = j;
    for (std::size_t i = 1; i <= one.size(); ++i) {
        before.swap(last);
        last.swap(row);
        row[0] = i;
        for (std::size_t j = 1; j <= other.size(); ++j) {
            const std::size_t replaced = last[j - 1] + (one[i - 1] == other[j - 1] ? 0 : 1);
            row[j] = std::min({last[j] + 1, row[j - 1] + 1, replaced});
            if (i > 1 && j > 1 && one[i - 1] == other[j - 2] && one[i - 2] == other[j - 1])
                row[j] = std::min(row[j], before[j - 2] + 1);
        }
    }
    return row[other.size()];
}

template <typename List>
auto find(const List& list, std::string_view key) noexcept {
    const auto found = std::find_if(list.begin(), list.end(),
                                    [key](const auto& each) { return each.spelling == key; });
    return found == list.end() ? nullptr : &*found;
}

template <typename Predicate>
std::optional<WrongValue> wrongElement(const JSONValue& value, std::string_view expectation,
                                       const Predicate& isRight) {
    const auto* const list = value.ifArray();
    if (list == nullptr) return WrongValue{std::nullopt, expectation};
    const auto* const wrong = std::find_if_not(list->begin(), list->end(), isRight);
    if (wrong == list->end()) return std::nullopt;
    return WrongValue{std::to_string(wrong - list->begin()), expectation};
}

template <typename Predicate>
std::optional<WrongValue> wrongMember(const JSONValue& value, std::string_view expectation,
                                      const Predicate& isRight) {
    const auto* const object = value.ifObject();
    if (object == nullptr) return WrongValue{std::nullopt, expectation};
    for (const auto& [name, member] : *object)
        if (!isRight(member)) return WrongValue{std::string(name), expectation};
    return std::nullopt;
}

}  // namespace

const KnownKeyword* knownKeyword(std::string_view key) noexcept {
    return find(known, key);
}

const OtherKeyword* otherKeyword(std::string_view key) noexcept {
    return find(others, key);
}

std::string_view resembled(std::string_view text, std::span<const std::string_view> names) {
    constexpr std::size_t longest = 30;
    if (text.size() > longest) return {};
    const auto lower = lowerCase(std::string(text));
    std::string_view nearest;
    std::size_t least = 3;
    for (const auto name : names) {
        const auto most = name.size() < 4 ? std::size_t{0} : name.size() < 6 ? 1U : 2U;
        if (lower.size() > name.size() + most || name.size() > lower.size() + most) continue;
        const auto found = distance(lower, lowerCase(std::string(name)));
        if (found > most || found >= least) continue;
        least = found;
        nearest = name;
    }
    return nearest;
}

std::string_view resembledKeyword(std::string_view key) {
    static const auto names = [] {
        std::vector<std::string_view> all;
        for (const auto& each : known)
            all.push_back(each.spelling);
        return all;
    }();
    if (std::find(annotations.begin(), annotations.end(), key) != annotations.end()) return {};
    return key == "ref" ? "$ref" : resembled(key, names);
}

std::optional<WrongValue> wrongValue(Expected expected, const JSONValue& value) {
    const auto isObject = [](const JSONValue& each) {
        return each.isObject();
    };
    const auto isText = [](const JSONValue& each) {
        return each.isString();
    };
    const auto unless = [](bool isRight, std::string_view expectation) {
        return isRight ? std::nullopt : std::optional(WrongValue{std::nullopt, expectation});
    };
    switch (expected) {
        case Expected::text:
            return unless(value.isString(), "a text");
        case Expected::number:
            return unless(value.isNumber(), "a number");
        case Expected::integer:
            return unless(value.asInteger().has_value(), "an integer of 64 bits");
        case Expected::boolean:
            return unless(value.isBoolean(), "true or false");
        case Expected::object:
            return unless(value.isObject(), "an object");
        case Expected::list:
            return unless(value.isArray(), "a list");
        case Expected::objectOrBoolean:
            return unless(value.isObject() || value.isBoolean(), "an object, true or false");
        case Expected::objects:
            return wrongElement(value, "a list of objects", isObject);
        case Expected::texts:
            return wrongElement(value, "a list of texts", isText);
        case Expected::dictionary:
            return wrongMember(value, "an object of objects", isObject);
        case Expected::items:
            if (value.isObject()) return std::nullopt;
            return wrongElement(value, "an object or a list of objects", isObject);
        case Expected::dependencies:
            return wrongMember(
                value, "an object of objects and lists of texts", [&](const JSONValue& each) {
                    const auto* const list = each.ifArray();
                    return each.isObject() ||
                           (list != nullptr && std::all_of(list->begin(), list->end(), isText));
                });
        case Expected::any:
            break;
    }
    return std::nullopt;
}

}  // namespace zentara::schemas
