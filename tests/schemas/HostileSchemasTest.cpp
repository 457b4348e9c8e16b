#include <gmock/gmock.h>

#include <pthread.h>

#include <algorithm>
#include <chrono>
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

/// "0,1,2" and so on.
std::string numbersBelow(int count) {
    std::string numbers = "0";
    for (int i = 1; i < count; ++i)
        numbers += "," + std::to_string(i);
    return numbers;
}

JSONValue nestedLists(std::size_t depth) {
    return json(repeated("[", depth) + repeated("]", depth));
}

/// "0" refers twice to "1", that twice to "2" and so on: 2^40 paths.
std::string fan(std::string_view keyword, std::string_view end = R"({"type": "null"})") {
    std::string schema = R"({"$ref": "#/0")";
    for (int i = 0; i < 40; ++i) {
        const auto next = R"({"$ref": "#/)" + std::to_string(i + 1) + "\"}";
        schema += ", \"" + std::to_string(i) + "\": {\"" + std::string(keyword) + "\": [" + next +
                  ", " + next + "]}";
    }
    return schema + R"(, "40": )" + std::string(end) + "}";
}

TEST(HostileSchemas, ReferencesThatFanOutStop) {
    for (const char* keyword : {"allOf", "anyOf", "oneOf"})
        EXPECT_EQ(lastMessage(json("1"), jsonObject(fan(keyword))), tooLong) << keyword;
    auto negated = jsonObject(fan("anyOf"));
    negated["not"] = {{"$ref", "#/0"}};
    negated.erase("$ref");
    EXPECT_EQ(lastMessage(json("1"), negated), tooLong);
}

TEST(HostileSchemas, WhatIsPassedOverIsCharged) {
    // Uncharged, each of these takes minutes.
    const auto manyNames = repeated(R"("a",)", 30'000);
    std::string manyMembers;
    std::string fewMembers = R"("e": {})";
    for (int i = 0; i < 30'000; ++i)
        manyMembers += "\"" + std::to_string(i) + R"(": {},)";
    for (int i = 0; i < 30; ++i)
        fewMembers += ", \"b" + std::to_string(i) + "\": 1";
    const auto patterns = manyMembers.substr(0, manyMembers.find(R"("500")"));
    const auto longName = "\"" + std::string(100'000, 'n') + "\"";
    const std::string ends[] = {
        R"({"$ref": "#/list/0"}, "list": [)" + repeated("{},", 30'000) + "{}]",
        R"({"allOf": [)" + repeated("{},", 30'000) + "1]}",
        R"({"required": [)" + manyNames + "1]}",
        R"({"properties": {)" + manyMembers + R"("x": 1}})",
        R"({"dependencies": {)" + longName + ": []}}",
        R"({"properties": {"e": {"patternProperties": {)" + patterns + R"("x": {}}}}})",
    };
    const auto value = json("{" + fewMembers + "}");
    for (const auto& end : ends) {
        const auto schema = jsonObject(fan("allOf", end));
        const auto start = std::chrono::steady_clock::now();
        EXPECT_EQ(lastMessage(value, schema), tooLong) << end.substr(0, 40);
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20))
            << end.substr(0, 40);
    }
}

TEST(HostileSchemas, ASmallStackIsEnough) {
    JSONValue deep = 1;
    for (int i = 0; i < 5'000; ++i) {
        JSONArray outer;
        outer.push_back(std::move(deep));
        deep = std::move(outer);
    }
    std::string chain = R"({"$ref": "#/0")";
    for (int i = 0; i < 2'500; ++i) {
        chain += ", \"" + std::to_string(i) + R"(": {"$ref": "#/)" + std::to_string(i + 1) + "\"}";
    }
    struct Run {
        JSONValue value;
        JSONObject schema;
        std::string message;
    };
    Run runs[] = {{1, jsonObject(chain + R"(, "2500": {}})"), ""},
                  {JSONArray{deep, deep}, jsonObject(R"({"uniqueItems": true})"), ""}};
    for (auto& run : runs) {
        pthread_attr_t attributes;
        pthread_attr_init(&attributes);
        pthread_attr_setstacksize(&attributes, std::size_t{512} * 1024);
        const auto body = [](void* context) -> void* {
            auto& own = *static_cast<Run*>(context);
            own.message = lastMessage(own.value, own.schema);
            return nullptr;
        };
        pthread_t thread{};
        ASSERT_EQ(pthread_create(&thread, &attributes, body, &run), 0);
        pthread_join(thread, nullptr);
        pthread_attr_destroy(&attributes);
    }
    EXPECT_THAT(runs[0].message, HasSubstr("the schema is applied more than"));
    EXPECT_EQ(runs[1].message, "valid") << "what lies too deep is not equal";
}

TEST(HostileSchemas, TheDeepestDataThatIsReadIsValidated) {
    const auto schema = jsonObject(
        R"({"anyOf": [{"$ref": "#/list"}, {"type": "null"}],
            "list": {"type": "array", "items": {"$ref": "#"}}})");
    EXPECT_TRUE(validate(nestedLists(511), schema).valid());
    const auto wrong = json(repeated("[", 511) + "1" + repeated("]", 511));
    EXPECT_THAT(lastMessage(wrong, schema), HasSubstr("does not meet anyOf validation rules."));
}

TEST(HostileSchemas, DepthThatMultipliesStops) {
    // Eight subschemas for each level of the data.
    std::string step = R"({"$ref": "#"})";
    for (int i = 0; i < 6; ++i)
        step = R"({"allOf": [)" + step + "]}";
    EXPECT_EQ(lastMessage(nestedLists(511), jsonObject(R"({"items": )" + step + "}")),
              "Validation stopped: the schema is applied more than 2560 levels deep");
}

TEST(HostileSchemas, HugeListsAgainstHugeEnumerationsStop) {
    const auto values = numbersBelow(20'000);
    const auto schema = jsonObject(R"({"items": {"enum": [)" + values + "]}}");
    EXPECT_EQ(lastMessage(json("[" + values + "]"), schema), tooLong);
}

TEST(HostileSchemas, ManyUniqueItemsAreCounted) {
    const auto values = numbersBelow(100'000);
    const auto schema = jsonObject(R"({"uniqueItems": true})");
    EXPECT_TRUE(validate(json(R"(["7", )" + values + "]"), schema).valid());
    EXPECT_FALSE(validate(json("[" + values + ", 4.0]"), schema).valid());
    EXPECT_FALSE(validate(json(R"(["7", )" + values + R"(, "7"])"), schema).valid());
}

TEST(HostileSchemas, UniqueItemsAtEveryLevelStop) {
    const auto values = numbersBelow(200'000);
    const auto list =
        repeated("[1,2,3,4,5,6,7,8,9,", 500) + "[" + values + "]" + repeated("]", 500);
    const auto schema = jsonObject(R"({"uniqueItems": true, "items": {"anyOf": [{"$ref": "#"}]}})");
    EXPECT_EQ(lastMessage(json("[[" + values + "]]"), schema), "valid");
    EXPECT_EQ(lastMessage(json(list), schema), tooLong);
}

TEST(HostileSchemas, ExplodingPatternsShareOneLimit) {
    const auto text = "\"" + std::string(40, 'a') + "!\"";
    const auto list = json("[" + repeated(text + ",", 1'000) + text + "]");
    EXPECT_EQ(lastMessage(list, jsonObject(R"({"items": {"pattern": "^(?=a)(a+)+$"}})")), tooLong);
    const auto one = jsonObject(R"({"pattern": "^(?=a)(a+)+$"})");
    EXPECT_THAT(lastMessage(json(text), one), HasSubstr("does not match pattern"));
}

TEST(HostileSchemas, ManyPatternsForManyKeysStop) {
    JSONObject patterns;
    JSONObject members;
    for (int i = 0; i < 6'000; ++i) {
        patterns["x" + std::to_string(i)] = JSONObject();
        members[std::to_string(i)] = 1;
    }
    EXPECT_EQ(lastMessage(members, JSONObject{{"patternProperties", patterns}}), tooLong);
}

TEST(HostileSchemas, LargeValuesPrintWholeAndMessagesStayWithinMemory) {
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
