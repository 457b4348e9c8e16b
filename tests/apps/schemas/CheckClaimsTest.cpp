#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include "RandomSchemas.h"
#include "schemas/Schema.h"
#include "schemas/SchemaNodes.h"
#include "schemas/check/Check.h"
#include "schemas/check/Vocabulary.h"
#include "schemas/values/Sampler.h"
#include "support/Files.h"

namespace zentara::schemas {

namespace {

std::vector<Finding> findingsIn(const JSONObject& document) {
    return check(SchemaFile::fromText("case-1.json", JSONValue(document).text()));
}

/// The groups of the published cases that have an object as schema.
std::vector<JSONValue> publishedGroups() {
    std::vector<JSONValue> groups;
    const std::filesystem::path folder = ZENTARA_JSON_SCHEMA_SUITE "/draft4";
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
        if (entry.path().extension() != ".json") continue;
        const auto document = JSONValue::parse(test::contentsOf(entry.path()));
        for (const auto& group : document.array())
            if (group.at("schema").isObject()) groups.push_back(group);
    }
    return groups;
}

std::vector<JSONValue> publishedValues() {
    std::vector<JSONValue> values;
    for (const auto& group : publishedGroups())
        for (const auto& each : group.at("tests").array())
            values.push_back(each.at("data"));
    return values;
}

/// The document below "original", where its references lead.
JSONValue moved(const JSONValue& value) {
    if (const auto* const list = value.ifArray()) {
        JSONArray all;
        for (const auto& each : *list)
            all.push_back(moved(each));
        return all;
    }
    const auto* const object = value.ifObject();
    if (object == nullptr) return value;
    JSONObject all;
    for (const auto& [key, member] : *object) {
        const auto text = member.ifString();
        all.set(key, key == "$ref" && text && text->starts_with('#')
                         ? JSONValue("#/original" + std::string(text->substr(1)))
                         : moved(member));
    }
    return all;
}

/// A schema that is the subschema around the keyword that a finding is about.
JSONObject schemaAround(const JSONObject& document, const Finding& finding, std::string& keyword) {
    const auto original = moved(document);
    const auto* current = &original;
    auto rest = finding.pointer;
    keyword.clear();
    const JSONValue* schema = current;
    while (!rest.empty()) {
        const auto end = std::min(rest.find('/', 1), rest.size());
        auto component = rest.substr(1, end - 1);
        rest.erase(0, end);
        for (const auto& [escape, plain] : {std::pair{"~1", "/"}, std::pair{"~0", "~"}})
            for (auto at = component.find(escape); at != std::string::npos;
                 at = component.find(escape))
                component.replace(at, 2, plain);
        const auto* const object = current->ifObject();
        const bool isKeyword = object != nullptr && knownKeyword(component) != nullptr;
        if (isKeyword && finding.rule->number != "ZS116") {
            schema = current;
            keyword = component;
        }
        current = object != nullptr ? object->find(component)
                                    : &current->array().at(std::stoul(component));
        if (finding.rule->number == "ZS116") schema = current;
    }
    JSONObject around{{"original", original}};
    around["allOf"] = JSONArray{*schema};
    return around;
}

struct Figures {
    int schemas = 0, claims = 0, values = 0, unconfirmed = 0;
};

/// Whether the engine refuses every value that a fault is about, for the reason that it gives.
bool isConfirmed(const JSONObject& document, const Finding& finding,
                 const std::vector<JSONValue>& values, Figures& figures) {
    std::string keyword;
    const auto around = schemaAround(document, finding, keyword);
    const Schema schema(around, stoppingFormats());
    const auto number = finding.rule->number;
    auto claimed = number == "ZS116" && finding.pointer.empty() ? kinds::object : kinds::all;
    if (number == "ZS108" || number == "ZS112" || number == "ZS114")
        claimed = knownKeyword(keyword)->kinds;
    const std::vector<std::pair<std::string_view, std::string_view>> reasons = {
        {"ZS105", "Reference not found"},   {"ZS106", "Remote $ref"},
        {"ZS107", "leads back to itself"},  {"ZS108", "is not "},
        {"ZS110", "is not yet supported."}, {"ZS111", stoppedByFormat}};
    const auto reason = std::find_if(reasons.begin(), reasons.end(),
                                     [&](const auto& each) { return each.first == number; });
    const bool isForSome = number == "ZS107" || number == "ZS111";
    bool isSeen = false;
    auto all = values;
    // The sampler looks for values that are accepted.
    Sampler sampler(around, 3, Sampler::Values::any);
    for (int i = 0; i < 3; ++i)
        if (auto drawn = sampler.valid()) all.push_back(*std::move(drawn));
    for (const auto& value : all) {
        if ((kinds::of(value) & claimed) == 0) continue;
        ++figures.values;
        const auto errors = schema.validate(value).errors();
        const bool isRight =
            errors && (reason == reasons.end() ||
                       std::any_of(errors->begin(), errors->end(), [&](const std::string& each) {
                           return each.find(reason->second) != std::string::npos;
                       }));
        if (!isRight && !isForSome) return false;
        isSeen = isSeen || isRight;
    }
    return isSeen;
}

void confirm(const JSONObject& document, const std::vector<JSONValue>& values, Figures& figures) {
    ++figures.schemas;
    bool hasFault = false;
    for (const auto& finding : findingsIn(document)) {
        if (!finding.isFault()) continue;
        hasFault = true;
        ++figures.claims;
        if (isConfirmed(document, finding, values, figures)) continue;
        ++figures.unconfirmed;
        ADD_FAILURE() << finding.rule->number << ' ' << finding.pointer << ' '
                      << JSONValue(document).text();
    }
    if (hasFault) return;
    ++figures.claims;
    const Schema schema(document, stoppingFormats());
    const auto accepts = [&](const JSONValue& value) {
        return schema.validate(value).valid();
    };
    if (std::any_of(values.begin(), values.end(), accepts)) return;
    if (Sampler(document, 1, Sampler::Values::any).valid()) return;
    ++figures.unconfirmed;
    ADD_FAILURE() << "nothing is accepted: " << JSONValue(document).text();
}

void record(const Figures& figures) {
    testing::Test::RecordProperty("schemas", figures.schemas);
    testing::Test::RecordProperty("claims", figures.claims);
    testing::Test::RecordProperty("values", figures.values);
    testing::Test::RecordProperty("counterExamples", figures.unconfirmed);
    std::cout << figures.schemas << " schemas, " << figures.claims << " claims, " << figures.values
              << " values refused, " << figures.unconfirmed << " counter-examples\n";
}

}  // namespace

TEST(CheckClaims, EngineConfirmsThePublishedSchemas) {
    const auto values = publishedValues();
    Figures figures;
    for (const auto& group : publishedGroups())
        confirm(group.at("schema").object(), values, figures);
    EXPECT_GT(figures.schemas, 100);
    record(figures);
}

TEST(CheckClaims, PlantedFaultsAreFoundAndTrue) {
    const struct {
        std::string number, keyword;
        JSONObject fault;
    } plants[] = {
        {"ZS105", "$ref", {{"$ref", "#/definitions/nowhere/at all"}}},
        {"ZS106", "$ref", {{"$ref", "other.json"}}},
        {"ZS108", "pattern", {{"pattern", "[a"}}},
        {"ZS109", "type", {{"type", "date"}}},
        {"ZS110", "format", {{"format", "date-time"}}},
        {"ZS111", "format", {{"type", {"string", "null"}}, {"format", "numericString"}}},
        {"ZS112", "minLength", {{"minLength", 4}, {"maxLength", 3}}},
        {"ZS112", "minimum", {{"minimum", 4}, {"maximum", 3.5}}},
        {"ZS112", "minItems", {{"minItems", 4}, {"maxItems", 3}}},
        {"ZS113", "enum", {{"enum", JSONArray()}}},
        {"ZS114", "required/0", {{"required", {"a"}}, {"additionalProperties", false}}},
        {"ZS115", "oneOf", {{"oneOf", JSONArray()}}},
    };
    const auto values = publishedValues();
    Figures figures;
    for (std::uint64_t seed = 0; seed < 100; ++seed) {
        auto document = randomSchema(seed);
        confirm(document, values, figures);
        auto& properties = document["properties"];
        if (properties.isNull()) properties = JSONObject();
        for (const auto& plant : plants) {
            properties["planted"] = plant.fault;
            const auto findings = findingsIn(document);
            const auto pointer = "/properties/planted/" + plant.keyword;
            EXPECT_TRUE(std::any_of(findings.begin(), findings.end(),
                                    [&](const Finding& each) {
                                        return each.rule->number == plant.number &&
                                               each.pointer == pointer;
                                    }))
                << plant.number << JSONValue(document).text();
            confirm(document, values, figures);
        }
    }
    record(figures);
}

namespace {

/// A schema of the keywords that decide whether "numericString" is reached.
class SmallSchemas {
  public:
    explicit SmallSchemas(unsigned seed) : random_(seed) {}

    JSONObject document() {
        JSONObject document;
        document["properties"]["a"] = schema(3);
        document["definitions"] = JSONObject{{"x", schema(1)}, {"y", schema(2)}};
        return document;
    }

  private:
    std::size_t below(std::size_t limit) { return random_() % limit; }
    JSONValue type() {
        constexpr const char* names[] = {"string", "null", "integer", "number", "object", "array"};
        if (below(3) > 0) return names[below(6)];
        return JSONArray{names[below(6)], names[below(6)]};
    }
    JSONObject schema(int depth) {
        JSONObject schema;
        if (below(3) == 0) schema["type"] = type();
        if (below(6) == 0) schema["enum"] = JSONArray{"1.5", nullptr};
        if (below(5) == 0 || depth == 0) schema["format"] = "numericString";
        if (depth == 0) return schema;
        if (below(5) == 0) schema["$ref"] = below(2) == 0 ? "#/definitions/x" : "#/definitions/y";
        for (const auto* const keyword : {"allOf", "anyOf", "oneOf"}) {
            if (below(4) > 0) continue;
            JSONArray choices;
            for (auto left = 1 + below(3); left > 0; --left)
                choices.push_back(this->schema(depth - 1));
            schema[keyword] = choices;
        }
        if (below(6) == 0) schema["not"] = this->schema(depth - 1);
        if (below(8) == 0) schema["items"] = this->schema(depth - 1);
        if (below(8) == 0) schema["properties"] = JSONObject{{"b", this->schema(depth - 1)}};
        if (below(9) == 0) schema["dependencies"] = JSONObject{{"b", this->schema(depth - 1)}};
        return schema;
    }

    std::mt19937 random_;
};

}  // namespace

TEST(CheckClaims, NothingUnannouncedEndsTheProcess) {
    // As if the format were not fatal.
    std::vector<Format> harmless(standardFormats().begin(), standardFormats().end());
    for (auto& format : harmless)
        format.otherKinds = Format::OtherKinds::accepted;
    std::vector<JSONValue> values;
    for (const auto* const text :
         {"null", "true", "1", "1.5", "\"1.5\"", "\"x\"", "[]", "[1]", "[\"1.5\"]", "[null]", "{}",
          "{\"b\":1}", "{\"b\":\"1.5\"}", "{\"b\":null}", "{\"b\":{}}", "{\"b\":[]}"})
        values.push_back(JSONObject{{"a", JSONValue::parse(text)}});
    int ends = 0;
    int faults = 0;
    int witnessed = 0;
    for (unsigned seed = 0; seed < 3000; ++seed) {
        const auto document = SmallSchemas(seed).document();
        bool isFault = false;
        bool isWarning = false;
        for (const auto& each : findingsIn(document)) {
            isFault = isFault || each.rule->number == "ZS111";
            isWarning = isWarning || each.rule->number == "ZS213";
        }
        bool endsForValid = false;
        bool endsForAny = false;
        const Schema safe(document, stoppingFormats());
        const Schema tolerant(document, harmless);
        for (const auto& value : values) {
            const auto errors = safe.validate(value).errors();
            if (!errors || errors->empty() || errors->back() != stoppedByFormat) continue;
            endsForAny = true;
            endsForValid = endsForValid || tolerant.validate(value).valid();
        }
        ends += endsForAny ? 1 : 0;
        faults += isFault ? 1 : 0;
        witnessed += isFault && endsForValid ? 1 : 0;
        EXPECT_TRUE(!endsForAny || isFault || isWarning) << JSONValue(document).text();
        EXPECT_TRUE(!endsForValid || isFault) << JSONValue(document).text();
    }
    EXPECT_GT(ends, 300);
    EXPECT_GT(witnessed, faults / 2);
    std::cout << ends << " schemas end the process for some value; of " << faults
              << " with the fault, " << witnessed << " for a valid value\n";
}

}  // namespace zentara::schemas
