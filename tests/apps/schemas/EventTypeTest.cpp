#include "schemas/types/EventType.h"

#include <gtest/gtest.h>

#include <fstream>

#include "apps/schemas/EventTypeText.h"

namespace zentara::schemas {

namespace {

SchemaFile fileOf(const std::string& path, const std::string& schema) {
    return SchemaFile::fromText(path, schema);
}

std::string messageOf(const std::vector<SchemaFile>& files) {
    try {
        static_cast<void>(eventTypesOf(files));
    } catch (const CommandError& error) {
        return error.what();
    }
    return "";
}

}  // namespace

TEST(EventType, CasesHaveTheirTypes) {
    std::ifstream file(ZENTARA_SOURCE_DIR "/tests/apps/schemas/event_types.jsonl");
    int count = 0;
    for (std::string line; std::getline(file, line); ++count) {
        const auto test = JSONValue::parse(line);
        EXPECT_EQ(textOf(eventTypeOf(fileOf("a-1.json", test.at("schema").text()))),
                  test.at("types").string())
            << line;
    }
    EXPECT_GT(count, 40);
}

TEST(EventType, VersionsOfAnIdAreInItsName) {
    const auto events = eventTypesOf(std::vector{
        fileOf("order-10.json", "{}"), fileOf("order-b.json", "{}"), fileOf("order-9.json", "{}"),
        fileOf("add-to-cart-1.2.json", R"({"title":"Add","description":"Text"})")});
    std::vector<std::string> names;
    for (const auto& event : events)
        names.push_back(event.name.key() + ' ' + identifier(event.words, NameStyle::upperCamel));
    EXPECT_EQ(names, (std::vector<std::string>{"add-to-cart-1.2 AddToCart", "order-9 OrderV9",
                                               "order-10 OrderV10", "order-b OrderVb"}));
    EXPECT_EQ(events.front().title, "Add");
    EXPECT_EQ(events.front().description, "Text");
    EXPECT_EQ(events.front().path, "add-to-cart-1.2.json");
    EXPECT_EQ(messageOf({fileOf("x/a-b-1.json", "{}"), fileOf("a_b-1.json", "{}")}),
              "the schemas: \"x/a-b-1.json\" and \"a_b-1.json\" would both be called AB");
}

TEST(EventType, DescriptionsComeFromTheNearestSchema) {
    const auto event = eventTypeOf(fileOf("a-1.json", R"({"description":"Event","properties":{
        "own":{"$ref":"#/definitions/b","description":"Own"},"far":{"$ref":"#/definitions/b"},
        "e":{"enum":["x"],"description":"Choice"}},
        "definitions":{"b":{"type":"object","title":"B","properties":{"x":{"type":"string"}}}}})"));
    const auto& root = event.records.back();
    EXPECT_EQ(root.description, "Event");
    EXPECT_EQ(root.pointer, "");
    EXPECT_EQ(root.properties.at(0).description, "Own");
    EXPECT_EQ(root.properties.at(1).description, "");
    EXPECT_EQ(event.enumerations.front().description, "Choice");
    EXPECT_EQ(event.records.front().description, "B");
    EXPECT_EQ(event.records.front().pointer, "/definitions/b");
}

TEST(EventType, ValuesOfEnumerationsHaveWords) {
    using Words = std::vector<std::string>;
    EXPECT_EQ(wordsOfValue("wish-list"), (Words{"wish", "list"}));
    EXPECT_EQ(wordsOfValue(240), (Words{"value", "240"}));
    EXPECT_EQ(wordsOfValue(-1), (Words{"minus", "1"}));
}

TEST(EventType, RefusesWhatHasNoTypes) {
    EXPECT_EQ(messageOf({fileOf("a-1.json", "[")}),
              "a-1.json: is no schema; zentara-schemas check tells why");
    EXPECT_EQ(messageOf({fileOf("a.json", "{}")}), "a.json: the name is not {id}-{version}.json");
    for (const auto* const schema :
         {R"({"type":"array"})", R"({"type":5})", R"({"allOf":[{"type":["string","null"]}]})"})
        EXPECT_EQ(messageOf({fileOf("a-1.json", schema)}),
                  "a-1.json: the schema permits no object, as the properties of an event are");
}

TEST(EventType, HostileSchemasEndInTime) {
    const auto build = [](const std::string& schema) {
        const auto file = fileOf("a-1.json", schema);
        EXPECT_TRUE(file.document) << schema.substr(0, 99);
        return messageOf({file});
    };
    const std::string tooMany = "a-1.json: the references of the schema lead to too many types";
    std::string deep = R"({"type":"string"})";
    for (int level = 0; level < 250; ++level)
        deep = R"({"type":"object","properties":{"a":)" + deep + "}}";
    EXPECT_EQ(build(deep), "");

    std::string chain, wide, all, doubling;
    for (int i = 0; i < 10'000; ++i) {
        const auto number = std::to_string(i);
        const auto next = std::to_string(i + 1);
        const auto comma = i == 0 ? "" : ",";
        chain += comma + ('"' + number) +
                 R"(":{"type":"object","properties":{"p":{"$ref":"#/definitions/)" + next +
                 R"("}}})";
        wide += comma + ('"' + number) + R"(a":{"enum":["x"]})";
        all += comma + ('"' + number) + R"(":{"allOf":[{"$ref":"#/definitions/)" + next + R"("}]})";
    }
    // A property of each level meets a schema more or not: two to the power of the level.
    constexpr int levels = 25;
    for (int level = 0; level < levels; ++level) {
        for (int i = 0; i <= level; ++i) {
            const auto reference = [level](int next) {
                return R"({"$ref":"#/definitions/)" + std::to_string((level + 1) * levels + next) +
                       R"("})";
            };
            doubling += (level == 0 ? "\"" : ",\"") + std::to_string(level * levels + i) +
                        R"(":{"type":"object","properties":{"a":)" + reference(i) +
                        R"(,"b":{"allOf":[)" + reference(i) + ',' + reference(level + 1) + "]}}}";
        }
    }
    const auto document = [](const std::string& definitions) {
        return R"({"$ref":"#/definitions/0","definitions":{)" + definitions + "}}";
    };
    EXPECT_EQ(build(document(chain)), "");
    EXPECT_EQ(build(document(all)), "");
    EXPECT_EQ(build(R"({"properties":{)" + wide + "}}"), "");
    EXPECT_EQ(build(document(doubling)), tooMany);
    EXPECT_EQ(build(R"({"allOf":[{"$ref":"#"}],"properties":{"a":{"$ref":"#/properties/a"}}})"),
              "");
}

}  // namespace zentara::schemas
