#include <gmock/gmock.h>

#include <chrono>
#include <regex>

#include "collector/expect/JUnit.h"
#include "languages/PostedEvents.h"
#include "support/ChildProcess.h"
#include "support/Files.h"

namespace zentara {
namespace {

using collector::junitText;
using collector::TestResult;
using Texts = std::vector<std::string>;

struct Ending {
    int code;
    Texts output;
};

Ending expect(const std::string& url, const Texts& options) {
    Texts command = {ZENTARA_EXPECT, "--collector", url};
    command.insert(command.end(), options.begin(), options.end());
    test::ChildProcess program(command);
    auto output = program.readLines();
    return {program.wait(), std::move(output)};
}

const Texts home = {
    R"(  event 1, page-view-1, tenant shop & co, client client-1, user GST=guest-1: )"
    R"({"title":"(1) Hôme","section":"home","language":"en"})"};
const Texts offers = {
    R"(  event 2, page-view-1, tenant shop & co, client client-1, user GST=guest-1: )"
    R"({"title":"Offers","section":"category","language":"en"})"};
const Texts bad = {
    R"(  event 3, page-view-1, tenant shop & co, client client-1, user GST=guest-1: )"
    R"({"title":"","section":"home","language":"en"})",
    "    /title: Length of string is smaller than minimum length 1"};
const Texts refused = {"posts refused: 1",
                       "  status 400: the body is not JSON: the text is malformed"};
const Texts received = {"received: 3 events, 1 bad", "  page-view-1: 3"};

Texts joined(const std::vector<Texts>& parts) {
    Texts all;
    for (const auto& part : parts)
        all.insert(all.end(), part.begin(), part.end());
    return all;
}

TEST(ExpectTest, MessageNamesWhatArrivedInstead) {
    const test::PostedEvents events;
    const struct {
        Texts options;
        int code;
        std::vector<Texts> output;
    } cases[] = {
        {{"--schema", "page-view-1", "--count", "2"},
         0,
         {{"met: at least 2 events with schema=page-view-1&good=true within 10000 ms; 2 arrived"}}},
        {{"--any", "--count", "3", "--exactly", "--within", "5ms"},
         0,
         {{"met: exactly 3 events with good=any within 5 ms; 3 arrived"}}},
        {{"--schema", "order-1", "--none", "--within", "0s"},
         0,
         {{"met: no event with schema=order-1&good=true within 0 ms; 0 arrived"}}},
        {{"--none", "--text", "Offers"},
         1,
         {{"not met: no event with text=Offers&good=true within 10000 ms; 1 arrived"}, offers}},
        {{"--property", "section=home", "--property", "language=en", "--none"},
         1,
         {{"not met: no event with property.section=home&property.language=en&good=true within "
           "10000 ms; 1 arrived"},
          home}},
        {{"--property", "section=basket", "--property", "language=en", "--within", "0s"},
         1,
         {{"not met: at least 1 event with property.section=basket&property.language=en&good=true "
           "within 0 ms; 0 arrived",
           "but for the property section=basket: 2"},
          offers,
          home,
          {"bad: 1"},
          bad,
          refused,
          received}},
        {{"--bad", "--count", "2", "--within", "0.002s"},
         1,
         {{"not met: at least 2 events with good=false within 2 ms; 1 arrived", "of any schema: 1"},
          bad,
          refused,
          received}},
        {{"--user", "guest-1", "--client", "other", "--text", "home", "--within", "1ms"},
         1,
         {{"not met: at least 1 event with user=guest-1&client=other&text=home&good=true within 1 "
           "ms; 0 arrived",
           "but for the client: 1"},
          home,
          {"bad: 1"},
          bad,
          refused,
          received}},
        {{"--schema", "page-view-1", "--tenant", "a", "--since", "99999999999999", "--within",
          "0m"},
         1,
         {{"not met: at least 1 event with schema=page-view-1&tenant=a&since=99999999999999&good="
           "true within 0 ms; 0 arrived",
           "of the schema: 2"},
          offers,
          home,
          {"bad: 1"},
          bad,
          refused,
          received}},
    };
    for (const auto& [options, code, output] : cases) {
        const auto ending = expect(events.url(), options);
        EXPECT_EQ(ending.code, code) << testing::PrintToString(options);
        EXPECT_THAT(ending.output, testing::ElementsAreArray(joined(output)));
    }
}

TEST(ExpectTest, ExactNumberTakesTheWholeTime) {
    const test::PostedEvents events;
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(expect(events.url(), {"--count", "2", "--exactly", "--within", "200ms"}).code, 0);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(200));
}

TEST(ExpectTest, ExitCodeTellsWhatIsWrong) {
    const std::string nothing = "http://127.0.0.1:1";
    const std::pair<Texts, int> cases[] = {
        {{}, 3},
        {{"--junit", "/no/such/folder/report.xml"}, 2},
        {{"--within", "10"}, 2},
        {{"--within", "11m"}, 2},
        {{"--within", "-1s"}, 2},
        {{"--count", "0"}, 2},
        {{"--none", "--exactly"}, 2},
        {{"--bad", "--any"}, 2},
        {{"--property", "=home"}, 2},
        {{"--version"}, 0},
    };
    for (const auto& [options, code] : cases)
        EXPECT_EQ(expect(nothing, options).code, code) << testing::PrintToString(options);
}

TEST(ExpectTest, JUnitReportHasTheOutcome) {
    const test::TemporaryDirectory folder;
    const auto file = folder.path() / "report.xml";
    EXPECT_EQ(expect("http://127.0.0.1:1", {"--junit", file.string()}).code, 3);
    auto report = std::regex_replace(test::contentsOf(file), std::regex(R"(time="\d+\.\d{3}")"),
                                     R"(time="0.000")");
    // Newer versions of curl spell it out.
    report = std::regex_replace(report, std::regex("Could not connect"), "Couldn't connect");
    EXPECT_EQ(report,
              junitText({.name = "at least 1 event with good=true within 10000 ms",
                         .outcome = TestResult::Outcome::error,
                         .message = "GET http://127.0.0.1:1/received/wait?count=1&timeout=10000&"
                                    "good=true: Couldn't connect to server\n"}));
    EXPECT_EQ(junitText({.name = "a", .seconds = 1.5}),
              "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<testsuites>\n"
              "  <testsuite name=\"zentara-collector expect\" tests=\"1\" failures=\"0\" "
              "errors=\"0\" time=\"1.500\">\n"
              "    <testcase classname=\"zentara-collector expect\" name=\"a\" time=\"1.500\"/>\n"
              "  </testsuite>\n</testsuites>\n");
    EXPECT_EQ(junitText({.name = "\"<b>\"\x01",
                         .outcome = TestResult::Outcome::failed,
                         .message = "x & y\nz\xEF\xBF\xBF"}),
              "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<testsuites>\n"
              "  <testsuite name=\"zentara-collector expect\" tests=\"1\" failures=\"1\" "
              "errors=\"0\" time=\"0.000\">\n"
              "    <testcase classname=\"zentara-collector expect\" "
              "name=\"&quot;&lt;b&gt;&quot;?\" time=\"0.000\">\n"
              "      <failure message=\"x &amp; y\">x &amp; y\nz?</failure>\n    </testcase>\n"
              "  </testsuite>\n</testsuites>\n");
}

TEST(ExpectTest, SubcommandStartsItsProgram) {
    test::ChildProcess program({ZENTARA_COLLECTOR, "expect", "--help"});
    EXPECT_THAT(program.readLines(),
                testing::Contains("Usage: zentara-collector expect [OPTIONS]"));
    EXPECT_EQ(program.wait(), 0);
}

}  // namespace
}  // namespace zentara
