#include "json/JSONText.h"

#include <gtest/gtest.h>

#include <cmath>

#include "text/Unicode.h"

namespace zentara {
namespace {

std::string nestedText(std::size_t depth) {
    return std::string(depth, '[') + std::string(depth, ']');
}

TEST(JSONText, AcceptsValidDocumentsOnly) {
    const std::string valid[] = {"{}", " [1] \n", "\xEF\xBB\xBF{}", nestedText(512)};
    for (const auto& text : valid)
        EXPECT_EQ(parseJSON(text).error(), nullptr) << text.substr(0, 40);
    const std::string invalid[] = {"",
                                   "5",
                                   "null",
                                   "[1,]",
                                   "[1] [2]",
                                   "[\"\xFF\"]",
                                   "[\"\xC0\xAF\"]",
                                   "[NaN]",
                                   "[\"\t\"]",
                                   nestedText(513),
                                   nestedText(200'000),
                                   "[1 2]",
                                   "[\"a\":1]",
                                   "[01]",
                                   "[tru]",
                                   "{\"a\":1,}",
                                   "[1],[2]",
                                   "[1",
                                   R"(["\udc00"])",
                                   R"(["\ud800a"])",
                                   R"(["\x"])"};
    for (const auto& text : invalid)
        EXPECT_NE(parseJSON(text).error(), nullptr) << text.substr(0, 40);
    EXPECT_EQ(*parseJSON(R"({"a":1,"b":2,"a":3})"), (JSONObject{{"a", 3}, {"b", 2}}));
    EXPECT_EQ(parseJSON(R"({"a":[1,"b"]})", {.values = 5}).error(), nullptr);
    EXPECT_NE(parseJSON(R"({"a":[1,"b"]})", {.values = 4}).error(), nullptr);
}

TEST(JSONText, TopLevelMayBeAnyKindOfValue) {
    const std::pair<const char*, JSONValue> cases[] = {
        {" null ", nullptr},
        {"true", true},
        {"-0", 0},
        {"[]", JSONArray()},
        {R"("\u00e9\ud83d\ude00\/")", "\xC3\xA9\xF0\x9F\x98\x80/"},
        {R"({"\u0061\n":1})", JSONObject{{"a\n", 1}}},
    };
    for (const auto& [text, value] : cases)
        EXPECT_EQ(JSONValue::parse(text), value) << text;
    for (const auto* text : {"", "1 2", "1],[2", "\"", "nul", "-", "1e", "1."})
        EXPECT_THROW((void)JSONValue::parse(text), std::invalid_argument) << text;
}

TEST(JSONText, NumberBeyondTheDoublesIsAnInfinityOrZero) {
    constexpr auto infinity = std::numeric_limits<double>::infinity();
    const std::pair<const char*, double> cases[] = {{"1e400", infinity},
                                                    {"-1e400", -infinity},
                                                    {"1e-400", 0},
                                                    {"0.0001e99999999999999", infinity},
                                                    {"0e400", 0},
                                                    {"1e9223372036854775807", infinity},
                                                    {"1e-99999999999999999999", 0},
                                                    {"1e99999999999999999999", infinity}};
    for (const auto& [text, number] : cases)
        EXPECT_EQ(JSONValue::parse(text).number(), number) << text;
}

TEST(JSONText, NumbersKeepTheirKinds) {
    const auto parsed = parseJSON(
        "[9223372036854775807,-9223372036854775808,18446744073709551615,18446744073709551616,"
        "2.0,1e2,-0.0,1.66806805967052510986]");
    std::string text;
    EXPECT_TRUE(appendJSON(text, *parsed));
    EXPECT_EQ(text,
              "[9223372036854775807,-9223372036854775808,18446744073709551615,"
              "1.8446744073709552e+19,2.0,100.0,-0.0,1.668068059670525]");
}

TEST(JSONText, DoublesAreWrittenPlainAndReadBack) {
    const std::pair<double, const char*> cases[] = {
        {5.0, "5.0"},
        {0.0001, "0.0001"},
        {0.00009, "9e-05"},
        {9007199254740992.0, "9007199254740992.0"},
        {9007199254740994.0, "9.007199254740994e+15"},
        {130364.44050000001, "130364.44050000001"},
        {1.7976931348623157e308, "1.7976931348623157e+308"},
    };
    for (const auto& [number, text] : cases) {
        std::string actual;
        appendDouble(actual, number);
        EXPECT_EQ(actual, text);
        EXPECT_EQ(parseJSON("[" + actual + "]")->array().at(0), number) << text;
    }
}

TEST(JSONText, EscapesOnlyWhatMustBe) {
    const std::string hostile("\"\\/ \n\r\t\b\f\x01\x1f\0 \xF0\x9F\x98\x80\x7f", 18);
    std::string text;
    appendJSONString(text, hostile);
    EXPECT_EQ(text, "\"\\\"\\\\/ \\n\\r\\t\\b\\f\\u0001\\u001f\\u0000 \xF0\x9F\x98\x80\x7f\"");
    EXPECT_EQ(parseJSON("[" + text + "]")->at(0).string(), hostile);
}

TEST(JSONText, SpecialBytesAreFoundAtEachPlace) {
    for (std::size_t size = 1; size < 28; ++size) {
        for (std::size_t place = 0; place < size; ++place) {
            std::string special(size, 'x');
            special[place] = '\n';
            std::string text;
            appendJSONString(text, special);
            EXPECT_EQ(text, "\"" + special.replace(place, 1, "\\n") + "\"");
            special[place] = '\xff';
            EXPECT_FALSE(isValidUTF8(special)) << size << ' ' << place;
        }
    }
}

TEST(JSONText, RefusalLeavesTheTextAsItWas) {
    const auto deep = *parseJSON(nestedText(512));
    std::string text;
    EXPECT_TRUE(appendJSON(text, deep));
    EXPECT_EQ(text, nestedText(512));
    constexpr auto infinity = std::numeric_limits<double>::infinity();
    for (const JSONValue& value :
         {JSONValue{1, std::nan("")}, JSONValue{{"a", {infinity}}}, JSONValue(JSONArray{deep})}) {
        std::string unchanged = "before";
        EXPECT_FALSE(appendJSON(unchanged, value)) << unchanged;
        EXPECT_EQ(unchanged, "before");
    }
}

}  // namespace
}  // namespace zentara
