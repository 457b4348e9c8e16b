#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <sstream>
#include <stdexcept>
#include <thread>

#include <zentara/ZentaraClient.h>
#include "support/ChildProcess.h"
#include "support/Diagnostics.h"
#include "support/Files.h"
#include "support/RawServer.h"
#include "support/Services.h"
#include "support/WaitFor.h"

namespace zentara {

void PrintTo(const LogLine& line, std::ostream* stream) {
    *stream << static_cast<int>(line.level) << " " << line.component << " " << line.text;
}
static bool operator==(const LogLine& one, const LogLine& other) {
    return one.level == other.level && one.component == other.component && one.text == other.text;
}

namespace {

using namespace test;
using enum LogLevel;
using namespace std::string_literals;
using testing::ElementsAre;
using testing::MatchesRegex;

/// What `run` writes to standard output and to standard error.
template <typename Run>
std::pair<std::string, std::string> printedDuring(const Run& run) {
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    run();
    return {testing::internal::GetCapturedStdout(), testing::internal::GetCapturedStderr()};
}

class LogSinkTest : public testing::Test {
  protected:
    ~LogSinkTest() override { setLogSink(info, nullptr); }

    /// Shared with the sinks, one of which may still run at the end.
    const std::shared_ptr<Mailbox<LogLine>> lines_ = std::make_shared<Mailbox<LogLine>>();
};

TEST_F(LogSinkTest, OnlyTheSinkGetsLines) {
    const auto sink = [lines = lines_](const LogLine& line) {
        lines->put(line);
        printWarning("of the sink itself");
        throw std::runtime_error("of the sink");
    };
    const auto printed = printedDuring([&] {
        ZentaraClient::setLogSink(info, sink);
        printDiagnostic("a\nb\x7F\u0085\u00E9\xFF");
        printWarning("ZentaraClient: storage: full", "storage");
        printWarning("ZentaraClient: 'file' moved", "storage");
        EXPECT_TRUE(lines_->waitFor(2));
        ZentaraClient::setLogSink(warning, sink);
        printDiagnostic("below the level");
        printWarning("ZentaraClient: forked");
        EXPECT_TRUE(lines_->waitFor(3));
        ZentaraClient::setLogSink(fatal, QuietLog());
        printWarning("quiet");
    });
    EXPECT_EQ(printed, (std::pair<std::string, std::string>()));
    EXPECT_THAT(lines_->values(), ElementsAre(LogLine{info, "client", "a b  \u00E9\uFFFD"},
                                              LogLine{warning, "storage", "full"},
                                              LogLine{warning, "storage", "'file' moved"},
                                              LogLine{warning, "client", "forked"}));
    ZentaraClient::setLogSink(info, nullptr);
    const auto again = printedDuring([] {
        printDiagnostic("held \x01 back");
        printWarning("ZentaraClient: storage: full", "storage");
    });
    EXPECT_EQ(again, std::pair("held \x01 back\n"s, "ZentaraClient: storage: full\n"s));
}

TEST_F(LogSinkTest, SlowSinkDelaysNoThreadAndKeepsAThousand) {
    const auto begun = std::make_shared<Signal>();
    const auto goOn = std::make_shared<Signal>();
    ZentaraClient::setLogSink(info, [begun, goOn, lines = lines_](const LogLine& line) {
        begun->notify();
        EXPECT_TRUE(goOn->waitFor());
        lines->put(line);
    });
    printWarning("0");
    ASSERT_TRUE(begun->waitFor());
    for (int i = 1; i <= 1005; ++i)
        printWarning(std::to_string(i));
    goOn->notify();
    ASSERT_TRUE(lines_->waitFor(1000));
    printWarning("last");
    ASSERT_TRUE(lines_->waitFor(1001));
    EXPECT_EQ(lines_->waitFor(1000)->text, "1000");
    EXPECT_EQ(lines_->waitFor(1001)->text, "last");
}

TEST_F(LogSinkTest, ReplacedSinkLosesNoLine) {
    const auto count = std::make_shared<Signal>();
    const auto sink = [count](const LogLine&) {
        count->notify();
    };
    ZentaraClient::setLogSink(info, sink);
    const auto printed = printedDuring([&] {
        inThreads(3, [&](int thread) {
            for (int i = 0; i < 200; ++i) {
                if (thread == 0) ZentaraClient::setLogSink(info, sink);
                printWarning("line");
            }
        });
        EXPECT_TRUE(count->waitFor(600));
    });
    EXPECT_EQ(printed, (std::pair<std::string, std::string>()));
}

using LogSinkDeathTest = LogSinkTest;

TEST_F(LogSinkDeathTest, FatalLineReachesTheSinkOnItsThread) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto self = std::this_thread::get_id();
    ZentaraClient::setLogSink(fatal, [self](const LogLine& line) {
        const bool isHere = std::this_thread::get_id() == self;
        std::cerr << (isHere ? "here " : "elsewhere ") << testing::PrintToString(line) << std::endl;
    });
    EXPECT_EXIT(fatalError("one\ntwo"), testing::KilledBySignal(SIGABRT),
                "^here 2 client one two\n$");
    setLogSink(fatal, [](const LogLine&) { fatalError("of the sink"); });
    EXPECT_EXIT(fatalError("first"), testing::KilledBySignal(SIGABRT), "^$");
}

TEST(LoggingHostTest, SinkKeepsBothStreamsEmpty) {
    Services services;
    auto closed = std::make_unique<RawServer>(RawServer::silence());
    const auto collector = closed->url().string();
    closed.reset();
    const std::vector<std::string> expected{
        "1 storage '.*/events-storage' .* 'events-storage\\..*'",
        "0 client Event queued to be sent later: held back\\.",
        "1 identity request to '127\\.0\\.0\\.1' failed: .*Connection refused.*",
        "1 delivery there is no identity yet",
        "1 storage .*File too large",
        "1 storage recovered",
        "2 client there is no schema nowhere-1",
    };
    const TemporaryDirectory folder;
    const auto documents = folder.path() / "documents";
    writeTo(documents / "events-storage", "damaged");
    const auto output = folder.path() / "output";
    const auto errors = folder.path() / "errors";
    ChildProcess host({"/bin/sh", "-c", R"(exec 3>&1 >"$1" 2>"$2"; shift 2; exec "$@")", "sh",
                       output, errors, ZENTARA_LOGGING_HOST, collector, services.url().string(),
                       documents, std::to_string(expected.size() - 1)});
    const auto lines = host.readLines();
    EXPECT_EQ(host.wait(), -SIGABRT);
    EXPECT_EQ(contentsOf(output), "");
    EXPECT_EQ(contentsOf(errors), "");
    std::vector<testing::Matcher<std::string>> matchers;
    for (const auto& line : expected)
        matchers.emplace_back(MatchesRegex(line));
    EXPECT_THAT(lines, testing::UnorderedElementsAreArray(matchers));
}

}  // namespace
}  // namespace zentara
