#include "schemas/check/Checker.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <unordered_set>
#include <utility>

#include "schemas/Format.h"
#include "schemas/KeywordValues.h"
#include "schemas/Schema.h"
#include "schemas/check/DocumentCheck.h"
#include "schemas/check/Phrases.h"

namespace zentara::schemas {

namespace {

using Kinds = std::uint16_t;

/// Integers up to here are exact as doubles.
constexpr double largestExact = 0x1p53;

/// The kinds of values that equal a listed value: the engine compares numbers by their value, and
/// true and false as 1 and 0.
Kinds kindsEqualTo(const JSONValue& listedValue) {
    if (const auto boolean = listedValue.ifBoolean()) return kinds::boolean | kinds::number;
    const auto number = listedValue.asDouble();
    if (!number) return static_cast<Kinds>(kinds::of(listedValue));
    if (std::trunc(*number) != *number) return static_cast<Kinds>(kinds::of(listedValue));
    return *number == 0 || *number == 1 ? kinds::boolean | kinds::number : kinds::number;
}

}  // namespace

void Checker::run() {
    for (const auto node : graph_.order())
        checkNode(node);
    checkDocument(document_, graph_, summaries_, findings_);
    if (hasUnexamined_ || patterns_.hasGuessed()) {
        findings_.add(RuleName::notExamined, "",
                      "The patterns take so long that some were not tried.",
                      "Write fewer and simpler patterns.");
    }
}

void Checker::checkNode(Position node) {
    node_ = node;
    schema_ = graph_.nodes()[node].schema;
    own_ = {0, kinds::all, kinds::all, false, false, false};
    checkType();
    checkKeys();
    checkFormat();
    checkReference();
    checkChoices();
    checkEnum();
    checkTexts();
    checkNumbers();
    checkArrays();
    checkObjects();
    checkResult();
    summaries_[node] = own_;
}

std::string Checker::pointer(std::string_view keyword) const {
    return graph_.pointer(node_, {keyword});
}

std::string Checker::pointer(std::string_view keyword, std::string_view component) const {
    return graph_.pointer(node_, {keyword, component});
}

void Checker::addFault(RuleName rule, std::string pointer, Kinds kinds, std::string reason,
                       std::string advice) {
    refuse(kinds);
    mayRefuse(kinds);
    own_.isExplained = true;
    findings_.add(rule, std::move(pointer), std::move(reason), std::move(advice));
}

/// Keys that the engine ignores, and values that it does.
void Checker::checkKeys() {
    constexpr std::size_t mostUnknownKeys = 20'000;
    for (const auto& [key, value] : *schema_) {
        if (const auto* const keyword = knownKeyword(key)) {
            const bool isExclusive = keyword->expected == Expected::boolean && key[0] == 'e';
            if (isExclusive && value.isNumber()) {
                const std::string bound(key == "exclusiveMinimum" ? "minimum" : "maximum");
                findings_.add(RuleName::numericExclusiveBound, pointer(key),
                              "The engine ignores a number here: the flag excludes the bound.",
                              "Write " + inQuotes(bound) + ": " + shown(*value.asDouble()) + ", " +
                                  inQuotes(key) + ": true.");
            } else if (const auto wrong = wrongValue(keyword->expected, value)) {
                auto where = wrong->component ? pointer(key, *wrong->component) : pointer(key);
                const bool isEntry = key == "dependencies" && wrong->component;
                const std::string expectation(isEntry ? "an object or a list of texts"
                                                      : wrong->expectation);
                findings_.add(
                    RuleName::wrongValue, std::move(where),
                    "The engine ignores " +
                        (isEntry ? std::string("this entry") : inQuotes(key) + " as a whole") +
                        ", since its value is not " + expectation + '.',
                    key == "required" && value.isBoolean()
                        ? "List the name in \"required\" of the object around."
                        : "Write " + expectation + '.');
            } else if (!accepts(keyword->kinds) && accepted_ != 0 && key != "format") {
                findings_.add(RuleName::irrelevantKeyword, pointer(key),
                              inQuotes(key) + " applies to " + namesOf(keyword->kinds) +
                                  ", but the type permits only " + namesOf(accepted_) + '.',
                              "Remove it, or correct the type.");
            } else if (isExclusive && value.ifBoolean() == true &&
                       !number(key == "exclusiveMinimum" ? "minimum" : "maximum")) {
                findings_.add(RuleName::exclusiveWithoutBound, pointer(key),
                              "The flag does nothing without the bound that it excludes.",
                              "Write the bound beside it, or remove it.");
            }
        } else if (const auto* const other = otherKeyword(key)) {
            findings_.add(RuleName::unsupportedKeyword, pointer(key),
                          "The engine ignores " + inQuotes(key) + ", which " +
                              std::string(other->meaning) + " in another dialect.",
                          std::string(other->advice));
        } else if (++unknownKeys_ <= mostUnknownKeys) {
            const auto nearest = resembledKeyword(key);
            if (nearest.empty()) continue;
            findings_.add(RuleName::misspeltKeyword, pointer(key),
                          "The engine ignores " + inQuotes(key) + ", which is no keyword.",
                          "Write " + inQuotes(nearest) + " if that is meant.");
        }
    }
}

void Checker::checkType() {
    accepted_ = kinds::all;
    const auto* const type = find("type");
    if (type == nullptr) return;
    const auto advise = [](std::string_view name) {
        constexpr auto synonyms =
            std::to_array<std::pair<std::string_view, std::string_view>>({{"int", "integer"},
                                                                          {"long", "integer"},
                                                                          {"float", "number"},
                                                                          {"double", "number"},
                                                                          {"bool", "boolean"},
                                                                          {"text", "string"},
                                                                          {"str", "string"},
                                                                          {"list", "array"},
                                                                          {"map", "object"},
                                                                          {"dict", "object"},
                                                                          {"nil", "null"}});
        auto nearest = resembled(name, typeNames);
        for (const auto& [synonym, meant] : synonyms)
            if (synonym == name) nearest = meant;
        return nearest.empty() ? std::string(
                                     "Write object, array, string, integer, number, "
                                     "boolean or null, or leave out the type.")
                               : "Write " + inQuotes(nearest) + '.';
    };
    if (const auto name = type->ifString()) {
        if (!typeNamed(*name)) {
            addFault(RuleName::unknownType, pointer("type"), kinds::all,
                     "No value is of type " + inQuotes(*name) + ", so every value is refused.",
                     advise(*name));
        }
    } else if (const auto* const names = textsOf(type)) {
        for (std::size_t i = 0; i < names->size(); ++i) {
            const auto each = *(*names)[i].ifString();
            if (!typeNamed(each)) {
                addFault(RuleName::unknownType, pointer("type", std::to_string(i)), 0,
                         "No value is of type " + inQuotes(each) + '.', advise(each));
            }
        }
        if (names->empty()) {
            addFault(RuleName::unknownType, pointer("type"), kinds::all,
                     "The list of types is empty, so every value is refused.",
                     "List the types that are permitted, or leave out the type.");
        }
    } else {
        addFault(RuleName::unknownType, pointer("type"), kinds::all,
                 "The type is neither a text nor a list of texts, so every value is refused.",
                 "Write the name of a type, or a list of names.");
    }
    const auto accepted = static_cast<Kinds>(kindsOfType(type));
    own_.accepted = accepted;
    const auto refused = static_cast<Kinds>(kinds::all & ~accepted);
    refuse(refused);
    mayRefuse(refused);
    if (accepted != 0) accepted_ = accepted;
}

void Checker::checkFormat() {
    const auto name = textOf(find("format"));
    if (!name) return;
    const auto formats = standardFormats();
    const auto known = std::find_if(formats.begin(), formats.end(),
                                    [&](const Format& each) { return each.name == *name; });
    if (known != formats.end()) {
        own_.isFatal = known->otherKinds == Format::OtherKinds::fatal;
        mayRefuse(kinds::string);
        if (!own_.isFatal && !accepts(kinds::string)) {
            findings_.add(RuleName::irrelevantKeyword, pointer("format"),
                          "The format applies to texts, but the type permits only " +
                              namesOf(accepted_) + '.',
                          "Remove it, or correct the type.");
        }
        return;
    }
    own_.failsFirst = true;
    constexpr auto names =
        std::to_array<std::string_view>({"ipv4", "ipv6", "uri", "numericString"});
    const auto nearest = *name == "url" ? "uri" : resembled(*name, names);
    addFault(RuleName::unknownFormat, pointer("format"), kinds::all,
             "The engine does not know the format " + inQuotes(*name) +
                 ", so every value is refused, whatever its type.",
             nearest.empty() ? std::string("Remove it, or write a \"pattern\" instead.")
                             : "Write " + inQuotes(nearest) + '.');
}

void Checker::checkReference() {
    const auto text = textOf(find("$ref"));
    if (!text) return;
    const auto fault = graph_.nodes()[node_].fault;
    if (fault != SchemaGraph::ReferenceFault::none) {
        const bool isRemote = fault == SchemaGraph::ReferenceFault::remote;
        const bool isEscaped = text->find('~') != std::string_view::npos;
        const bool isUndecodable = isRemote && text->starts_with("#/");
        addFault(isRemote ? RuleName::remoteReference : RuleName::referenceNotFound,
                 pointer("$ref"), kinds::all,
                 isUndecodable ? "A % is not followed by the digits of UTF-8, so every value that "
                                 "reaches " +
                                     inQuotes(*text) + " is refused."
                 : isRemote ? "The engine reads no other documents and no names, so every value "
                              "that reaches " +
                                  inQuotes(*text) + " is refused."
                            : "Nothing but an object can be referred to, and " + inQuotes(*text) +
                                  " is none, so every value is refused.",
                 isUndecodable ? "Write %25 for a %."
                 : isEscaped   ? "Give the object a name without / and ~, which cannot be escaped."
                               : "Copy the schema into \"definitions\" and refer to it as "
                                 "\"#/definitions/name\".");
    }
    constexpr auto harmless = std::to_array<std::string_view>(
        {"$ref", "title", "description", "default", "definitions", "$defs", "$schema", "id"});
    for (const auto& [key, value] : *schema_) {
        const auto* const known = knownKeyword(key);
        if (known == nullptr || std::find(harmless.begin(), harmless.end(), key) != harmless.end())
            continue;
        findings_.add(RuleName::referenceSiblings, pointer(key),
                      inQuotes(key) +
                          " beside \"$ref\" applies to the same value here, while other "
                          "validators of draft 4 ignore it.",
                      "Write \"allOf\" with the reference, and the other keywords beside it.");
        break;
    }
    if (const auto edges = graph_.edges(node_);
        !edges.empty() && edges.front().keyword == Keyword::reference) {
        const auto& target = summaries_[edges.front().target];
        refuse(target.fails);
        mayRefuse(static_cast<Kinds>(~target.passes));
        own_.isExplained |= target.isExplained;
    }
}

void Checker::checkChoices() {
    for (const std::string_view keyword : {"anyOf", "oneOf"}) {
        const auto* const value = find(keyword);
        const auto* const list = value == nullptr ? nullptr : value->ifArray();
        if (list == nullptr || !list->empty()) continue;
        addFault(RuleName::emptyChoice, pointer(keyword), kinds::all,
                 "No value passes one of no schemas, so every value is refused.",
                 "List the schemas to choose from, or remove it.");
    }
    struct Choice {
        Kinds may = 0, once = 0, several = 0, undecided = 0;  // that subschemas may or do accept
        bool isPresent = false;
    };
    Choice any;
    Choice one;
    for (const auto& edge : graph_.edges(node_)) {
        const auto& target = summaries_[edge.target];
        if (edge.isSameValue() && edge.keyword != Keyword::dependencies)
            own_.isExplained |= target.isExplained;
        if (edge.keyword == Keyword::allOf) {
            refuse(target.fails);
            mayRefuse(static_cast<Kinds>(~target.passes));
        } else if (edge.keyword == Keyword::anyOf || edge.keyword == Keyword::oneOf) {
            auto& choice = edge.keyword == Keyword::anyOf ? any : one;
            choice.isPresent = true;
            choice.may = static_cast<Kinds>(choice.may | (kinds::all & ~target.fails));
            choice.several = static_cast<Kinds>(choice.several | (choice.once & target.passes));
            choice.once |= target.passes;
            choice.undecided = static_cast<Kinds>(choice.undecided |
                                                  (kinds::all & ~(target.fails | target.passes)));
        } else if (edge.keyword == Keyword::negation) {
            refuse(target.passes);
            mayRefuse(static_cast<Kinds>(~target.fails));
            // "not": {} is a way to forbid a property.
            own_.isExplained |= target.passes != 0;
        } else if (edge.keyword == Keyword::dependencies) {
            mayRefuse(kinds::object);
        }
    }
    if (any.isPresent) {
        refuse(static_cast<Kinds>(kinds::all & ~any.may));
        mayRefuse(static_cast<Kinds>(~any.once));
    }
    if (one.isPresent) {
        refuse(static_cast<Kinds>((kinds::all & ~one.may) | one.several));
        mayRefuse(static_cast<Kinds>(~one.once | one.several | one.undecided));
    }
}

void Checker::checkEnum() {
    const auto* const value = find("enum");
    const auto* const list = value == nullptr ? nullptr : value->ifArray();
    if (list == nullptr) return;
    mayRefuse(kinds::all);
    // Keywords that treat equal values alike.
    JSONObject others;
    for (const std::string_view keyword :
         {"minLength", "maxLength", "pattern", "minimum", "maximum", "exclusiveMinimum",
          "exclusiveMaximum", "multipleOf"}) {
        if (const auto* const other = find(keyword)) others.set(keyword, *other);
    }
    const bool hasOthers = !others.empty();
    const Schema rest(std::move(others));
    const auto isPossible = [&](const JSONValue& each) {
        const auto equal = static_cast<Kinds>(kindsEqualTo(each) & accepted_);
        if (equal == 0) return false;
        const bool isChecked = hasOthers && (each.isString() || (equal & ~kinds::number) == 0);
        return !isChecked || patterns_.isOver() || rest.validate(each).valid();
    };
    Kinds listedKinds = 0;
    std::vector<std::size_t> unused;
    for (std::size_t i = 0; i < list->size(); ++i) {
        const auto& each = (*list)[i];
        if (isPossible(each)) {
            listedKinds |= kindsEqualTo(each);
        } else {
            unused.push_back(i);
        }
    }
    if (unused.size() == list->size()) {
        addFault(RuleName::impossibleEnum, pointer("enum"), kinds::all,
                 list->empty() ? "The list is empty, so every value is refused."
                               : "No listed value meets the other keywords, so every value is "
                                 "refused.",
                 "List values that the other keywords permit.");
        return;
    }
    for (const auto i : unused) {
        findings_.add(RuleName::unusedEnumValue, pointer("enum", std::to_string(i)),
                      "The other keywords refuse this listed value.",
                      "Remove it, or correct the other keywords.");
    }
    refuse(static_cast<Kinds>(kinds::all & ~listedKinds));
}

/// Bounds of sizes: "minLength" and "maxLength" and their like.
void Checker::checkPair(std::string_view low, std::string_view high, Kinds kinds,
                        std::string_view what) {
    const auto least = integer(low);
    const auto most = integer(high);
    if (least.value_or(0) > 0 || most) mayRefuse(kinds);
    if (!accepts(kinds)) return;
    if (most && *most < 0) {
        addFault(RuleName::impossibleBounds, pointer(high), kinds,
                 "No " + std::string(what) + " has a size below 0.", "Write 0 or more.");
    } else if (least && most && *least > *most) {
        addFault(RuleName::impossibleBounds, pointer(low), kinds,
                 "No " + std::string(what) + " has at least " + std::to_string(*least) +
                     " and at most " + std::to_string(*most) + '.',
                 "Exchange the bounds, or correct one of them.");
    } else if (least && *least < 0) {
        findings_.add(RuleName::withoutEffect, pointer(low),
                      "Every size is above a negative bound.",
                      "Remove it, or write the size that is meant.");
    }
}

void Checker::checkPattern(std::string pointer, std::string_view pattern, Kinds refused) {
    const auto& verdict = patterns_.of(pattern);
    hasUnexamined_ = hasUnexamined_ || !verdict.isExamined;
    if (!verdict.isValid) {
        addFault(RuleName::invalidPattern, std::move(pointer), refused,
                 (pattern.empty() ? "The empty pattern is not valid, so every "
                                  : "The pattern does not compile, or takes too long to compile, "
                                    "so every ") +
                     std::string(refused == kinds::string ? "text" : "object") + " is refused.",
                 pattern.empty() ? "Remove it, or write \".*\"."
                                 : "Correct it (ICU's dialect), or write a shorter one.");
        return;
    }
    if (!verdict.costlyText.empty()) {
        findings_.add(RuleName::costlyPattern, pointer,
                      "A text of " + std::to_string(verdict.costlyText.size()) +
                          " characters such as " + inQuotes(verdict.costlyText.substr(0, 12)) +
                          " repeated takes " + std::to_string(verdict.percent) +
                          "% of the most work of a match; beyond it a text does not match.",
                      "Avoid repetitions within repetitions, and look-ahead.");
    }
    if (const auto reason = missingAnchors(pattern)) {
        findings_.add(RuleName::unanchoredPattern, std::move(pointer), *reason,
                      "Write \"^(?:…)$\" around it if it is to match the whole text.");
    }
}

void Checker::checkTexts() {
    checkPair("minLength", "maxLength", kinds::string, "text");
    const auto pattern = textOf(find("pattern"));
    if (!pattern) return;
    mayRefuse(kinds::string);
    if (accepts(kinds::string)) checkPattern(pointer("pattern"), *pattern, kinds::string);
}

void Checker::checkNumbers() {
    const auto least = number("minimum");
    const auto most = number("maximum");
    const auto unit = number("multipleOf");
    if (least || most || unit.value_or(0) > 0) mayRefuse(kinds::number);
    if (!accepts(kinds::number)) return;
    if (unit && *unit <= 0) {
        findings_.add(RuleName::withoutEffect, pointer("multipleOf"),
                      "The engine ignores a divisor that is not above 0.",
                      "Write a positive number, or remove it.");
    }
    const bool isAbove = isTrue("exclusiveMinimum");
    const bool isBelow = isTrue("exclusiveMaximum");
    if (least && most && (*least > *most || (*least == *most && (isAbove || isBelow)))) {
        addFault(RuleName::impossibleBounds, pointer("minimum"), kinds::number,
                 "No number is " + std::string(isAbove ? "above " : "at least ") + shown(*least) +
                     " and " + (isBelow ? "below " : "at most ") + shown(*most) + '.',
                 "Exchange the bounds, or correct one of them.");
    } else if (least && most && (accepted_ & kinds::number) == kinds::integer &&
               std::max(std::abs(*least), std::abs(*most)) < largestExact) {
        const double first = std::ceil(*least);
        const double last = std::floor(*most);
        checkIntegers(isAbove && first == *least ? first + 1 : first,
                      isBelow && last == *most ? last - 1 : last);
    }
}

void Checker::checkIntegers(double lowest, double highest) {
    if (lowest > highest) {
        addFault(RuleName::impossibleBounds, pointer("minimum"), kinds::integer,
                 "No integer lies between the bounds.", "Correct the bounds, or write number.");
        return;
    }
    const auto unit = number("multipleOf").value_or(0);
    if (unit < 1 || std::trunc(unit) != unit || unit >= largestExact) return;
    if (std::ceil(lowest / unit) * unit > highest) {
        addFault(RuleName::impossibleBounds, pointer("multipleOf"), kinds::integer,
                 "No multiple of " + shown(unit) + " lies between the bounds.",
                 "Correct the bounds or the divisor.");
    }
}

void Checker::checkArrays() {
    checkPair("minItems", "maxItems", kinds::array, "array");
    const auto* const items = find("items");
    const auto* const list = schemasOf(items);
    if (isTrue("uniqueItems") || list != nullptr || (items != nullptr && items->isObject()))
        mayRefuse(kinds::array);
    if (!accepts(kinds::array)) return;
    const auto* const additional = find("additionalItems");
    const bool restricts =
        additional != nullptr && (isFalse("additionalItems") || additional->isObject());
    if (list == nullptr && restricts) {
        findings_.add(RuleName::withoutEffect, pointer("additionalItems"),
                      "The engine reads it only beside a list of \"items\".",
                      "Write \"items\" with a list of schemas, or remove it.");
    }
    const auto least = integer("minItems").value_or(0);
    if (list != nullptr && isFalse("additionalItems") && least > 0 &&
        static_cast<std::size_t>(least) > list->size()) {
        addFault(RuleName::impossibleBounds, pointer("minItems"), kinds::array,
                 "\"additionalItems\": false permits at most " + std::to_string(list->size()) +
                     " elements, and at least " + std::to_string(least) + " are demanded.",
                 "Lower the bound, or permit more elements.");
    }
}

void Checker::checkObjects() {
    checkPair("minProperties", "maxProperties", kinds::object, "object");
    for (const std::string_view keyword :
         {"properties", "patternProperties", "required", "dependencies"}) {
        const auto* const value = find(keyword);
        const bool isEmpty = value == nullptr ||
                             (value->isObject() && value->ifObject()->empty()) ||
                             (value->isArray() && value->ifArray()->empty());
        if (!isEmpty) mayRefuse(kinds::object);
    }
    const auto* const additional = find("additionalProperties");
    if (isFalse("additionalProperties") || (additional != nullptr && additional->isObject()))
        mayRefuse(kinds::object);
    if (!accepts(kinds::object)) return;
    const auto* const patterns = namedSchemasOf(find("patternProperties"));
    if (patterns != nullptr) {
        for (const auto& [pattern, schema] : *patterns)
            checkPattern(pointer("patternProperties", pattern), pattern, kinds::object);
    }
    checkRequired();
    const auto* const properties = namedSchemasOf(find("properties"));
    const auto possible = properties == nullptr ? 0 : properties->size();
    const auto least = integer("minProperties").value_or(0);
    if (isFalse("additionalProperties") && (patterns == nullptr || patterns->empty()) &&
        least > 0 && static_cast<std::size_t>(least) > possible) {
        addFault(RuleName::impossibleBounds, pointer("minProperties"), kinds::object,
                 "\"additionalProperties\": false permits " + std::to_string(possible) +
                     " properties, and at least " + std::to_string(least) + " are demanded.",
                 "Lower the bound, or declare more properties.");
    }
}

void Checker::checkRequired() {
    const auto* const required = textsOf(find("required"));
    if (required == nullptr) return;
    const auto most = integer("maxProperties");
    std::unordered_set<std::string_view> names;
    for (const auto& each : *required)
        names.insert(*each.ifString());
    if (most && *most >= 0 && names.size() > static_cast<std::size_t>(*most)) {
        addFault(RuleName::impossibleBounds, pointer("maxProperties"), kinds::object,
                 "Only " + std::to_string(*most) + " of " + std::to_string(names.size()) +
                     " required properties can be present.",
                 "Raise the bound, or require fewer properties.");
    }
    if (!isFalse("additionalProperties")) return;
    const auto* const properties = namedSchemasOf(find("properties"));
    const auto* const patterns = namedSchemasOf(find("patternProperties"));
    const auto isPermitted = [&](std::string_view name) {
        if (properties != nullptr && properties->contains(name)) return true;
        return patterns != nullptr &&
               std::any_of(patterns->begin(), patterns->end(), [&](const JSONMember& each) {
                   return patterns_.mayMatch(each.key(), name);
               });
    };
    for (std::size_t i = 0; i < required->size(); ++i) {
        const auto name = *(*required)[i].ifString();
        if (names.erase(name) == 0 || isPermitted(name)) continue;
        addFault(RuleName::requiredButForbidden, pointer("required", std::to_string(i)),
                 kinds::object,
                 inQuotes(name) +
                     " is required, but \"additionalProperties\": false forbids it, so "
                     "every object is refused.",
                 "Declare it in \"properties\", or do not require it.");
    }
}

void Checker::checkResult() {
    if (graph_.isEndless(node_)) own_.isExplained = true;
    if (own_.isExplained) return;
    if (own_.fails == kinds::all) {
        addFault(RuleName::noValidValue, pointer(), kinds::all,
                 "The keywords contradict each other: no value is valid here.",
                 "Correct the types, or write \"not\": {} if every value is to be refused.");
    } else if (node_ == 0 && (own_.fails & kinds::object) != 0) {
        addFault(RuleName::noValidValue, "", kinds::object,
                 "The properties of an event are an object, and no object is valid here.",
                 "Write \"type\": \"object\" and the properties.");
    }
}

}  // namespace zentara::schemas
