#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>

#include "RandomSchemas.h"
#include "schemas/catalogue/Describe.h"
#include "schemas/catalogue/Html.h"
#include "schemas/catalogue/Markdown.h"

namespace zentara::schemas {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

std::vector<EventPage> pagesOf(const std::vector<std::pair<std::string, std::string>>& schemas,
                               const std::string& scope = "") {
    std::vector<CheckedSchema> checked;
    for (const auto& [key, text] : schemas)
        checked.emplace_back(SchemaFile::fromText(key + ".json", text));
    std::vector<const CheckedSchema*> places;
    for (const auto& schema : checked)
        places.push_back(&schema);
    return describe(places, scope);
}

std::string textOf(const PropertyRow& row) {
    std::string text = std::to_string(row.depth) + ' ' + row.path + " | " + row.type + " | " +
                       (row.isRequired ? "required " : "") + "| ";
    for (const auto* list : {&row.rules, &row.patterns, &row.values}) {
        for (const auto& each : *list)
            text += each + ' ';
        text += "| ";
    }
    return text + row.description;
}

TEST(Catalogue, RowsSayWhatTheSchemaRequires) {
    std::ifstream cases(ZENTARA_SOURCE_DIR "/tests/apps/schemas/catalogue_rows.jsonl");
    std::size_t count = 0;
    for (std::string line; std::getline(cases, line); ++count) {
        const auto each = JSONValue::parse(line);
        const auto pages = pagesOf({{"a-1", each.at("schema").text()}});
        JSONArray rows;
        for (const auto& row : pages.at(0).versions.at(0).properties)
            rows.push_back(textOf(row));
        EXPECT_EQ(JSONValue(rows), each.at("rows")) << line;
        EXPECT_EQ(pages[0].versions[0].otherProperties, each.at("others").string()) << line;
    }
    EXPECT_EQ(count, 4U);
}

TEST(Catalogue, LatestVersionComesFirstWithItsChange) {
    const std::string few =
        R"({"type":"object","properties":{"n":{"type":"integer","maximum":5}}})";
    const std::string more =
        R"({"type":"object","properties":{"n":{"type":"integer","maximum":7}}})";
    const auto pages = pagesOf({{"b-1", "{\"type\":\"string\"}"}, {"a-10", few}, {"a-9", more}});
    ASSERT_EQ(pages.size(), 2U);
    ASSERT_EQ(pages[0].versions.size(), 2U);
    const auto& latest = pages[0].versions[0];
    EXPECT_EQ(latest.name, (SchemaName{"a", "10"}));
    EXPECT_EQ(latest.previous, "9");
    EXPECT_EQ(latest.change->change, Change::narrower);
    EXPECT_FALSE(pages[0].versions[1].change);
    EXPECT_THAT(latest.calls.at(0).code, HasSubstr("AV10"));
    EXPECT_EQ(JSONValue::parse(trackLine(latest)).at("schemaVersion"), "10");
    // A schema of something else has no properties to show.
    EXPECT_EQ(pages[1].versions[0].whyNone,
              "Cannot be shown: the schema permits no object, as the properties of an event are.");
}

TEST(Catalogue, CallsUseTheScopeOfEachLanguage) {
    const auto pages = pagesOf(
        {{"a-1", R"({"type":"object","properties":{"n":{"type":"integer"}}})"}}, "shop::deep");
    const auto& calls = pages.at(0).versions.at(0).calls;
    ASSERT_EQ(calls.size(), 4U);
    for (const auto& [at, name] : {std::pair(0U, "shop::deep::A"), std::pair(1U, "shop_deep_"),
                                   std::pair(2U, "SDA"), std::pair(3U, "A(")})
        EXPECT_THAT(calls[at].code, HasSubstr(name)) << calls[at].language;
}

const std::string evil = R"(<script>alert("1")</script>&'`|\)";

std::vector<EventPage> evilPages() {
    static constexpr Rule rule{"ZS1", "n", "s", Severity::fault};
    EventVersion version;
    version.name = {"e", evil};
    version.title = version.description = version.otherProperties = version.whyNoCalls = evil;
    version.properties = {{evil, evil, 9, true, evil, {evil}, {evil}, {evil}, evil, evil}};
    version.sample = JSONObject{{evil, evil}};
    version.calls = {{"C", "c", evil}};
    version.previous = evil;
    version.change = Comparison{Change::both, {{evil, evil, Change::both, evil}}, {}, {}};
    version.findings = {{&rule, evil, {}, evil, evil}};
    auto earlier = version;
    earlier.name.version = "1";
    return {{"e" + evil, {version, earlier}}};
}

TEST(Catalogue, SchemasCannotAddMarkupToThePage) {
    const std::map<std::string, Arrivals, std::less<>> arrivals{{"e-" + evil, {12'345, 2}}};
    const auto page = catalogueHtml(evilPages(), {.title = evil, .arrivals = &arrivals});
    EXPECT_THAT(page, Not(HasSubstr("<script>alert")));
    EXPECT_THAT(page, Not(HasSubstr("\"1\"")));
    EXPECT_THAT(page,
                HasSubstr("<h1>&lt;script&gt;alert(&quot;1&quot;)&lt;/script&gt;&amp;&#39;`|"));
    EXPECT_THAT(page,
                HasSubstr("<a class=\"badge bad\" href=\"/?schema=e-%3Cscript%3Ealert%28%22"
                          "1%22%29%3C%2Fscript%3E%26%27%60%7C%5C&amp;good=false\">2 bad</a>"));
    EXPECT_THAT(page, HasSubstr(">12,345 received</a>"));
}

TEST(Catalogue, MarkdownIsExact) {
    EventVersion version;
    version.name = {"a-b", "2"};
    version.title = "A *b*";
    version.description = "One\ntwo.";
    version.properties = {
        {"p", "p", 0, true, "string", {"1 to 3 characters."}, {"^`|$"}, {}, "<i>", "\"`\""},
        {"s", "v.s", 1, false, "string", {}, {}, {"\"x\"", "\"y\""}, "", ""}};
    version.otherProperties = "Other properties are refused.";
    version.sample = JSONObject{{"p", "`"}};
    version.calls = {{"C++", "cpp", "call(\"```\");\n"}};
    version.previous = "1";
    version.change = Comparison{Change::wider, {{"", "p", Change::wider, "More."}}, {}, {}};
    EXPECT_EQ(catalogueMarkdown({{EventPage{"a-b", {version}}}}, "All_events"), R"(# All\_events

## A \*b\*

`a-b`

### Version 2

One two.

Compared with version 1: **wider**

- `p` More.

| Property | Type | Required | Rules | Description | Example |
|---|---|---|---|---|---|
| `p` | string | yes | 1 to 3 characters.; matches ``^`\|$`` | \<i\> | ``"`"`` |
| `v.s` | string |  | `"x"`, `"y"` |  |  |

Other properties are refused.

```json
{"schemaId":"a-b","schemaVersion":"2","properties":{"p":"`"}}
```

C++:

````cpp
call("```");
````
)");
}

TEST(Catalogue, RandomSchemasHaveSamplesAndCalls) {
    for (std::uint64_t seed = 0; seed < 60; seed += 2) {
        const auto pages = pagesOf({{"a-1", JSONValue(randomSchema(seed)).text()},
                                    {"a-2", JSONValue(randomSchema(seed + 1)).text()}});
        for (const auto& version : pages.at(0).versions) {
            EXPECT_TRUE(version.sample) << seed;
            EXPECT_EQ(version.calls.size(), 4U) << seed << version.whyNone << version.whyNoCalls;
        }
        const auto page = catalogueHtml(pages, {});
        EXPECT_EQ(page, catalogueHtml(pages, {}));
        EXPECT_THAT(page, HasSubstr("<section class=\"version\" id=\"a-2\"")) << seed;
    }
}

TEST(Catalogue, RepeatedRecordsEndInTime) {
    // Each of the records has the next one twice: 2^40 rows.
    std::string text =
        R"({"type":"object","properties":{"a":{"$ref":"#/definitions/0"}},"definitions":{)";
    for (int at = 0; at < 40; ++at) {
        const auto next = R"({"$ref":"#/definitions/)" + std::to_string(at + 1) + "\"}";
        text += "\"" + std::to_string(at) + R"(":{"type":"object","properties":{"l":)" + next +
                ",\"r\":" + next + "}},";
    }
    const auto pages = pagesOf({{"a-1", text + R"("40":{"type":"string"}}})"}});
    const auto& version = pages.at(0).versions.at(0);
    EXPECT_EQ(version.properties.size(), 1000U);
    EXPECT_EQ(version.otherProperties,
              "The table ends after 1000 rows. Other properties are permitted.");
    EXPECT_LT(catalogueHtml(pages, {}).size(), 4'000'000U);
}

TEST(Catalogue, LongEnumerationIsShownInPart) {
    JSONArray values;
    for (int value = 0; value < 201; ++value)
        values.push_back(value);
    const JSONValue schema{{"type", "object"}, {"properties", {{"p", {{"enum", values}}}}}};
    const auto pages = pagesOf({{"a-1", schema.text()}});
    const auto& row = pages.at(0).versions.at(0).properties.at(0);
    EXPECT_EQ(row.values.size(), 200U);
    EXPECT_THAT(row.rules, ElementsAre("One of 201 values, which begin so:"));
}

}  // namespace
}  // namespace zentara::schemas
