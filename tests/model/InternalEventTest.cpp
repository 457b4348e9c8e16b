#include "model/InternalEvent.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>

#include "model/JSONText.h"
#include "support/SampleEvents.h"

namespace zentara {
namespace {

using test::sampleEvent;

JSONValue parsed(std::string_view text) {
    auto result = parseJSON(text);
    EXPECT_EQ(result.error, nullptr);
    return std::move(result.value);
}

TEST(InternalEvent, HasFourteenMembersUnderTheirKeys) {
    const auto dictionary = sampleEvent(3).toDictionary();
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
    EXPECT_EQ(dictionary, expected);
    EXPECT_EQ(parsed(*sampleEvent(3).jsonText()), expected);
    EXPECT_EQ(sampleEvent(3).packed().toDictionary(), expected);
    EXPECT_EQ(InternalEvent::fromDictionary(expected).value, sampleEvent(3));
}

TEST(InternalEvent, DecodesStrictly) {
    using Change = std::function<void(JSONObject&)>;
    const auto set = [](const char* key, JSONValue value) -> Change {
        return [=](JSONObject& dictionary) {
            dictionary[key] = value;
        };
    };
    std::vector<Change> refused = {
        set("actionTs", "1700000000000"),     set("actionTs", 1.5), set("properties", JSONArray()),
        set("user", JSONObject{{"type", 1}}), set("user", nullptr), set("id", 5),
    };
    const auto whole = sampleEvent(1).toDictionary();
    for (const auto& member : whole) {
        if (member.key() == "zentaraRelationId") continue;
        refused.push_back(
            [key = std::string(member.key())](JSONObject& dictionary) { dictionary.erase(key); });
    }
    for (const auto& change : refused) {
        auto dictionary = whole;
        change(dictionary);
        const auto decoded = InternalEvent::fromDictionary(dictionary);
        EXPECT_FALSE(decoded.value) << dictionary;
        EXPECT_NE(dynamic_cast<const InternalEvent::DecodingError*>(decoded.error.get()), nullptr);
    }

    auto lenient = whole;
    lenient["actionTs"] = 2.0;
    lenient["zentaraRelationId"] = 5;
    lenient["unknown"] = true;
    const auto decoded = InternalEvent::fromDictionary(lenient);
    ASSERT_TRUE(decoded.value);
    EXPECT_EQ(decoded.value->fields().createdAt, 2);
    EXPECT_EQ(decoded.value->fields().relationId, std::nullopt);
    EXPECT_FALSE(decoded.value->toDictionary().contains("unknown"));
}

TEST(InternalEvent, EqualityLeavesOutTheContextOnly) {
    const auto base = sampleEvent(1).toDictionary();
    const auto changed = [&](const char* key, const JSONValue& value) {
        auto dictionary = base;
        dictionary[key] = value;
        return *InternalEvent::fromDictionary(dictionary).value;
    };
    const auto event = sampleEvent(1);
    EXPECT_EQ(changed("zentaraClientContextID", "another"), event);
    EXPECT_EQ(
        changed("properties",
                {{"tags", {"a", 1.0, nullptr}}, {"price", 5}, {"title", "Home / \"start\" \\ \n"}}),
        event);
    EXPECT_NE(changed("properties", JSONObject()), event);
    EXPECT_NE(changed("actionTs", 1), event);
    EXPECT_NE(changed("zentaraActionSequence", 2), event);
    EXPECT_NE(changed("zentaraRelationId", ""), event);
    EXPECT_NE(changed("user", JSONObject()), event);
    for (const char* key :
         {"id", "version", "url", "contentType", "zentaraClientVersion", "zentaraClientReferer",
          "zentaraActionUUID", "zentaraActionExtraAttributes"}) {
        EXPECT_NE(changed(key, "other"), event) << key;
    }
}

TEST(InternalEvent, BodyTextIsTheTextWithoutTheUser) {
    for (const StringMap& user :
         {StringMap{}, StringMap{{"type", "T"}, {"token", ",\"user\":{"}}}) {
        const auto event = sampleEvent(1, user);
        auto expected = event.toDictionary();
        expected.erase("user");
        for (const auto& form : {event, event.packed()}) {
            std::string body;
            ASSERT_TRUE(form.appendBodyText(body));
            EXPECT_EQ(parsed(body), expected);
        }
    }
}

TEST(InternalEvent, HasNoTextWhenJSONCannotHoldIt) {
    JSONValue deep = JSONArray();
    for (int i = 0; i < 600; ++i)
        deep = JSONArray{std::move(deep)};
    for (const JSONValue& value : {JSONValue(std::nan("")), deep}) {
        const auto event = sampleEvent(1, {}, {{"p", value}});
        EXPECT_EQ(event.jsonText(), std::nullopt);
        std::string body;
        EXPECT_FALSE(event.appendBodyText(body));
        EXPECT_TRUE(event.packed().isCopyOf(event));
    }
}

}  // namespace
}  // namespace zentara
