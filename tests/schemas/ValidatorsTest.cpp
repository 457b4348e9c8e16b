#include "schemas/Validators.h"

#include <gmock/gmock.h>

#include <string>
#include <thread>
#include <vector>

#include "TestDocuments.h"
#include "model/JSONText.h"

namespace zentara {
namespace {

using testing::ElementsAreArray;

std::vector<std::string> messagesOf(const JSONValue& value, const JSONObject& schema) {
    const auto result = validate(value, schema);
    EXPECT_EQ(result.valid(), !result.errors().has_value());
    return result.errors().value_or(std::vector<std::string>());
}

TEST(Validators, GiveTheseMessagesInThisOrder) {
    const auto document =
        readDocument(std::filesystem::path(ZENTARA_SCHEMAS_TEST_DATA) / "validation-messages.json");
    for (const auto& group : document.as_array()) {
        for (const auto& each : group.at("cases").as_array()) {
            std::string value;
            ASSERT_TRUE(appendJSON(value, group.at("schema")));
            value += " on ";
            ASSERT_TRUE(appendJSON(value, each.at("value")));
            SCOPED_TRACE(text(group.at("name")) + ": " + value);
            std::vector<std::string> expected;
            for (const auto& message : each.at("messages").as_array()) {
                expected.push_back(text(message));
            }
            EXPECT_THAT(messagesOf(each.at("value"), group.at("schema").as_object()),
                        ElementsAreArray(expected));
        }
    }
}

TEST(Validators, GiveOneMessagePerFailingKeywordOfEachProperty) {
    const auto schema = jsonObject(R"({"properties": {"a": {"type": "string", "enum": ["x"]}}})");
    EXPECT_THAT(messagesOf(json(R"({"a": 1})"), schema),
                ElementsAreArray({"'1' is not of type 'string'",
                                  "'1' is not a valid enumeration value of '[\"x\"]'"}));
}

TEST(Validators, MayBeUsedByManyThreadsAtOnce) {
    const auto schema = jsonObject(
        R"({"properties": {"id": {"pattern": "^[a-f]+é*$", "maxLength": 9, "minLength": 1}}})");
    const auto good = json(R"({"id": "abcé"})");
    const auto bad = json(R"({"id": "xyz👍"})");
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&] {
            for (int round = 0; round < 500; ++round) {
                EXPECT_TRUE(validate(good, schema).valid());
                EXPECT_FALSE(validate(bad, schema).valid());
            }
        });
    }
    for (auto& thread : threads)
        thread.join();
}

}  // namespace
}  // namespace zentara
