#include <gmock/gmock.h>

#include <malloc.h>
#include <pthread.h>

#include <algorithm>
#include <ctime>
#include <string>
#include <utility>

#include "Attacks.h"
#include "TestDocuments.h"
#include "schemas/Schema.h"

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

void expectStop(const std::string& what, const JSONValue& value, const JSONObject& schema) {
    EXPECT_EQ(lastMessage(value, schema), tooLong) << what.substr(0, 40);
}

TEST(HostileSchemas, WhatIsPassedOverIsCharged) {
    // Uncharged, each of these is gone through to its end.
    JSONObject few;
    std::string members;
    for (int i = 0; i < 30; ++i) {
        few["b" + std::to_string(i)] = 1;
        members += "\"" + std::string(100'000, 'n') + std::to_string(i) + "\": {},";
    }
    few[std::string(100'000, 'n')] = few["text"] = "e";
    const std::string ends[] = {
        R"({"required": [)" + repeated(R"("b1",)", 30'000) + R"("b1"]})",
        R"({"dependencies": {")" + std::string(100'000, 'n') + "\": []}}",
        R"({"dependencies": {"b1": [)" + repeated(R"("b1",)", 30'000) + R"("b1"]}})",
        R"({"properties": {"text": {"enum": [)" + repeated(R"("a",)", 30'000) + "\"e\"]}}}",
        R"({"properties": {)" + members + R"("x": {}}})",
    };
    for (const auto& end : ends)
        expectStop(end, few, fan("allOf", 15, json(end)));
}

TEST(HostileSchemas, WhatHasNoEffectCostsNothing) {
    // It is gone through once, when the schema is compiled.
    std::string members;
    for (int i = 0; i < 30'000; ++i)
        members += "\"" + std::to_string(i) + R"(": {},)";
    for (const auto& end : {R"({"$ref": "#/list/0"})" + std::string(),
                            R"({"allOf": [)" + repeated("{},", 30'000) + "1]}",
                            R"({"required": [)" + repeated(R"("a",)", 30'000) + "1]}",
                            R"({"properties": {)" + members + R"("x": 1}})",
                            R"({"patternProperties": {)" + members + R"("x": 1}})"}) {
        auto schema = fan("allOf", 15, json(end));
        schema["list"] = listOf(30'000, JSONObject());
        EXPECT_EQ(lastMessage(JSONObject{{"e", 1}}, schema), "valid") << end.substr(0, 40);
    }
}

TEST(HostileSchemas, WhatTakesTooLongStops) {
    for (const char* const keyword : {"allOf", "anyOf", "oneOf"})
        expectStop(keyword, 1, fan(keyword, 40, {{"type", "null"}}));
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
    expectStop("pattern", listOf(1'000, text), {{"items", pattern}});
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
    EXPECT_EQ(runs[0].message, "Validation stopped: the stack of this thread is too small");
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

/// In seconds. What others on the machine do does not count.
double threadTime() {
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

std::size_t heapInUse() {
    const auto heap = mallinfo2();
    return heap.uordblks + heap.hblkhd;
}

/// Half a second of work, with a margin. The sanitizers take that many times as long for the same
/// work.
#ifndef __has_feature
#define __has_feature(feature) 0
#endif
constexpr double secondsAllowed = __has_feature(thread_sanitizer)    ? 30
                                  : __has_feature(address_sanitizer) ? 10
                                                                     : 2;

TEST(HostileSchemas, AttacksEndWithinTimeAndMemory) {
    for (const auto& attack : attacks()) {
        const auto memoryBefore = heapInUse();
        const auto timeBefore = threadTime();
        const auto result = validate(attack.value, attack.schema);
        EXPECT_LT(threadTime() - timeBefore, secondsAllowed) << attack.name;
        EXPECT_LT(heapInUse(), memoryBefore + 70'000'000) << attack.name;
        EXPECT_EQ(result.valid(), attack.isValid) << attack.name;
    }
}

}  // namespace
}  // namespace zentara
