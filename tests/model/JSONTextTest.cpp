#include "model/JSONText.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <string>

namespace zentara {
namespace {

std::string nested(std::size_t depth) {
    return std::string(depth, '[') + std::string(depth, ']');
}

JSONValue nestedValue(std::size_t depth) {
    JSONValue value = JSONArray();
    for (std::size_t i = 1; i < depth; ++i)
        value = JSONArray{std::move(value)};
    return value;
}

std::string written(const JSONValue& value) {
    std::string text;
    EXPECT_TRUE(appendJSON(text, value));
    return text;
}

TEST(JSONText, ReadsWhatThePlatformReads) {
    struct Case {
        std::string text;
        bool isSound;
    };
    const Case cases[] = {
        {"{}", true},
        {"[]", true},
        {" [1] \n", true},
        {"\xEF\xBB\xBF{\"a\":1}", true},
        {nested(512), true},
        {nested(513), false},
        {"", false},
        {"5", false},
        {"\"text\"", false},
        {"null", false},
        {"[1,]", false},
        {"[1] [2]", false},
        {"{\"a\":}", false},
        {"[\"\xFF\"]", false},
        {"[\"\xC0\xAF\"]", false},
        {"[NaN]", false},
        {"[\"tab\there\"]", false},
        {std::string(200'000, '['), false},
    };
    for (const auto& [text, isSound] : cases) {
        EXPECT_EQ(parseJSON(text).error == nullptr, isSound) << text.substr(0, 40);
    }
}

TEST(JSONText, KeepsTheKindsOfNumbersApart) {
    const auto parsed = parseJSON(
        "[9223372036854775807,-9223372036854775808,18446744073709551615,18446744073709551616,"
        "2.0,1e2,-0.0]");
    ASSERT_EQ(parsed.error, nullptr);
    const auto& numbers = parsed.value.get_array();
    EXPECT_EQ(numbers[0].get_int64(), std::numeric_limits<std::int64_t>::max());
    EXPECT_EQ(numbers[1].get_int64(), std::numeric_limits<std::int64_t>::min());
    EXPECT_EQ(numbers[2].get_uint64(), std::numeric_limits<std::uint64_t>::max());
    EXPECT_TRUE(numbers[3].is_double());
    EXPECT_TRUE(numbers[4].is_double());
    EXPECT_TRUE(numbers[5].is_double());
    EXPECT_EQ(written(parsed.value),
              "[9223372036854775807,-9223372036854775808,18446744073709551615,"
              "1.8446744073709552e+19,2.0,100.0,-0.0]");
}

TEST(JSONText, TakesTheLastOfDuplicateKeys) {
    const auto parsed = parseJSON(R"({"a":1,"b":2,"a":3})");
    ASSERT_EQ(parsed.error, nullptr);
    EXPECT_EQ(parsed.value.at("a"), JSONValue(3));
    EXPECT_EQ(parsed.value.get_object().size(), 2U);
}

TEST(JSONText, WritesDoublesAsPeopleWriteThem) {
    struct Case {
        double number;
        const char* text;
    };
    const Case cases[] = {
        {0.0, "0.0"},
        {5.0, "5.0"},
        {-1.5, "-1.5"},
        {0.1, "0.1"},
        {0.0001, "0.0001"},
        {0.00009, "9e-05"},
        {0.00001, "1e-05"},
        {123456789.125, "123456789.125"},
        {9007199254740992.0, "9007199254740992.0"},
        {9007199254740994.0, "9.007199254740994e+15"},
        {1e16, "1e+16"},
        {1.7976931348623157e308, "1.7976931348623157e+308"},
        {5e-324, "5e-324"},
    };
    for (const auto& [number, text] : cases) {
        std::string actual;
        appendDouble(actual, number);
        EXPECT_EQ(actual, text);
        EXPECT_EQ(std::strtod(actual.c_str(), nullptr), number);
    }
}

TEST(JSONText, EscapesOnlyWhatMustBe) {
    const std::string hostile("quote\" back\\ slash/ \n\r\t\b\f\x01\x1f\0 \xF0\x9F\x98\x80 \x7f",
                              35);
    const auto text = written(JSONArray{JSONValue(hostile)});
    EXPECT_EQ(text,
              "[\"quote\\\" back\\\\ slash/ \\n\\r\\t\\b\\f\\u0001\\u001f\\u0000 "
              "\xF0\x9F\x98\x80 \x7f\"]");
    const auto parsed = parseJSON(text);
    ASSERT_EQ(parsed.error, nullptr);
    EXPECT_EQ(parsed.value.at(0).get_string(), hostile);
}

TEST(JSONText, RefusesWhatJSONCannotHoldAndLeavesTheTextAsItWas) {
    const JSONValue refused[] = {
        JSONArray{1, std::nan("")},
        JSONObject{{"a", JSONArray{std::numeric_limits<double>::infinity()}}},
        nestedValue(513),
    };
    for (const auto& value : refused) {
        std::string text = "before";
        EXPECT_FALSE(appendJSON(text, value));
        EXPECT_EQ(text, "before");
    }
    EXPECT_EQ(written(nestedValue(512)), nested(512));
}

}  // namespace
}  // namespace zentara
