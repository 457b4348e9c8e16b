#include "model/InternalEvent.h"

#include <gtest/gtest.h>

#include "json/JSONText.h"
#include "support/SampleEvents.h"

namespace zentara {
namespace {

using test::sampleEvent;

TEST(InternalEvent, HasFourteenMembersUnderTheirKeys) {
    const JSONObject expected{
        {"id", "page-view"},
        {"version", "1"},
        {"url", "https://example.com/3"},
        {"contentType", "application/json"},
        {"properties", sampleEvent(3).properties()},
        {"actionTs", 1'700'000'000'003},
        {"zentaraClientVersion", "3.3.0"},
        {"zentaraClientReferer", "https://example.com/"},
        {"zentaraRelationId", nullptr},
        {"user", {{"type", "Anonymous"}, {"token", "Anonymous"}}},
        {"zentaraClientContextID", "context"},
        {"zentaraActionSequence", 3},
        {"zentaraActionUUID", "uuid-3"},
        {"zentaraActionExtraAttributes", ""},
    };
    EXPECT_EQ(sampleEvent(3).toDictionary(), expected);
    EXPECT_EQ(*parseJSON(sampleEvent(3).jsonText().value()), expected);
    EXPECT_EQ(sampleEvent(3).packed().toDictionary(), expected);
    EXPECT_EQ(*InternalEvent::fromDictionary(expected), sampleEvent(3));
}

TEST(InternalEvent, DecodesStrictlyAndComparesAllButTheContext) {
    const auto event = sampleEvent(1);
    const auto with = [&event](std::string_view key, const JSONValue& value) {
        auto dictionary = event.toDictionary();
        dictionary[key] = value;
        return InternalEvent::fromDictionary(dictionary);
    };
    const std::pair<const char*, JSONValue> refused[] = {
        {"actionTs", "1700000000000"},     {"actionTs", 1.5},    {"properties", JSONArray()},
        {"user", JSONObject{{"type", 1}}}, {"user", nullptr},    {"id", 5},
        {"actionTs", UINT64_MAX},          {"actionTs", 9.3e18},
    };
    for (const auto& [key, value] : refused) {
        const auto error = with(key, value).error();
        EXPECT_NE(dynamic_cast<const InternalEvent::DecodingError*>(error.get()), nullptr) << key;
    }
    for (const auto& [key, value] : event.toDictionary()) {
        auto dictionary = event.toDictionary();
        dictionary.erase(key);
        EXPECT_EQ(InternalEvent::fromDictionary(dictionary).ok(), key == "zentaraRelationId");
        const JSONValue other = value.isObject()    ? JSONValue(JSONObject())
                                : value.isInteger() ? JSONValue(2)
                                                    : JSONValue("other");
        EXPECT_EQ(*with(key, other) == event, key == "zentaraClientContextID") << key;
    }
    const std::pair<JSONValue, std::int64_t> integers[] = {
        {2.0, 2}, {std::uint64_t{7}, 7}, {-9.2233720368547758e18, INT64_MIN}};
    for (const auto& [value, integer] : integers)
        EXPECT_EQ(with("actionTs", value)->fields().createdAt, integer);
    EXPECT_EQ(*with("zentaraRelationId", 5), event);
    EXPECT_FALSE(with("unknown", true)->toDictionary().contains("unknown"));
    const JSONObject sameProperties{
        {"tags", {"a", 1.0, nullptr}}, {"price", 5}, {"title", "Home / \"start\" \\ \n"}};
    EXPECT_EQ(*with("properties", sameProperties), event);
}

TEST(InternalEvent, BodyTextIsTheTextWithoutTheUser) {
    for (const StringMap& user :
         {StringMap{}, StringMap{{"type", "T"}, {"token", ",\"user\":{"}}}) {
        const auto event = sampleEvent(1, user, {{"a", 1}, {"user", {{"type", "T"}}}});
        auto expected = event.toDictionary();
        expected.erase("user");
        for (const auto& form : {event, event.packed()}) {
            std::string body;
            ASSERT_TRUE(form.appendBodyText(body));
            EXPECT_EQ(*parseJSON(body), expected);
        }
    }
}

}  // namespace
}  // namespace zentara
