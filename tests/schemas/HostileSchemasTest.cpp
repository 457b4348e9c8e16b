#include <gmock/gmock.h>

#include <algorithm>
#include <string>

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
std::string fan(std::string_view keyword) {
    std::string schema = R"({"$ref": "#/0")";
    for (int i = 0; i < 40; ++i) {
        const auto next = R"({"$ref": "#/)" + std::to_string(i + 1) + "\"}";
        schema += ", \"" + std::to_string(i) + "\": {\"" + std::string(keyword) + "\": [" + next +
                  ", " + next + "]}";
    }
    return schema + R"(, "40": {"type": "null"}})";
}

TEST(HostileSchemas, ReferencesThatFanOutStop) {
    for (const char* keyword : {"allOf", "anyOf", "oneOf"})
        EXPECT_EQ(lastMessage(json("1"), jsonObject(fan(keyword))), tooLong) << keyword;
    auto negated = jsonObject(fan("anyOf"));
    negated["not"] = {{"$ref", "#/0"}};
    negated.erase("$ref");
    EXPECT_EQ(lastMessage(json("1"), negated), tooLong);
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
