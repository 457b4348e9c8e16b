#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "ProgramRun.h"
#include "schemas/Schema.h"
#include "schemas/check/Check.h"
#include "schemas/check/Report.h"
#include "support/Files.h"

namespace zentara::schemas {

namespace {

std::vector<Finding> checkText(std::string text, std::string path = "case-1.json") {
    return check(SchemaFile::fromText(std::move(path), std::move(text)));
}

std::vector<std::string> numbersAndPointers(const std::vector<Finding>& findings) {
    std::vector<std::string> all;
    for (const auto& each : findings)
        all.push_back(std::string(each.rule->number) + ' ' + each.pointer);
    std::sort(all.begin(), all.end());
    return all;
}

std::vector<std::string> textsOf(const JSONValue& list) {
    std::vector<std::string> all;
    for (const auto& each : list.array())
        all.emplace_back(each.string());
    return all;
}

std::string repeated(std::string_view text, std::size_t count) {
    std::string all;
    while (count-- > 0)
        all += text;
    return all;
}

}  // namespace

// A case is a schema, what check finds in it, and values with the outcome of the engine.
TEST(CheckDeathTest, EngineDoesWhatCheckSays) {
    const auto cases = JSONValue::parse(
        test::contentsOf(ZENTARA_SOURCE_DIR "/tests/apps/schemas/check-cases.json"));
    std::set<std::string> seen;
    for (const auto& each : cases.array()) {
        const auto& parts = each.object();
        SCOPED_TRACE(each.text());
        const auto* const text = parts.find("text");
        const auto* const path = parts.find("path");
        const auto file = SchemaFile::fromText(
            path == nullptr ? "case-1.json" : std::string(path->string()),
            text == nullptr ? parts.at("schema").text() : std::string(text->string()));
        const auto findings = check(file);
        EXPECT_EQ(numbersAndPointers(findings), textsOf(parts.at("findings")));
        for (const auto& finding : findings)
            seen.emplace(finding.rule->number);
        const auto* const reason = parts.find("reason");
        ASSERT_TRUE(reason == nullptr || *reason == JSONValue(findings.at(0).reason))
            << findings.at(0).reason;
        const auto* const values = parts.find("engine");
        ASSERT_EQ(values != nullptr, file.document.has_value());
        if (values == nullptr) continue;
        const Schema schema(*file.document);
        for (const auto& pair : values->array()) {
            const auto& value = pair.at(0);
            SCOPED_TRACE(value.text());
            if (pair.at(1) == JSONValue("ends the process")) {
                EXPECT_DEATH(static_cast<void>(schema.validate(value)), "numericString");
            } else if (pair.at(1) == JSONValue("valid")) {
                EXPECT_EQ(schema.validate(value).errors(), std::nullopt);
            } else {
                EXPECT_EQ(schema.validate(value).errors(), textsOf(pair.at(1)));
            }
        }
    }
    for (const auto& rule : rules())
        seen.erase(std::string(rule.number));
    EXPECT_TRUE(seen.empty());
}

TEST(Check, EveryRuleHasACase) {
    const auto cases = test::contentsOf(ZENTARA_SOURCE_DIR "/tests/apps/schemas/check-cases.json");
    // These need large documents: see the tests of hostile schemas.
    const std::set<std::string_view> large = {"ZS103", "ZS210", "ZS217", "ZS218"};
    for (const auto& rule : rules()) {
        const auto quoted = '"' + std::string(rule.number) + ' ';
        EXPECT_EQ(cases.find(quoted) == std::string::npos, large.contains(rule.number))
            << rule.number;
    }
}

TEST(Check, FindingsHavePlacesInTheirOrder) {
    const auto findings = checkText(
        "{\"type\": \"object\",\n  \"é\": 1, \"properties\": {\n\t\"a\": {\"format\": \"date\"}},\n"
        "\"maxProperties\": 1,\n\"minProperties\": 2, \"maxProperties\": 1}");
    EXPECT_EQ(textReport(std::vector<CheckedFile>{{"x-1.json", findings}}),
              "x-1.json:3:8: fault ZS110: The engine does not know the format \"date\", so every "
              "value is refused, whatever its type. Remove it, or write a \"pattern\" instead.\n"
              "x-1.json:5:1: fault ZS112: No object has at least 2 and at most 1. Exchange the "
              "bounds, or correct one of them.\n"
              "x-1.json:5:21: fault ZS104: The key is repeated: only this value counts, not the "
              "value of line 4, column 1. Remove or rename one of them.\n"
              "1 schema: 3 faults, 0 warnings\n");
    // Nothing in a schema controls the terminal.
    const auto odd = textReport(
        std::vector<CheckedFile>{{"a\n-1.json", checkText("{\"anyof\\u001b\":1}", "a\n-1.json")}});
    EXPECT_EQ(odd,
              "a?-1.json:1:2: warning ZS202: The engine ignores \"anyof?\", which is no keyword. "
              "Write \"anyOf\" if that is meant.\n1 schema: 0 faults, 1 warning\n");
    const auto broken = checkText("{\"type\": \"object\",\n}");
    ASSERT_EQ(broken.size(), 1U);
    EXPECT_EQ(broken[0].position, (Position{1, 18}));
    EXPECT_EQ(broken[0].reason, "The library reads no schema here: there is a comma before the }.");
}

TEST(Check, ExampleSchemasHaveNoFindings) {
    std::vector<std::string> found;
    for (const auto& schema :
         readSchemas(std::vector<std::string>{ZENTARA_SOURCE_DIR "/examples/schemas"})) {
        for (const auto& each : numbersAndPointers(check(schema)))
            found.push_back(schema.name->key() + ' ' + each);
    }
    EXPECT_EQ(found, std::vector<std::string>());
}

TEST(Check, HostileSchemasEndInTime) {
    const auto nested = [](int levels) {
        return repeated("{\"not\":", static_cast<std::size_t>(levels) - 1) + "{}" +
               repeated("}", static_cast<std::size_t>(levels) - 1);
    };
    std::string fan = "{\"$ref\":\"#/0\",\"40\":{\"minProperties\":0}";
    std::string chain = "{\"$ref\":\"#/0\",\"2600\":{}";
    for (int i = 0; i < 2600; ++i) {
        const auto next = "{\"$ref\":\"#/" + std::to_string(i + 1) + "\"}";
        const auto key = ",\"" + std::to_string(i) + "\":";
        chain += key + next;
        if (i < 40) fan += key + "{\"allOf\":[" + next + ',' + next + "]}";
    }
    std::string patterns = "{\"patternProperties\":{";
    for (int i = 0; i < 2000; ++i)
        patterns +=
            "\"^(?i)" + repeated("[\\\\x{0}-\\\\x{10ffff}]", 14) + std::to_string(i) + "$\":{},";
    std::string values = "{\"enum\":[";
    for (int i = 0; i < 200'000; ++i)
        values += "\"" + std::to_string(i) + "\",";
    std::string keys = "{";
    for (int i = 0; i < 100'000; ++i)
        keys += "\"k" + std::to_string(i) + "\":\"\",";
    const struct {
        std::string text;
        std::set<std::string> numbers;  // some of those that are found
        const char* message = nullptr;  // of the engine for an empty object
    } cases[] = {
        {nested(511), {}},
        {nested(512), {"ZS103"}},
        {fan + '}',
         {"ZS210"},
         "Validation stopped: checking this value against this schema takes too long"},
        {chain + '}',
         {"ZS210"},
         "Validation stopped: the schema is applied more than 2560 levels deep"},
        {"{\"pattern\":\"^" + repeated("a{99}", 3000) + "$\"}", {"ZS108"}},
        {patterns + "\"^z$\":{}}}", {"ZS217"}},
        {"{\"allOf\":[" + repeated("{\"minLength\":\"1\"},", 100'000) + "{}]}", {"ZS203", "ZS218"}},
        {"{\"anyOf\":[" + repeated("{\"$ref\":\"#\"},", 100'000) + "{}]}", {"ZS107"}},
        {"{\"oneOf\":[" + repeated("{\"format\":\"numericString\"},", 50'000) + "{}]}", {"ZS213"}},
        {values + "0]}", {}},
        {keys + "\"k1\":1}", {"ZS104"}},
        {repeated("[", 2'000'000), {"ZS101"}},
        {repeated("{\"a\":", 400'000), {"ZS101"}},
        {"{\"a\":\"" + repeated("\xC3", 2'000'000), {"ZS101"}},
    };
    for (const auto& each : cases) {
        const auto start = std::chrono::steady_clock::now();
        std::set<std::string> found;
        for (const auto& finding : checkText(each.text))
            found.emplace(finding.rule->number);
        const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - start;
        EXPECT_TRUE(std::ranges::includes(found, each.numbers)) << each.text.substr(0, 40);
        EXPECT_LT(taken.count(), 20) << each.text.substr(0, 40);
        if (each.message == nullptr) continue;
        EXPECT_EQ(validate(JSONObject(), *SchemaFile::fromText("", each.text).document).errors(),
                  std::vector<std::string>{each.message});
    }
}

TEST(Check, LongPointerEndsAroundThePlace) {
    EXPECT_EQ(numbersAndPointers(checkText("{\"type\":\"object\",\"properties\":{\"" +
                                           repeated("x", 1100) + "\":{\"type\":\"t\"}}}")),
              std::vector<std::string>{"ZS109 "});
}

TEST(Check, ShapesAreMeasuredWithTheEngine) {
    const auto reasons = [](const char* keyword, const char* end) {
        std::string fan = "{\"$ref\":\"#/0\",\"22\":" + std::string(end);
        for (int i = 0; i < 22; ++i) {
            const auto next = "{\"$ref\":\"#/" + std::to_string(i + 1) + "\"}";
            fan +=
                ",\"" + std::to_string(i) + "\":{\"" + keyword + "\":[" + next + ',' + next + "]}";
        }
        std::string all;
        for (const auto& each : checkText(fan + '}'))
            all += each.pointer + ' ' + each.reason.substr(0, each.reason.find(" of"));
        return all;
    };
    EXPECT_EQ(reasons("anyOf", "{}"), "");
    EXPECT_EQ(reasons("anyOf", "{\"minLength\":5}"), "/4 Here, an empty text takes 20%");
    EXPECT_EQ(reasons("anyOf", "{\"maximum\":5}"), "/4 Here, 1e300 takes 20%");
}

TEST(Check, ReportsAreJSON) {
    const std::vector<CheckedFile> files = {
        {"a b/x\xFF-1.json", checkText("{\"patern\":\"x\",\n\"format\":\"é\"}")},
        {"/y-1.json", checkText("{}")}};
    const auto json = JSONValue::parse(jsonReport(files));
    EXPECT_EQ(json.at("schemas"), JSONValue(2));
    EXPECT_EQ(json.at("faults"), JSONValue(1));
    EXPECT_EQ(json.at("warnings"), JSONValue(1));
    EXPECT_EQ(
        json.at("findings").at(std::size_t{0}),
        JSONValue(JSONObject{{"path", "a b/x\xEF\xBF\xBD-1.json"},
                             {"rule", "ZS202"},
                             {"name", "misspelt-keyword"},
                             {"severity", "warning"},
                             {"pointer", "/patern"},
                             {"line", 1},
                             {"column", 2},
                             {"reason", "The engine ignores \"patern\", which is no keyword."},
                             {"advice", "Write \"pattern\" if that is meant."}}));
    const auto sarif = JSONValue::parse(sarifReport(files));
    EXPECT_EQ(sarif.at("version"), JSONValue("2.1.0"));
    const auto& run = sarif.at("runs").at(std::size_t{0});
    const auto& descriptions = run.at("tool").at("driver").at("rules");
    const auto& result = run.at("results").at(std::size_t{1});
    EXPECT_EQ(run.at("results").array().size(), 2U);
    EXPECT_EQ(result.at("ruleId"), JSONValue("ZS110"));
    EXPECT_EQ(descriptions.at(static_cast<std::size_t>(result.at("ruleIndex").integer())).at("id"),
              JSONValue("ZS110"));
    EXPECT_EQ(result.at("level"), JSONValue("error"));
    EXPECT_EQ(result.at("locations").text(),
              R"([{"physicalLocation":{"artifactLocation":{"uri":"a%20b/x%FF-1.json"},)"
              R"("region":{"startLine":2,"startColumn":1}},)"
              R"("logicalLocations":[{"fullyQualifiedName":"/format"}]}])");
}

TEST(CheckCommand, ExitCodesTellWhatWasFound) {
    const test::TemporaryDirectory folder;
    const auto run = [&](const std::string& arguments) {
        return runProgram("check " + arguments, folder.path());
    };
    test::writeTo(folder.path() / "s/good-1.json", "{\"type\": \"object\"}");
    test::writeTo(folder.path() / "s/warned-1.json", "{\"patern\": \"\"}");
    test::writeTo(folder.path() / "s/.bad-1.json", "{");
    EXPECT_EQ(run("s/good-1.json").output, "1 schema: 0 faults, 0 warnings\n");
    EXPECT_EQ(run("s").exitCode, 0);
    EXPECT_EQ(run("--strict s").exitCode, 1);
    EXPECT_EQ(run("--strict s/good-1.json").exitCode, 0);
    EXPECT_EQ(run("s/.bad-1.json").exitCode, 1);
    for (const auto* const wrong : {"", "none-1.json", "--format xml s", "s --output no/folder"}) {
        const auto result = run(wrong);
        EXPECT_EQ(result.exitCode, 2) << wrong;
        EXPECT_EQ(result.output, "") << wrong;
        EXPECT_NE(result.errors, "") << wrong;
    }
    EXPECT_EQ(run("s --format json --output r.json").output, "");
    EXPECT_EQ(JSONValue::parse(test::contentsOf(folder.path() / "r.json")).at("warnings"),
              JSONValue(1));
}

TEST(CheckDocs, TableListsTheRules) {
    std::ostringstream table;
    for (const auto& rule : rules())
        table << "| " << rule.number << " | " << rule.name << " | " << rule.summary << " |\n";
    const auto docs = test::contentsOf(ZENTARA_SOURCE_DIR "/docs/schemas.md");
    EXPECT_NE(docs.find(table.str()), std::string::npos) << table.str();
}

}  // namespace zentara::schemas
