#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "json/JSONValue.h"

namespace zentara {

inline std::string repeated(std::string_view text, std::size_t count) {
    std::string all;
    for (std::size_t i = 0; i < count; ++i)
        all += text;
    return all;
}

inline JSONArray listOf(std::size_t count, const JSONValue& value) {
    JSONArray all;
    all.reserve(count);
    for (std::size_t i = 0; i < count; ++i)
        all.push_back(value);
    return all;
}

/// "0" refers twice to "1", that twice to "2" and so on: 2^levels paths.
inline JSONObject fan(const std::string& keyword, int levels, const JSONValue& end) {
    JSONObject schema{{"$ref", "#/0"}, {std::to_string(levels), end}};
    for (int i = 0; i < levels; ++i) {
        const JSONObject next{{"$ref", "#/" + std::to_string(i + 1)}};
        schema[std::to_string(i)] = {{keyword, JSONArray{next, next}}};
    }
    return schema;
}

/// A validation that could take seconds or hundreds of megabytes.
struct Attack {
    enum class Ending { valid, invalid, stopped };

    std::string name;
    JSONValue value;
    JSONObject schema;
    Ending ending;
};

/// "[0,1,2" and so on.
inline std::string numbersBelow(int count) {
    std::string numbers = "[0";
    for (int i = 1; i < count; ++i)
        numbers += "," + std::to_string(i);
    return numbers;
}

/// Lists that have one hash under a mixing function without a seed.
inline JSONValue collidingLists(std::uint64_t count) {
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

inline std::vector<Attack> attacks() {
    using enum Attack::Ending;
    const auto many = [](const std::string& text, std::size_t count) {
        return listOf(count, text);
    };
    std::vector<Attack> all;
    const auto add = [&all](const std::string& name, const auto& value, const JSONObject& schema,
                            Attack::Ending ending = invalid) {
        all.push_back({name, JSONValue(value), schema, ending});
    };
    add("carriage returns counted", repeated("\ra", 100'000), fan("allOf", 15, {{"minLength", 9}}));
    add("ill-formed text counted", repeated("\xFF", 100'000), fan("allOf", 15, {{"minLength", 9}}));
    for (const char* const format : {"uri", "numericString"}) {
        const JSONObject refused{{"not", JSONObject{{"format", format}}}};
        add(std::string("not and format ") + format, repeated("1", 10'000'000) + "\r.1",
            fan("allOf", 10, {{"not", refused}}));
    }
    for (const char* const keyword : {"allOf", "anyOf", "oneOf"})
        add(keyword, 1, fan(keyword, 40, {{"type", "null"}}), stopped);

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
    add("many short texts", many(std::string(40, 'a') + "!", 1'000),
        {{"items", {{"pattern", "^(?=a)(a+)+$"}}}}, stopped);

    const auto addCompilation = [&](const std::string& name, const std::string& pattern,
                                    Attack::Ending ending = invalid) {
        JSONObject patterns;
        for (int i = 0; i < 40; ++i)
            patterns[pattern + "|" + std::to_string(i)] = JSONObject();
        add(name, JSONObject{{"no", "member"}}, {{"patternProperties", patterns}}, ending);
    };
    addCompilation("stacks kept", repeated("(|z)", 560), valid);
    addCompilation("repetitions compiled", repeated("a{99}", 3'000));
    addCompilation("large sets compiled, ignoring case",
                   "(?i)" + repeated("[\\x{0}-\\x{10ffff}]", 98));
    JSONObject manyPatterns;
    JSONObject manyMembers;
    for (int i = 0; i < 6'000; ++i) {
        manyPatterns["x" + std::to_string(i)] = JSONObject();
        manyMembers[std::to_string(i)] = 1;
    }
    add("patterns by members", manyMembers, {{"patternProperties", manyPatterns}}, stopped);

    const auto numbers = JSONValue::parse(numbersBelow(20'000) + "]");
    add("enum", numbers, {{"items", {{"enum", numbers}}}}, stopped);
    add("lists made to collide", collidingLists(9'000), {{"uniqueItems", true}}, valid);
    const JSONObject uniqueAtEachLevel{{"uniqueItems", true},
                                       {"items", {{"anyOf", JSONArray{{{"$ref", "#"}}}}}}};
    const auto list = numbersBelow(200'000) + "]";
    add("one long list", JSONValue::parse("[" + list + "]"), uniqueAtEachLevel, valid);
    add("long list at each level",
        JSONValue::parse(repeated("[1,2,3,4,5,6,7,8,9,", 500) + list + repeated("]", 500)),
        uniqueAtEachLevel, stopped);
    add("the last is no number", JSONValue::parse(numbersBelow(100'000) + R"(, "7"])"),
        {{"uniqueItems", true}}, valid);
    add("the last is there twice", JSONValue::parse(numbersBelow(100'000) + ", 4.0]"),
        {{"uniqueItems", true}});

    add("messages of 5 MB", std::string(5'000'000, 'x'),
        {{"allOf", listOf(1'000, JSONObject{{"enum", JSONArray()}})}}, stopped);
    add("small messages", listOf(1'000'000, 1), {{"items", {{"maximum", 0}}}});
    add("a message of 90 MB", 1, {{"enum", many(std::string(90'000, '"'), 1'000)}});
    add("a reference of 30 MB", 1, {{"$ref", "#/" + std::string(30'000'000, '/')}});

    // Without a charge, each of these is evaluated to its end.
    JSONObject few;
    std::string members;
    for (int i = 0; i < 30; ++i) {
        few["b" + std::to_string(i)] = 1;
        members += "\"" + std::string(100'000, 'n') + std::to_string(i) + "\": {},";
    }
    few[std::string(100'000, 'n')] = few["text"] = "e";
    for (const auto& end :
         {R"({"required": [)" + repeated(R"("b1",)", 30'000) + R"("b1"]})",
          R"({"dependencies": {")" + std::string(100'000, 'n') + "\": []}}",
          R"({"dependencies": {"b1": [)" + repeated(R"("b1",)", 30'000) + R"("b1"]}})",
          R"({"properties": {"text": {"enum": [)" + repeated(R"("a",)", 30'000) + "\"e\"]}}}",
          R"({"properties": {)" + members + R"("x": {}}})"})
        add("charged: " + end.substr(0, 30), few, fan("allOf", 15, JSONValue::parse(end)), stopped);

    // These have no effect. Only compiling the schema reads them.
    members.clear();
    for (int i = 0; i < 30'000; ++i)
        members += "\"" + std::to_string(i) + R"(": {},)";
    for (const auto& end : {R"({"$ref": "#/list/0"})" + std::string(),
                            R"({"allOf": [)" + repeated("{},", 30'000) + "1]}",
                            R"({"required": [)" + repeated(R"("a",)", 30'000) + "1]}",
                            R"({"properties": {)" + members + R"("x": 1}})",
                            R"({"patternProperties": {)" + members + R"("x": 1}})"}) {
        auto schema = fan("allOf", 15, JSONValue::parse(end));
        schema["list"] = listOf(30'000, JSONObject());
        add("no effect: " + end.substr(0, 30), JSONObject{{"e", 1}}, schema, valid);
    }
    return all;
}

}  // namespace zentara
