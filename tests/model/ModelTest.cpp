#include <gtest/gtest.h>
#include <zentara/AnyText.h>

#include <filesystem>

#include "json/JSONText.h"
#include "model/EventDecoder.h"
#include "model/InternalEvent.h"
#include "support/SampleEvents.h"

namespace zentara {
namespace {

using namespace test;

static_assert(!std::is_convertible_v<std::shared_ptr<std::string>, AnyText>);
static_assert(!std::is_convertible_v<const std::string*, AnyText>);
static_assert(!std::is_convertible_v<std::string (*)(), AnyText>);
static_assert(std::is_convertible_v<const unsigned char*, AnyText>);

struct ToView {
    operator std::string_view() const { return "viewed"; }
};

TEST(AnyText, HoldsTheTextOfValuesOfManyTypes) {
    const char* const none = nullptr;
    const std::pair<AnyText, std::string> cases[] = {
        {AnyText("literal"), "literal"},
        {AnyText(std::string_view("view")), "view"},
        {AnyText(none), ""},
        {AnyText(URL::parse("https://example.com/a").value()), "https://example.com/a"},
        {AnyText(std::filesystem::path("/a/b")), "/a/b"},
        {AnyText(42), "42"},
        {AnyText(0.1 + 0.2), "0.30000000000000004"},
        {AnyText(true), "true"},
        {AnyText(ToView()), "viewed"},
        {AnyText(std::optional<std::string>()), ""},
        {AnyText(std::optional<int>(7)), "7"},
        {AnyText("broken \xFF"), "broken \xEF\xBF\xBD"},
    };
    for (const auto& [text, expected] : cases)
        EXPECT_EQ(text.string(), expected);
}

TEST(UTF8Repair, ReplacesIllFormedBytesAnywhere) {
    const std::pair<JSONObject, const char*> cases[] = {
        {{{"good", "\xC3\xA9"}}, R"({"good":"\u00e9"})"},
        {{{"bad\xFE", 1}}, R"({"bad\uFFFD":1})"},
        {{{"a", JSONArray{JSONObject{{"\xC3", "x"}}}}}, R"({"a":[{"\uFFFD":"x"}]})"},
        {{{"a", JSONArray{1, "\xF0\x9F\x98"}}}, R"({"a":[1,"\uFFFD"]})"},
        {{{"a", "\xED\xA0\x80"}}, R"({"a":"\uFFFD\uFFFD\uFFFD"})"},
    };
    for (const auto& [broken, repaired] : cases)
        EXPECT_EQ(withValidUTF8(broken), *parseJSON(repaired));
}

TEST(InternalEvent, HasFourteenMembersUnderTheirKeys) {
    const JSONObject expected{
        {"id", "page-view"},
        {"version", "1"},
        {"url", "https://example.com/3"},
        {"contentType", "application/json"},
        {"properties", sampleEvent(3).properties()},
        {"actionTs", 1'700'000'000'003},
        {"zentaraClientVersion", "1.2.3"},
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

TEST(InternalEvent, DecodingIsStrict) {
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

TEST(EventDecoder, CanonicalFileKeepsItsTexts) {
    const auto events = sampleEvents(1, 5);
    const auto decoded = decodeEvents(fileOf(events));
    ASSERT_TRUE(decoded.status.ok());
    EXPECT_TRUE(decoded.isCanonical);
    EXPECT_EQ(fileOf(decoded.events), fileOf(events));
    EXPECT_EQ(decoded.events, events);
    EXPECT_TRUE(decodeEvents("[]").isCanonical);
    EXPECT_FALSE(decodeEvents("[ ]").isCanonical);
}

TEST(EventDecoder, ElementsThatAreNoEventsAreLeftOut) {
    const std::string good(sampleEvent(1).jsonText().value());
    const std::pair<std::string_view, const char*> damages[] = {
        {"5.0", "1e999"},  // beyond the doubles, so it could not be written
        {R"("page-view")", "1"},
        {"1700000000001", "1.5"},
        {R"("token":"Anonymous")", R"("token":1)"},
        {R"("id":"page-view",)", ""},
    };
    for (const auto& [sound, damaged] : damages) {
        auto bad = good;
        bad.replace(bad.find(sound), sound.size(), damaged);
        const auto decoded = decodeEvents("[" + good + "," + bad + "," + good + "]");
        EXPECT_TRUE(decoded.status.ok());
        EXPECT_EQ(numbersOf(decoded.events), (std::vector<std::int64_t>{1, 1})) << damaged;
    }

    for (const char* foreign : {"{}", "[1,2]", "[{},5]", R"({"a":[]})"}) {
        const auto nothing = decodeEvents(foreign);
        EXPECT_TRUE(nothing.status.ok()) << foreign;
        EXPECT_FALSE(nothing.isList) << foreign;
        EXPECT_TRUE(nothing.events.empty()) << foreign;
    }
}

TEST(EventDecoder, EveryTruncationIsAnError) {
    const auto file = fileOf(sampleEvents(1, 2));
    for (std::size_t length = 0; length < file.size(); ++length) {
        EXPECT_FALSE(decodeEvents(file.substr(0, length)).status.ok()) << length;
    }
}

}  // namespace
}  // namespace zentara
