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

/// Something that took seconds or hundreds of megabytes once, or looks as if it might.
struct Attack {
    std::string name;
    JSONValue value;
    JSONObject schema;
    bool isValid = false;
};

/// Lists that all had one hash once, from which it was known how lists are mixed.
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
    const auto many = [](const std::string& text, std::size_t count) {
        return listOf(count, text);
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
        {{"allOf", listOf(1'000, JSONObject{{"enum", JSONArray()}})}});
    add("small messages", listOf(1'000'000, 1), {{"items", {{"maximum", 0}}}});
    add("a message of 90 MB", 1, {{"enum", many(std::string(90'000, '"'), 1'000)}});
    add("a reference of 30 MB", 1, {{"$ref", "#/" + std::string(30'000'000, '/')}});
    return all;
}

}  // namespace zentara
