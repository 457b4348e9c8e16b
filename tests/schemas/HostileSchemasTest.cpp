#include <gmock/gmock.h>

#include <pthread.h>

#include <algorithm>
#include <string>
#include <utility>

#include "TestDocuments.h"
#include "schemas/Validators.h"

namespace zentara {
namespace {

using testing::HasSubstr;

constexpr const char* tooLong =
    "Validation stopped: checking this value against this schema takes too long";

/// The last message or its end, when a failing test had better not print it whole.
std::string lastMessage(const JSONValue& value, const JSONObject& schema) {
    const auto result = validate(value, schema);
    if (result.valid()) return "valid";
    const auto& last = result.errors()->back();
    return last.substr(last.size() - std::min<std::size_t>(last.size(), 200));
}

std::string repeated(std::string_view text, std::size_t count) {
    std::string all;
    for (std::size_t i = 0; i < count; ++i)
        all += text;
    return all;
}

/// "[0,1,2" and so on.
std::string numbersBelow(int count) {
    std::string numbers = "[0";
    for (int i = 1; i < count; ++i)
        numbers += "," + std::to_string(i);
    return numbers;
}

JSONValue nestedLists(std::size_t depth, std::string_view innermost = "") {
    return json(repeated("[", depth) + std::string(innermost) + repeated("]", depth));
}

/// "0" refers twice to "1", that twice to "2" and so on: 2^levels paths.
JSONObject fan(const std::string& keyword, int levels, const std::string& end) {
    auto schema = jsonObject(R"({"$ref": "#/0", ")" + std::to_string(levels) + "\": " + end + "}");
    for (int i = 0; i < levels; ++i) {
        const JSONObject next{{"$ref", "#/" + std::to_string(i + 1)}};
        schema[std::to_string(i)] = {{keyword, JSONArray{next, next}}};
    }
    return schema;
}

void expectStop(const std::string& what, const JSONValue& value, const JSONObject& schema) {
    EXPECT_EQ(lastMessage(value, schema), tooLong) << what.substr(0, 40);
}

TEST(HostileSchemas, WhatIsPassedOverIsCharged) {
    // Uncharged, each of these is gone through to its end.
    std::string members;
    JSONObject few{{"e", JSONObject()}};
    for (int i = 0; i < 30'000; ++i)
        members += "\"" + std::to_string(i) + R"(": {},)";
    for (int i = 0; i < 30; ++i)
        few["b" + std::to_string(i)] = 1;
    const auto patterns = members.substr(0, members.find(R"("500")"));
    const std::string ends[] = {
        R"({"$ref": "#/list/0"}, "list": [)" + repeated("{},", 30'000) + "{}]",
        R"({"allOf": [)" + repeated("{},", 30'000) + "1]}",
        R"({"required": [)" + repeated(R"("a",)", 30'000) + "1]}",
        R"({"properties": {)" + members + R"("x": 1}})",
        R"({"dependencies": {")" + std::string(100'000, 'n') + "\": []}}",
        R"({"properties": {"e": {"patternProperties": {)" + patterns + R"("x": {}}}}})",
    };
    for (const auto& end : ends)
        expectStop(end, few, fan("allOf", 15, end));
}

TEST(HostileSchemas, WhatTakesTooLongStops) {
    for (const char* const keyword : {"allOf", "anyOf", "oneOf"})
        expectStop(keyword, 1, fan(keyword, 40, R"({"type": "null"})"));
    const auto numbers = json(numbersBelow(20'000) + "]");
    expectStop("enum", numbers, {{"items", {{"enum", numbers}}}});
    const auto uniqueAtEachLevel =
        jsonObject(R"({"uniqueItems": true, "items": {"anyOf": [{"$ref": "#"}]}})");
    const auto list = numbersBelow(200'000) + "]";
    EXPECT_EQ(lastMessage(json("[" + list + "]"), uniqueAtEachLevel), "valid");
    expectStop("uniqueItems",
               json(repeated("[1,2,3,4,5,6,7,8,9,", 500) + list + repeated("]", 500)),
               uniqueAtEachLevel);
    const std::string text = std::string(40, 'a') + "!";
    const auto pattern = jsonObject(R"({"pattern": "^(?=a)(a+)+$"})");
    EXPECT_THAT(lastMessage(JSONValue(text), pattern), HasSubstr("does not match pattern"));
    expectStop("pattern", JSONArray(1'000, JSONValue(text)), {{"items", pattern}});
    JSONObject manyPatterns;
    JSONObject manyMembers;
    for (int i = 0; i < 6'000; ++i) {
        manyPatterns["x" + std::to_string(i)] = JSONObject();
        manyMembers[std::to_string(i)] = 1;
    }
    expectStop("patternProperties", manyMembers, {{"patternProperties", manyPatterns}});
}

TEST(HostileSchemas, ASmallStackIsEnough) {
    JSONValue deep = 1;
    for (int i = 0; i < 5'000; ++i) {
        JSONArray outer;
        outer.push_back(std::move(deep));
        deep = std::move(outer);
    }
    JSONObject chain{{"$ref", "#/0"}, {"2500", JSONObject()}};
    for (int i = 0; i < 2'500; ++i)
        chain[std::to_string(i)] = {{"$ref", "#/" + std::to_string(i + 1)}};
    struct Run {
        JSONValue value;
        JSONObject schema;
        std::string message = {};
    };
    Run runs[] = {{1, chain}, {JSONArray{deep, deep}, {{"uniqueItems", true}}}};
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setstacksize(&attributes, std::size_t{512} * 1024);
    for (auto& run : runs) {
        const auto body = [](void* context) -> void* {
            auto& own = *static_cast<Run*>(context);
            own.message = lastMessage(own.value, own.schema);
            return nullptr;
        };
        pthread_t thread{};
        ASSERT_EQ(pthread_create(&thread, &attributes, body, &run), 0);
        pthread_join(thread, nullptr);
    }
    pthread_attr_destroy(&attributes);
    EXPECT_THAT(runs[0].message, HasSubstr("the schema is applied more than"));
    EXPECT_EQ(runs[1].message, "valid") << "what lies too deep is not equal";
}

TEST(HostileSchemas, DeepestDataIsValidated) {
    const auto schema = jsonObject(
        R"({"anyOf": [{"$ref": "#/list"}, {"type": "null"}],
            "list": {"type": "array", "items": {"$ref": "#"}}})");
    EXPECT_EQ(lastMessage(nestedLists(511), schema), "valid");
    EXPECT_THAT(lastMessage(nestedLists(511, "1"), schema),
                HasSubstr("does not meet anyOf validation rules."));
    // Eight subschemas for each level of the data.
    const auto step = repeated(R"({"allOf": [)", 6) + R"({"$ref": "#"})" + repeated("]}", 6);
    EXPECT_EQ(lastMessage(nestedLists(511), jsonObject(R"({"items": )" + step + "}")),
              "Validation stopped: the schema is applied more than 2560 levels deep");
}

TEST(HostileSchemas, ManyUniqueItemsAreCounted) {
    const auto values = numbersBelow(100'000);
    EXPECT_EQ(lastMessage(json(values + R"(, "7"])"), {{"uniqueItems", true}}), "valid");
    EXPECT_NE(lastMessage(json(values + ", 4.0]"), {{"uniqueItems", true}}), "valid");
}

TEST(HostileSchemas, LargeValuesPrintWholeWithinMemory) {
    // Each of the thousand would print the whole text.
    const auto schema = jsonObject(R"({"allOf": [)" + repeated(R"({"enum": []},)", 1'000) + "{}]}");
    const std::string large(5'000'000, 'x');
    const auto result = validate(JSONValue(large), schema);
    ASSERT_FALSE(result.valid());
    EXPECT_TRUE(result.errors()->front() ==
                "'" + large + "' is not a valid enumeration value of '[]'");
    EXPECT_LT(result.errors()->size(), 15U);
    EXPECT_EQ(result.errors()->back(), tooLong);
}

}  // namespace
}  // namespace zentara
