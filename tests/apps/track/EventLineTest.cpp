#include "track/EventLine.h"

#include <gmock/gmock.h>

#include <boost/json/parse.hpp>

namespace zentara::track {
namespace {

TEST(EventLineTest, EveryMemberIsReadAndMostHaveDefaults) {
    auto event = std::get<EventLine>(readEventLine(
        R"({"schemaId":"page-view","schemaVersion":"2","contentType":"text/x","url":"u",)"
        R"("referer":"r","properties":{"b":1,"a":[2.5]},"relationId":"rel","more":1})"));
    EXPECT_EQ(event.schema(), "page-view-2");
    EXPECT_EQ(event.contentType, "text/x");
    EXPECT_EQ(event.url, "u");
    EXPECT_EQ(event.referer, "r");
    EXPECT_EQ(JSONValue(event.properties), boost::json::parse(R"({"b":1,"a":[2.5]})"));
    EXPECT_EQ(event.relationId, "rel");
    EXPECT_THAT(event.unknownMembers, testing::ElementsAre("more"));
    event = std::get<EventLine>(
        readEventLine(R"({"schemaId":"a","schemaVersion":"1","contentType":null,"url":null,)"
                      R"("referer":null,"properties":null,"relationId":null})"));
    EXPECT_EQ(event.contentType, "application/json");
    EXPECT_TRUE(event.properties.empty());
    EXPECT_FALSE(event.relationId);
}

TEST(EventLineTest, ALineThatIsNoEventIsToldWhy) {
    const std::pair<std::string, const char*> cases[] = {
        {"{\"schemaId\":\"\xFF\"}", "not JSON: "},
        {"[]", "not a JSON object"},
        {R"({"schemaVersion":"1"})", R"("schemaId" is missing)"},
        {R"({"schemaId":"a","schemaVersion":null})", R"("schemaVersion" is missing)"},
        {R"({"schemaId":"a","schemaVersion":"1","relationId":4})",
         R"("relationId" is not a string)"},
        {R"({"schemaId":"a","schemaVersion":"1","properties":[]})",
         R"("properties" is not an object)"},
        {R"({"schemaId":"a","schemaVersion":"1","properties":{"a":)" + std::string(600, '[') +
             std::string(600, ']') + "}}",
         "not JSON: "},
    };
    for (const auto& [line, reason] : cases) {
        const auto unreadable = std::get<UnreadableLine>(readEventLine(line));
        EXPECT_THAT(unreadable.reason, testing::StartsWith(reason)) << line;
    }
}

}  // namespace
}  // namespace zentara::track
