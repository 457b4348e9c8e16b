#include "track/EventLine.h"

#include <gmock/gmock.h>

#include <zentara/JSONValue.h>
#include <sstream>

#include "track/LineReader.h"

namespace zentara::track {
namespace {

TEST(EventLineTest, EveryMemberIsReadOrHasADefault) {
    auto event = std::get<EventLine>(readEventLine(
        R"({"schemaId":"page-view","schemaVersion":"2","contentType":"text/x","url":"u",)"
        R"("referer":"r","properties":{"b":1,"a":[2.5]},"relationId":"rel","more":1})"));
    EXPECT_EQ(event.schema(), "page-view-2");
    EXPECT_EQ(event.contentType, "text/x");
    EXPECT_EQ(event.url, "u");
    EXPECT_EQ(event.referer, "r");
    EXPECT_EQ(JSONValue(event.properties), JSONValue::parse(R"({"b":1,"a":[2.5]})"));
    EXPECT_EQ(event.relationId, "rel");
    EXPECT_THAT(event.unknownMembers, testing::ElementsAre("more"));
    event = std::get<EventLine>(
        readEventLine(R"({"schemaId":"a","schemaVersion":"1","contentType":null,"url":null,)"
                      R"("referer":null,"properties":null,"relationId":null})"));
    EXPECT_EQ(event.contentType, "application/json");
    EXPECT_TRUE(event.properties.empty());
    EXPECT_FALSE(event.relationId);
}

TEST(EventLineTest, UnreadableLineHasAReason) {
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

TEST(LineReaderTest, BlankLinesCountAndLongLinesAreCut) {
    ASSERT_EQ(LineReader::longestLine, 1'048'576U);
    std::istringstream stream("a\r\n\n \t\nb\n" + std::string(1'048'576, 'x') + "\n" +
                              std::string(3'000'000, ' ') + "\n\r\nlast");
    LineReader reader(stream);
    std::string seen;
    while (const auto line = reader.next()) {
        seen += std::to_string(line->number) + (line->tooLong ? "!" : "=") +
                line->text.substr(0, 4) + std::to_string(line->text.size()) + ";";
    }
    EXPECT_EQ(seen, "1=a1;4=b1;5=xxxx1048576;6!    1048576;8=last4;");
}

}  // namespace
}  // namespace zentara::track
