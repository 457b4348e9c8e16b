#include "schemas/types/EventType.h"

#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <fstream>

#include "apps/schemas/EventTypeText.h"
#include "apps/schemas/RandomSchemas.h"
#include "schemas/values/Sampler.h"
#include "support/Files.h"

namespace zentara::schemas {

namespace {

SchemaFile fileOf(const std::string& path, const std::string& schema) {
    return SchemaFile::fromText(path, schema);
}

template <typename Number, typename Bound>
bool isWithin(Number number, const std::optional<Bound>& first, const std::optional<Bound>& last) {
    return (!first || number >= *first) && (!last || number <= *last);
}

/// Whether the types can say a value, and their bounds permit it. Integers beyond 64 bits cannot be
/// said.
bool canSay(const EventType& event, const ValueType& type, const JSONValue& value) {
    if (type.shape == Shape::json) return !value.isNull() || type.isNullable;
    if (value.isNull()) return type.isNullable;
    const auto integer = value.asInteger();
    switch (type.shape) {
        case Shape::text:
            return value.isString();
        case Shape::boolean:
            return value.isBoolean() || integer == 0 || integer == 1;
        case Shape::integer:
            if (value.isNumber() && !integer)
                return !value.isDouble() || std::abs(*value.ifDouble()) > 1e18;
            [[fallthrough]];
        case Shape::number: {
            const auto number = value.asDouble();
            if (!number || !isWithin(*number, type.minimum, type.maximum)) return false;
            return !(type.exclusiveMinimum && *number == *type.minimum) &&
                   !(type.exclusiveMaximum && *number == *type.maximum);
        }
        case Shape::enumeration:
            for (const auto& each : event.enumerations.at(type.position).values) {
                const bool isSame =
                    value.isBoolean() ? each == JSONValue(value.boolean() ? 1 : 0) : each == value;
                if (isSame || (integer && each == JSONValue(*integer))) return true;
            }
            return false;
        case Shape::list: {
            if (!value.isArray()) return false;
            const auto& list = value.array();
            return isWithin(static_cast<std::int64_t>(list.size()), type.minItems, type.maxItems) &&
                   std::all_of(list.begin(), list.end(), [&](const JSONValue& each) {
                       return canSay(event, *type.element, each);
                   });
        }
        default:
            break;
    }
    if (!value.isObject()) return false;
    const auto& record = event.records.at(type.position);
    std::size_t found = 0;
    for (const auto& property : record.properties) {
        const auto* const member = value.object().find(property.key);
        if (member == nullptr ? property.isRequired : !canSay(event, property.type, *member))
            return false;
        found += member == nullptr ? 0 : 1;
    }
    return record.hasFreeProperties || found == value.object().size();
}

ValueType rootOf(const EventType& event) {
    ValueType root;
    root.shape = Shape::record;
    root.position = event.records.size() - 1;
    return root;
}

/// Draws values for a schema; returns how many there were.
int drawValues(const JSONObject& schema, std::uint64_t seed, int most) {
    const auto event = eventTypeOf(fileOf("a-1.json", JSONValue(schema).text()));
    Sampler sampler(schema, seed);
    int count = 0;
    for (; count < most; ++count) {
        const auto value = sampler.valid();
        if (!value) break;
        EXPECT_TRUE(canSay(event, rootOf(event), *value)) << JSONValue(schema).text() << '\n'
                                                          << textOf(event) << '\n'
                                                          << value->text();
    }
    return count;
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
        drawValues(test.at("schema").object(), static_cast<std::uint64_t>(count), 20);
    }
    EXPECT_GT(count, 40);
}

TEST(EventType, EachValidValueCanBeSaid) {
    int count = 0;
    for (std::uint64_t seed = 0; seed < 1000; ++seed)
        count += drawValues(randomSchema(seed), seed, 50);
    EXPECT_GT(count, 40'000);
}

TEST(EventType, PublishedValidValuesCanBeSaid) {
    int count = 0;
    const auto folder = std::filesystem::path(ZENTARA_JSON_SCHEMA_SUITE) / "draft4";
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
        if (entry.path().extension() != ".json") continue;
        const auto groups = JSONValue::parse(test::contentsOf(entry.path()));
        for (const auto& group : groups.array()) {
            // Of a property, so that values of all kinds count.
            const JSONValue schema = {{"properties", {{"v", {{"$ref", "#/definitions/s"}}}}},
                                      {"definitions", {{"s", group.at("schema")}}}};
            const auto event = eventTypeOf(fileOf("a-1.json", schema.text()));
            const Sampler sampler(schema.object(), 0);
            for (const auto& each : group.at("tests").array()) {
                const JSONValue properties = {{"v", each.at("data")}};
                if (!sampler.accepts(properties)) continue;
                ++count;
                EXPECT_TRUE(canSay(event, rootOf(event), properties)) << entry.path() << '\n'
                                                                      << schema.text() << '\n'
                                                                      << properties.text();
            }
        }
    }
    EXPECT_EQ(count, 175);
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
