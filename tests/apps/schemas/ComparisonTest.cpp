#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "ProgramRun.h"
#include "RandomSchemas.h"
#include "schemas/Schema.h"
#include "schemas/diff/Comparison.h"
#include "schemas/files/SchemaFile.h"
#include "schemas/values/Sampler.h"
#include "support/Files.h"

namespace zentara::schemas {
namespace {

using Values = Sampler::Values;

const auto testData = std::filesystem::path(ZENTARA_SOURCE_DIR) / "tests/apps/schemas";

bool accepts(const JSONObject& schema, const JSONValue& value) {
    return Schema(JSONObject(schema), stoppingFormats()).validate(value).valid();
}

/// What the change is called when the schemas are exchanged.
std::string reverseOf(const std::string& change) {
    return change == "wider" ? "narrower" : change == "narrower" ? "wider" : change;
}

void expectConfirmed(const Comparison& found, const JSONObject& before, const JSONObject& after) {
    const bool isNarrowed = found.change == Change::narrower || found.change == Change::both;
    EXPECT_EQ(found.onlyOld.has_value(), isNarrowed);
    EXPECT_TRUE(!found.onlyOld ||
                (accepts(before, *found.onlyOld) && !accepts(after, *found.onlyOld)));
    EXPECT_TRUE(!found.onlyNew ||
                (accepts(after, *found.onlyNew) && !accepts(before, *found.onlyNew)));
    EXPECT_TRUE(found.change != Change::both || found.onlyNew);
}

TEST(Comparison, TellsWhatChangesInBothDirections) {
    std::istringstream lines(test::contentsOf(testData / "diff_cases.jsonl"));
    int count = 0;
    for (std::string line; std::getline(lines, line); ++count) {
        SCOPED_TRACE(line);
        const auto each = JSONValue::parse(line);
        const auto& before = each.at("old").object();
        const auto& after = each.at("new").object();
        const std::string change(each.at("change").string());
        const auto found = compare(before, after, Values::any);
        EXPECT_EQ(changeName(found.change), change);
        expectConfirmed(found, before, after);
        if (const auto* const expected = each.object().find("differences")) {
            std::string differences;
            for (const auto& difference : found.differences)
                differences += difference.property + ": " +
                               std::string(changeName(difference.change)) + ": " +
                               difference.reason + '\n';
            std::string wanted;
            for (const auto& difference : expected->array())
                wanted += std::string(difference.string()) + '\n';
            EXPECT_EQ(differences, wanted);
        }
        const auto* const reverse = each.object().find("reverse");
        EXPECT_EQ(changeName(compare(after, before, Values::any).change),
                  reverse == nullptr ? reverseOf(change) : reverse->string());
    }
    EXPECT_GT(count, 70);
}

TEST(Comparison, PointsIntoTheDocumentThatHoldsIt) {
    const auto found =
        compare({{"properties", {{"a", {{"$ref", "#/d/x"}}}, {"b/c", JSONObject()}}},
                 {"d", {{"x", {{"minimum", 1}}}}}},
                {{"properties", {{"a", {{"$ref", "#/d/x"}}}}}, {"d", {{"x", {{"minimum", 2}}}}}});
    ASSERT_EQ(found.differences.size(), 2U);
    EXPECT_EQ(found.differences[0].pointer, "/d/x/minimum");
    EXPECT_EQ(found.differences[1].pointer, "/properties/b~1c");
}

TEST(Comparison, LooksAtObjectsOnlyForEvents) {
    const JSONObject before;
    const JSONObject after = {{"type", "object"}};
    EXPECT_EQ(compare(before, after).change, Change::compatible);
    EXPECT_EQ(compare(before, after, Values::any).change, Change::narrower);
}

/// Changes one thing in a schema, as people do.
class Mutation {
  public:
    explicit Mutation(std::uint64_t seed) : random_(seed) {}

    JSONObject of(JSONObject document) {
        document_ = &document;
        collect(document);
        for (int attempt = 0; attempt < 50; ++attempt) {
            if (apply(*schemas_[pick(schemas_.size())])) break;
        }
        return document;
    }

  private:
    std::size_t pick(std::size_t count) { return random_() % count; }

    void collect(JSONValue& value) {
        if (auto* const object = value.ifObject()) collect(*object);
        if (auto* const list = value.ifArray())
            std::for_each(list->begin(), list->end(), [this](JSONValue& each) { collect(each); });
    }
    void collect(JSONObject& object) {
        schemas_.push_back(&object);
        for (auto& member : object)
            collect(member.value());
    }

    bool apply(JSONObject& schema) {
        static constexpr std::array keywords = {"minimum",    "maximum",       "minLength",
                                                "maxLength",  "minItems",      "maxItems",
                                                "multipleOf", "minProperties", "maxProperties"};
        auto* const properties = schema.find("properties");
        auto* const named = properties == nullptr ? nullptr : properties->ifObject();
        switch (pick(12)) {
            case 0:
            case 1: {
                const auto* const keyword = keywords[pick(keywords.size())];
                auto* const bound = schema.find(keyword);
                if (bound == nullptr || !bound->isNumber()) return false;
                *bound = static_cast<std::int64_t>(*bound->asDouble()) + (pick(2) == 0 ? 1 : -1);
                return true;
            }
            case 2: {
                if (!schema.contains("type")) return false;
                const auto* const keyword = keywords[pick(keywords.size())];
                if (!schema.erase(keyword)) schema.set(keyword, pick(6));
                return true;
            }
            case 3: {
                auto* const values = schema.find("enum");
                if (values == nullptr || !values->isArray() || values->array().empty())
                    return false;
                auto& list = *values->ifArray();
                if (pick(2) == 0)
                    list.push_back("another");
                else
                    list.erase(list.begin() + pick(list.size()));
                return true;
            }
            case 4: {
                if (named == nullptr || named->empty()) return false;
                const std::string name((named->begin() + pick(named->size()))->key());
                auto* required = schema.find("required");
                if (required == nullptr) required = &schema.set("required", JSONArray());
                auto& list = *required->ifArray();
                const auto found = std::find(list.begin(), list.end(), JSONValue(name));
                if (found == list.end())
                    list.push_back(name);
                else
                    list.erase(found);
                return true;
            }
            case 5:
                if (named == nullptr || named->empty()) return false;
                named->erase(std::string((named->begin() + pick(named->size()))->key()));
                return true;
            case 6:
                if (named == nullptr) return false;
                named->set("extra", {{"type", pick(2) == 0 ? "string" : "integer"}});
                return true;
            case 7: {
                const auto* const type = schema.find("type");
                if (type == nullptr || !type->isString()) return false;
                static constexpr std::array types = {"string", "integer", "number", "object"};
                if (pick(2) == 0)
                    schema.set("type", JSONArray{*type, "null"});
                else
                    schema.set("type", types[pick(types.size())]);
                return true;
            }
            case 8:
                if (schema.find("type") == nullptr) return false;
                if (!schema.erase("pattern"))
                    schema.set("pattern", pick(2) == 0 ? "^[a-z]+$" : "1");
                return true;
            case 9:
                if (named == nullptr) return false;
                if (!schema.erase("additionalProperties"))
                    schema.set("additionalProperties", pick(2) == 0);
                return true;
            case 10: {  // move to the definitions
                if (named == nullptr || named->empty() || &schema == document_) return false;
                JSONObject reference = {{"$ref", "#/moved/here"}};
                JSONObject moved = std::move(schema);
                schema = std::move(reference);
                document_->set("moved", JSONObject{{"here", std::move(moved)}});
                return true;
            }
            default: {
                if (!schema.contains("type") || &schema == document_) return false;
                static constexpr std::array combinators = {"allOf", "anyOf", "oneOf"};
                JSONArray list;
                list.push_back(schema);
                if (pick(2) == 0) list.push_back({{"type", "null"}});
                schema = JSONObject{{combinators[pick(3)], std::move(list)}};
                return true;
            }
        }
    }

    std::mt19937_64 random_;
    JSONObject* document_ = nullptr;
    std::vector<JSONObject*> schemas_;
};

/// Claims about pairs of schemas, held against values.
struct Claims {
    int pairs = 0, unknown = 0, refuted = 0;
    std::array<int, 6> changes{};
    std::int64_t values = 0;

    void check(const JSONObject& before, const JSONObject& after, Values kinds,
               const std::vector<JSONValue>& values_) {
        const auto found = compare(before, after, kinds);
        ++pairs;
        ++changes[static_cast<std::size_t>(found.change)];
        expectConfirmed(found, before, after);
        const Schema old(JSONObject(before), stoppingFormats());
        const Schema now(JSONObject(after), stoppingFormats());
        const bool isKept = found.change <= Change::wider;
        const bool isSame = found.change <= Change::compatible;
        if (!isKept) return;
        for (const auto& value : values_) {
            if (kinds == Values::properties && !value.isObject()) continue;
            ++values;
            const bool was = old.validate(value).valid();
            const bool is = now.validate(value).valid();
            if (is == was || (is && !isSame)) continue;
            ++refuted;
            ADD_FAILURE() << changeName(found.change) << " from " << JSONValue(before).text()
                          << " to " << JSONValue(after).text() << ": " << value.text();
        }
    }

    [[nodiscard]] std::string text() const {
        std::string text = std::to_string(pairs) + " pairs, " + std::to_string(values) +
                           " values, " + std::to_string(refuted) + " counter-examples";
        for (std::size_t i = 0; i < changes.size(); ++i)
            text.append(", ").append(changeName(static_cast<Change>(i))).append(" ") +=
                std::to_string(changes[i]);
        return text;
    }
};

void addDrawn(std::vector<JSONValue>& values, const JSONObject& schema, Values kinds, int count) {
    Sampler sampler(schema, 99, kinds);
    for (int i = 0; i < count; ++i) {
        if (auto value = sampler.valid()) values.push_back(std::move(*value));
        if (i % 4 != 0) continue;
        if (auto value = sampler.invalid()) values.push_back(std::move(value->value));
    }
}

#ifndef __has_feature
#define __has_feature(feature) 0
#endif
constexpr int schemaCount =
    __has_feature(address_sanitizer) || __has_feature(thread_sanitizer) ? 60 : 600;

TEST(Comparison, ClaimsHoldForDrawnValues) {
    Claims claims;
    for (int seed = 0; seed < schemaCount; ++seed) {
        const auto before = randomSchema(static_cast<std::uint64_t>(seed));
        auto after = before;
        for (int change = 0; change <= seed % 3; ++change)
            after = Mutation(static_cast<std::uint64_t>(seed * 10 + change)).of(std::move(after));
        std::vector<JSONValue> values;
        addDrawn(values, before, Values::properties, 40);
        addDrawn(values, after, Values::properties, 40);
        claims.check(before, after, Values::properties, values);
        claims.check(after, before, Values::properties, values);
    }
    std::cout << claims.text() << '\n';
    EXPECT_GT(claims.values, 20 * claims.pairs);
    EXPECT_LT(claims.changes[5] * 50, claims.pairs) << "too many are unknown";
}

TEST(Comparison, ClaimsHoldForThePublishedSchemas) {
    Claims claims;
    const auto folder = std::filesystem::path(ZENTARA_JSON_SCHEMA_SUITE) / "draft4";
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
        if (entry.path().extension() != ".json") continue;
        const auto groups = JSONValue::parse(test::contentsOf(entry.path()));
        std::vector<JSONValue> values;
        std::vector<const JSONObject*> schemas;
        for (const auto& group : groups.array()) {
            if (const auto* const schema = group.at("schema").ifObject()) schemas.push_back(schema);
            for (const auto& each : group.at("tests").array())
                values.push_back(each.at("data"));
        }
        for (const auto* const before : schemas) {
            for (const auto* const after : schemas)
                claims.check(*before, *after, Values::any, values);
        }
    }
    std::cout << claims.text() << '\n';
    EXPECT_GT(claims.pairs, 400);
}

/// A schema inside `levels` others.
JSONObject nested(int levels, JSONObject schema) {
    while (levels-- > 0)
        schema = {{"properties", {{"a", std::move(schema)}}}};
    return schema;
}

/// A number of members made from their position.
template <typename Make>
JSONObject members(int count, const Make& make) {
    JSONObject all;
    for (int i = 0; i < count; ++i)
        all.set("p" + std::to_string(i), make(i));
    return all;
}

TEST(Comparison, EndsInTimeForHostileSchemas) {
    const auto next = [](int i) {
        return JSONObject{{"$ref", "#/d/p" + std::to_string(i + 1)}};
    };
    const auto endless = [](std::int64_t minimum) {
        return JSONObject{
            {"$ref", "#/d/a"},
            {"d", {{"a", {{"$ref", "#/d/b"}}}, {"b", {{"$ref", "#/d/a"}, {"minimum", minimum}}}}}};
    };
    const auto chain = [&](std::int64_t minimum) {
        auto all = members(20'000, next);
        all.set("p20000", {{"minProperties", minimum}});
        return JSONObject{{"$ref", "#/d/p0"}, {"d", std::move(all)}};
    };
    const auto doubling = [&](std::int64_t minimum) {
        auto all = members(60, [&](int i) {
            return JSONObject{
                {"anyOf",
                 {next(i),
                  {{"required", {"x"}}, {"properties", {{"x", next(i)}, {"y", next(i)}}}}}}};
        });
        all.set("p60", {{"minProperties", minimum}});
        return JSONObject{{"$ref", "#/d/p0"}, {"d", std::move(all)}};
    };
    const auto exponential = [&](const char* type) {
        auto all = members(40, [&](int i) { return JSONObject{{"oneOf", {next(i), next(i)}}}; });
        all.set("p40", {{"type", type}});
        return JSONObject{{"$ref", "#/d/p0"}, {"d", std::move(all)}};
    };
    const auto wide = [](std::int64_t minimum) {
        return JSONObject{{"properties", members(10'000, [&](int i) {
                               return JSONObject{{"minimum", i + minimum}};
                           })}};
    };
    const auto values = [](std::int64_t first) {
        JSONArray list;
        for (auto i = first; i < 100'000; ++i)
            list.push_back("v" + std::to_string(i));
        return JSONObject{{"properties", {{"a", {{"enum", std::move(list)}}}}}};
    };
    const auto patterns = [](std::int64_t last) {
        return JSONObject{
            {"properties", members(200,
                                   [&](int i) {
                                       return JSONObject{{"pattern", "^(([a-z])+.)+[A-Z]([a-z])+$" +
                                                                         std::to_string(i + last)}};
                                   })},
            {"patternProperties", {{"(a*)*(a*)*b" + std::to_string(last), JSONObject()}}}};
    };
    struct Case {
        const char* name;
        JSONObject before, after;
        bool isProven = false;
    };
    for (const auto& each : {
             Case{"endless", endless(1), endless(2)},
             Case{"exponential", exponential("null"), exponential("object")},
             {"chain", chain(1), chain(2)},
             {"doubling", doubling(1), doubling(2)},
             {"deep", nested(254, {{"minimum", 1}}), nested(254, {{"minimum", 2}})},
             {"deep, wider", nested(254, {{"minimum", 2}}), nested(254, {{"minimum", 1}}), true},
             {"wide", wide(2), wide(1), true},
             {"values", values(0), values(1)},
             {"patterns", patterns(1), patterns(2)},
         }) {
        const auto start = std::chrono::steady_clock::now();
        const auto found = compare(each.before, each.after);
        const std::chrono::duration<double> time = std::chrono::steady_clock::now() - start;
        if (each.isProven)
            EXPECT_EQ(changeName(found.change), changeName(Change::wider)) << each.name;
        // Without the time for a search, it may stay unknown.
        else
            EXPECT_GT(found.change, Change::wider) << each.name << changeName(found.change);
        EXPECT_LT(time.count(), 20) << each.name;
    }
}

// A case is what the folders hold, the arguments, the exit code and the output.
TEST(DiffCommand, RefusesWhatBreaksSenders) {
    const std::string one = R"({"properties":{"n":{"minimum":1}}})";
    const std::string two = R"({"properties":{"n":{"minimum":2}}})";
    const std::string narrowed =
        "a-1: narrower\n  n: minimum rose from 1 to 2 (narrower)\n"
        "  was valid, is refused now: {\"n\":1}\n    Value is lower than minimum value of 2.0\n";
    const std::string widened =
        "a-1: wider\n  n: minimum fell from 2 to 1 (wider)\n"
        "  was refused, is valid now: {\"n\":1}\n    Value is lower than minimum value of 2.0\n";
    const std::string unknown = R"({"properties":{"n":{"type":"string","pattern":"^[a-z]+$"}}})";
    const std::string unknownToo =
        R"({"properties":{"n":{"type":"string","pattern":"^[a-z0-9]+$"}}})";
    struct Case {
        std::vector<std::pair<std::string, std::string>> files;
        std::string arguments;
        int exitCode;
        std::string output;
    };
    for (const auto& each : std::vector<Case>{
             {{{"old/a-1", one}, {"new/a-1", one}}, "--gate old new", 0, "no differences\n"},
             {{{"old/a-1", one}, {"new/a-1", two}}, "old new", 0, narrowed},
             {{{"old/a-1", one}, {"new/a-1", two}},
              "--gate old new",
              1,
              narrowed + "refused: a-1 was narrowed; give it a new version\n"},
             {{{"old/a-1", two}, {"new/a-1", one}}, "--gate old new", 0, widened},
             {{{"old/a-9", one}, {"new/a-9", one}, {"new/a-10", one}, {"new/b-1", one}},
              "--gate old new",
              0,
              "a-10: added\nb-1: added\n"},
             {{{"old/a-1", one}, {"old/b-1", one}, {"new/b-1", one}},
              "--gate old new",
              1,
              "a-1: removed\nrefused: a-1 was removed\n"},
             {{{"old/a-1", one}, {"new/a-2", two}},
              "--gate old/a-1.json new/a-2.json",
              0,
              "a-2, after " + narrowed},
         }) {
        SCOPED_TRACE(each.arguments + each.output);
        const test::TemporaryDirectory folder;
        for (const auto& [name, text] : each.files) {
            const auto path = folder.path() / (name + ".json");
            std::filesystem::create_directories(path.parent_path());
            writeFile(path, text);
        }
        const auto run = runProgram("diff " + each.arguments, folder.path());
        EXPECT_EQ(run.exitCode, each.exitCode);
        EXPECT_EQ(run.output, each.output);
        EXPECT_EQ(run.errors, "");
    }
    const test::TemporaryDirectory folder;
    writeFile(folder.path() / "a-1.json", unknown);
    writeFile(folder.path() / "b-1.json", unknownToo);
    writeFile(folder.path() / "c-1.json", "[");
    EXPECT_EQ(runProgram("diff --gate a-1.json b-1.json", folder.path()).exitCode, 1);
    EXPECT_EQ(runProgram("diff --gate --allow-unknown a-1.json b-1.json", folder.path()).exitCode,
              0);
    EXPECT_EQ(
        runProgram("diff a-1.json c-1.json", folder.path()).errors,
        "zentara-schemas: c-1.json: is no schema; zentara-schemas check tells where and why\n");
    for (const auto* const wrong :
         {"a-1.json", "a-1.json no.json", "--format xml a-1.json b-1.json",
          "--allow-unknown a-1.json b-1.json"})
        EXPECT_EQ(runProgram(std::string("diff ") + wrong, folder.path()).exitCode, 2) << wrong;
    const auto asJSON =
        JSONValue::parse(runProgram("diff --format json b-1.json a-1.json", folder.path()).output);
    EXPECT_EQ(asJSON.at("schemas").at(0).at("change").string(), "narrower");
    EXPECT_EQ(asJSON.at("schemas").at(0).at("differences").at(0).at("pointer").string(),
              "/properties/n/pattern");
}

}  // namespace
}  // namespace zentara::schemas
