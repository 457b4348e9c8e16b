#include <gmock/gmock.h>
#include <zentara/JSONValue.h>

#include <chrono>
#include <deque>
#include <sstream>
#include <thread>
#include <utility>
#include <vector>

#include "track/Drain.h"
#include "track/EventLine.h"
#include "track/Options.h"
#include "track/ProgressBar.h"

namespace zentara::track {
namespace {

using namespace std::chrono_literals;
using Outcome = FlushResult::Outcome;

/// Answers from a script, whose last answer repeats.
Drain::Flush scripted(std::deque<FlushResult> script) {
    return [script](std::chrono::milliseconds deadline, const FlushCallback& done) mutable {
        EXPECT_EQ(deadline, 7ms);
        const auto answer = script.front();
        if (script.size() > 1) script.pop_front();
        std::thread([=] { done(answer); }).join();
    };
}

TEST(DrainTest, DrainRetriesUntilTheQueueIsEmpty) {
    const auto flush = scripted({{Outcome::failed, 0, 9, 0, "no identity"},
                                 {Outcome::deadline, 3, 6, 0, ""},
                                 {Outcome::failed, 2, 4, 0, "503"},
                                 {Outcome::deadline, 0, 4, 0, ""},
                                 {Outcome::empty, 4, 0, 0, ""}});
    std::vector<std::int64_t> told;
    EXPECT_TRUE(Drain(flush, {30s, 1ms, 2ms, 7ms}).run([&](auto all) { told.push_back(all); }));
    EXPECT_THAT(told, testing::ElementsAre(3, 5, 9));
}

TEST(DrainTest, DrainGivesUpWithoutProgress) {
    for (const auto outcome : {Outcome::failed, Outcome::deadline}) {
        const auto flush = scripted({{Outcome::deadline, 10, 5, 0, ""}, {outcome, 0, 5, 0, ""}});
        EXPECT_FALSE(Drain(flush, {40ms, 1ms, 4ms, 7ms}).run());
    }
}

TEST(ProgressBarTest, BarFitsTheWidth) {
    EXPECT_EQ(ProgressBar::text("sending", 5, 20, 80),
              "sending [########........................] 5/20");
    EXPECT_EQ(ProgressBar::text("sending", 5, 20, 20), "sending [#...] 5/20");
    EXPECT_EQ(ProgressBar::text("sending", 5, 20, 19), "5/20");
    EXPECT_EQ(ProgressBar::text("sending", 5, 20, 4), "5/2");
}

TEST(EventLineTest, EveryMemberIsReadOrHasADefault) {
    auto event = std::get<EventLine>(readEventLine(
        R"({"schemaId":"page-view","schemaVersion":"2","contentType":"text/x","url":"u",)"
        R"("referer":"r","properties":{"b":1,"a":[2.5]},"relationId":"rel","more":1,"expected":"x"})"));
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

ParsedOptions parse(std::vector<const char*> arguments) {
    arguments.insert(arguments.begin(), "zentara-track");
    return parseOptions(static_cast<int>(arguments.size()), arguments.data());
}

TEST(OptionsTest, TokenOfAUserMayHoldColons) {
    const auto user = parseLoggedUser("EXT_ID:a:b").value();
    EXPECT_EQ(user.type, UserTokenType::externalId);
    EXPECT_EQ(user.token, "a:b");
    for (const char* text : {"", "GST", "GST:", ":a", "gst:a"})
        EXPECT_FALSE(parseLoggedUser(text)) << text;
}

TEST(OptionsTest, InvalidOptionGivesTheUsageExitCode) {
    const std::pair<std::vector<const char*>, const char*> cases[] = {
        {{"--logged-user", "x"}, "QVNID:TOKEN, GST:TOKEN or EXT_ID:TOKEN is expected"},
        {{"--environment", "staging"}, "--environment"},
        {{"--ready-timeout", "-1"},
         "--ready-timeout: seconds from 0 to 1000000 are expected, not -1"},
        {{"--drain-timeout", "1h"},
         "--drain-timeout: seconds from 0 to 1000000 are expected, not 1h"},
    };
    for (const auto& [arguments, message] : cases) {
        testing::internal::CaptureStderr();
        EXPECT_EQ(parse(arguments).exitCode, exitUsage);
        EXPECT_THAT(testing::internal::GetCapturedStderr(), testing::HasSubstr(message));
    }
}

}  // namespace
}  // namespace zentara::track
