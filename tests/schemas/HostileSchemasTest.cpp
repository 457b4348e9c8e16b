#include <gmock/gmock.h>

#include <malloc.h>
#include <pthread.h>

#include <algorithm>
#include <cstdint>
#include <ctime>
#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "TestDocuments.h"
#include "schemas/Validators.h"

namespace zentara {
namespace {

using testing::HasSubstr;

constexpr const char* tooLong =
    "Validation stopped: checking this value against this schema takes too long";

std::string repeated(std::string_view text, std::size_t count) {
    std::string all;
    for (std::size_t i = 0; i < count; ++i)
        all += text;
    return all;
}

/// "0" refers twice to "1", that twice to "2" and so on: 2^levels paths.
JSONObject fan(const std::string& keyword, int levels, const JSONValue& end) {
    JSONObject schema{{"$ref", "#/0"}, {std::to_string(levels), end}};
    for (int i = 0; i < levels; ++i) {
        const JSONObject next{{"$ref", "#/" + std::to_string(i + 1)}};
        schema[std::to_string(i)] = {{keyword, JSONArray{next, next}}};
    }
    return schema;
}

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
    std::string members;
    JSONObject few{{"e", JSONObject()}};
    for (int i = 0; i < 30'000; ++i)
        members += "\"" + std::to_string(i) + R"(": {},)";
    for (int i = 0; i < 30; ++i)
        few["b" + std::to_string(i)] = 1;
    const auto patterns = members.substr(0, members.find(R"("500")"));
    const std::string ends[] = {
        R"({"$ref": "#/list/0"})",
        R"({"allOf": [)" + repeated("{},", 30'000) + "1]}",
        R"({"required": [)" + repeated(R"("a",)", 30'000) + "1]}",
        R"({"properties": {)" + members + R"("x": 1}})",
        R"({"dependencies": {")" + std::string(100'000, 'n') + "\": []}}",
        R"({"properties": {"e": {"patternProperties": {)" + patterns + R"("x": {}}}}})",
    };
    for (const auto& end : ends) {
        auto schema = fan("allOf", 15, json(end));
        schema["list"] = JSONArray(30'000, JSONObject());
        expectStop(end, few, schema);
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
    const JSONArray twice{deep, deep};
    std::string ofChain;
    std::string ofDeep;
    std::function<void()> work = [&] {
        ofChain = lastMessage(1, chain);
        ofDeep = lastMessage(twice, {{"uniqueItems", true}});
    };
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setstacksize(&attributes, std::size_t{512} * 1024);
    const auto run = [](void* context) -> void* {
        (*static_cast<std::function<void()>*>(context))();
        return nullptr;
    };
    pthread_t thread{};
    ASSERT_EQ(pthread_create(&thread, &attributes, run, &work), 0);
    pthread_join(thread, nullptr);
    pthread_attr_destroy(&attributes);
    EXPECT_EQ(ofChain, "Validation stopped: the stack of this thread is too small");
    EXPECT_EQ(ofDeep, "valid") << "what lies too deep is not equal";
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

/// Something that took seconds or hundreds of megabytes once, or looks as if it might.
struct Attack {
    std::string name;
    JSONValue value;
    JSONObject schema;
    bool isValid = false;
};

/// Lists that all had one hash once, from which it was known how lists are mixed.
JSONValue collidingLists(std::uint64_t count) {
    constexpr std::uint64_t factor = 0x9E3779B97F4A7C15U;
    std::uint64_t inverse = factor;
    for (int i = 0; i < 6; ++i)
        inverse *= 2 - factor * inverse;
    JSONArray lists;
    for (std::uint64_t i = 0; i < count; ++i) {
        constexpr std::uint64_t listHash = 7;
        const auto first = (listHash ^ i) * factor + (listHash << 6U);
        lists.push_back(JSONArray{i, ((std::uint64_t{0} - (first << 6U)) * inverse) ^ first});
    }
    return lists;
}

std::vector<Attack> attacks() {
    const auto many = [](const std::string& text, std::size_t count) {
        return JSONArray(count, JSONValue(text));
    };
    std::vector<Attack> all;
    const auto add = [&all](const std::string& name, const auto& value, const JSONObject& schema) {
        all.push_back({name, JSONValue(value), schema});
    };
    add("carriage returns counted", repeated("\ra", 100'000), fan("allOf", 15, {{"minLength", 9}}));
    add("ill-formed text counted", repeated("\xFF", 100'000), fan("allOf", 15, {{"minLength", 9}}));
    for (const char* const format : {"uri", "numericString"}) {
        const JSONObject refused{{"not", JSONObject{{"format", format}}}};
        add(std::string("not and format ") + format, repeated("1", 10'000'000) + "\r.1",
            fan("allOf", 10, {{"not", refused}}));
    }

    const auto addPattern = [&](const std::string& name, const std::string& text,
                                const std::string& pattern) {
        add(name, many(text, 20), {{"items", JSONObject{{"pattern", pattern}}}});
    };
    const std::string letters(32'768, 'a');
    addPattern("look-ahead scans a set", repeated("漢", 32'768), "^(?:(?=[^\\p{Lu}]*).)*!");
    addPattern("back references", letters, "^(a*)(?:(?:\\1b|a)*c|\\1)*!");
    addPattern("word boundaries", letters, "^(?:a|b)*" + repeated("\\B", 5'000) + "z");
    addPattern("words by rules", repeated("กา", 16'000), "(?w)^(?:(?=.*\\b).|.)*z");
    addPattern("characters by rules", letters + "\u0300", "^(?:(?=.*\\X).)*z");
    addPattern("anchors", letters, "^(?:a|b)*(?m:" + repeated("$", 12'000) + "z)");
    addPattern("groups copied", letters, "^(?:a(?>a|b)|" + repeated("()", 5'000) + "b)*z");
    addPattern("stack filled", letters, "(?=a)(?:(a)|b)*c");

    const auto addCompilation = [&](const std::string& name, const std::string& pattern) {
        JSONObject patterns;
        for (int i = 0; i < 40; ++i)
            patterns[pattern + "|" + std::to_string(i)] = JSONObject();
        add(name, JSONObject{{"no", "member"}}, {{"patternProperties", patterns}});
    };
    addCompilation("stacks kept", repeated("(|z)", 560));
    all.back().isValid = true;
    addCompilation("repetitions compiled", repeated("a{99}", 3'000));
    addCompilation("large sets compiled, ignoring case",
                   "(?i)" + repeated("[\\x{0}-\\x{10ffff}]", 98));

    add("lists made to collide", collidingLists(9'000), {{"uniqueItems", true}});
    all.back().isValid = true;
    add("messages of 5 MB", std::string(5'000'000, 'x'),
        {{"allOf", JSONArray(1'000, JSONObject{{"enum", JSONArray()}})}});
    add("small messages", JSONArray(1'000'000, JSONValue(1)), {{"items", {{"maximum", 0}}}});
    add("a message of 90 MB", 1, {{"enum", many(std::string(90'000, '"'), 1'000)}});
    add("a reference of 30 MB", 1, {{"$ref", "#/" + std::string(30'000'000, '/')}});
    return all;
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

TEST(HostileSchemas, AttacksEndWithinTimeAndMemory) {
    for (const auto& attack : attacks()) {
        const auto memoryBefore = heapInUse();
        const auto timeBefore = threadTime();
        const auto result = validate(attack.value, attack.schema);
        EXPECT_LT(threadTime() - timeBefore, 2) << attack.name << ": half a second, with a margin";
        EXPECT_LT(heapInUse(), memoryBefore + 70'000'000) << attack.name;
        EXPECT_EQ(result.valid(), attack.isValid) << attack.name;
    }
}

}  // namespace
}  // namespace zentara
