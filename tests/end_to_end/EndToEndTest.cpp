#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <zentara/CollectorClient.h>

#include <fstream>
#include <map>
#include <set>

#include "json/JSONText.h"
#include "model/EventDecoder.h"
#include "support/ChildProcess.h"
#include "support/CollectorProcess.h"
#include "support/Files.h"
#include "support/RawServer.h"
#include "support/WaitFor.h"

namespace zentara {
namespace {

using namespace test;

using Collector = CollectorProcess;

class EndToEndTest : public testing::Test {
  protected:
    /// A port without a listener.
    static constexpr const char* unreachable = "http://127.0.0.1:9";

    EndToEndTest() {
        writeTo(schemas_ / "numbered-1.json",
                R"({"type":"object","required":["number"],"additionalProperties":false,)"
                R"("properties":{"number":{"type":"integer"}}})");
        writeTo(input_, R"({"schemaId":"numbered","schemaVersion":"1","properties":{"number":7}})");
    }

    /// The exit code of zentara-track.
    int track(const std::string& collector, std::vector<std::string> command,
              const std::optional<std::filesystem::path>& input = std::nullopt) {
        command.insert(command.begin(),
                       {ZENTARA_TRACK, "--collector", collector, "--documents", documents_,
                        "--bundle-id", "com.example.test", "--results", results_});
        ChildProcess process(std::move(command), input);
        output_ = process.readLines();
        return process.wait();
    }

    /// Sends what earlier runs have left.
    int drain(const Collector& collector) { return track(collector.url(), {"/dev/null"}); }

    /// How often each of the numbered events of the sending host has arrived.
    [[nodiscard]] static std::map<std::int64_t, int> arrivals(const Collector& collector) {
        std::map<std::int64_t, int> counts;
        for (const auto& entry : collector.client().events({}))
            ++counts[entry.at("event").at("properties").at("number").integer()];
        return counts;
    }

    TemporaryDirectory directory_;
    const std::string input_ = directory_.path() / "input";
    const std::filesystem::path schemas_ = directory_.path() / "schemas";
    const std::string documents_ = directory_.path() / "documents";
    const std::string results_ = directory_.path() / "results";
    std::vector<std::string> output_;
};

TEST_F(EndToEndTest, EachAcceptedExampleArrivesOnce) {
    const auto examples = std::filesystem::path(ZENTARA_EXAMPLES);
    Collector collector(examples / "schemas");
    writeTo(input_,
            "not json\n\n{\"schemaId\":\"numbered\"}\n" + contentsOf(examples / "events.jsonl"));
    EXPECT_EQ(track(collector.url(), {"--verbose", "-"}, input_), 1)
        << "some examples are invalid on purpose";

    std::map<std::string, std::size_t> outcomes;
    std::ifstream results(results_);
    for (std::string text; std::getline(results, text);)
        ++outcomes[std::string(parseJSON(text)->at("outcome").string())];
    EXPECT_EQ(outcomes["unreadable"], 2U);
    EXPECT_GT(outcomes["invalid"], 0U);
    EXPECT_GT(outcomes["unknownSchema"], 0U);
    EXPECT_GT(outcomes["accepted"], 250U);
    const auto arrived = collector.client().events({});
    std::set<std::string> uuids;
    for (const auto& entry : arrived)
        uuids.emplace(entry.at("event").at("zentaraActionUUID").string());
    EXPECT_EQ(arrived.size(), outcomes["accepted"]);
    EXPECT_EQ(uuids.size(), arrived.size());
    EXPECT_EQ(collector.client().summary().bad, 0U) << "the client has validated the events";
    EXPECT_EQ(contentsOf(std::filesystem::path(documents_) / "events-storage"), "[]");
    EXPECT_EQ(collector.stop(), 0);
}

TEST_F(EndToEndTest, EventsStayQueuedWithoutACollector) {
    Collector collector(schemas_);
    writeTo(documents_, "in the way");
    EXPECT_EQ(track(collector.url(), {input_}), 3) << "without a folder";
    std::filesystem::remove(documents_);
    EXPECT_EQ(track(unreachable, {"--ready-timeout", "0.1", input_}), 4) << "without schemas";
    EXPECT_EQ(track(unreachable, {"--schemas", collector.url(), "--no-drain", input_}), 0);
    EXPECT_EQ(track(unreachable, {"--schemas", collector.url(), "--drain-timeout", "0.2", input_}),
              2)
        << "queued, but not delivered";
    EXPECT_THAT(output_, testing::IsSupersetOf(
                             {testing::ContainsRegex("^failing     identity, .*Connection refused"),
                              testing::ContainsRegex("^failing     delivery, .*no identity")}));
    EXPECT_EQ(drain(collector), 0);
    EXPECT_THAT(arrivals(collector), testing::ElementsAre(testing::Pair(7, 2)));
}

TEST_F(EndToEndTest, InterruptedRunPrintsQueuedEvents) {
    Collector collector(schemas_);
    testing::internal::CaptureStderr();
    ChildProcess sender({ZENTARA_TRACK, "--collector", unreachable, "--schemas", collector.url(),
                         "--documents", documents_, "--results", results_, input_});
    EXPECT_TRUE(eventually([&] { return !contentsOf(results_).empty(); }));
    sender.signal(SIGINT);
    EXPECT_EQ(sender.wait(), -SIGINT);
    EXPECT_THAT(testing::internal::GetCapturedStderr(),
                testing::HasSubstr("interrupted after line 1; 1 event is queued in " + documents_));
}

TEST_F(EndToEndTest, ReturnFromMainPutsEventsInFlightBack) {
    Collector collector(schemas_);
    const RawServer silent(RawServer::silence());
    ChildProcess host({ZENTARA_SENDING_HOST, silent.url().string(), collector.url(), documents_,
                       "1", "3", "return"});
    EXPECT_EQ(host.wait(), 0);
    const auto documents = std::filesystem::path(documents_);
    EXPECT_EQ(decodeEvents(contentsOf(documents / "events-storage")).events.size(), 3U);
    EXPECT_FALSE(std::filesystem::exists(documents / ".events-storage.under-way"));
}

TEST_F(EndToEndTest, ThirdProcessSendsTheEventsOfTwo) {
    Collector collector(schemas_);
    const auto start = [&](int first) {
        return std::make_unique<ChildProcess>(
            std::vector<std::string>{ZENTARA_SENDING_HOST, unreachable, collector.url(), documents_,
                                     std::to_string(first), "300", "linger"});
    };
    std::set<std::int64_t> reported;
    const auto read = [&](ChildProcess& host, int lines) {
        while (lines-- > 0)
            reported.insert(std::stoll(host.readLine().value_or("0")));
    };
    auto one = start(1000);
    read(*one, 20);  // it has claimed the folder
    auto other = start(2000);
    for (int i = 0; i < 5; ++i) {
        read(*one, 20);
        read(*other, 20);
    }
    one->signal(SIGKILL);
    for (const auto& number : one->readLines())
        reported.insert(std::stoll(number));
    one->wait();
    EXPECT_EQ(drain(collector), 0) << "while the other process runs";
    read(*other, 200);
    other.reset();
    const auto documents = std::filesystem::path(documents_);
    for (const auto& folder : {documents, documents / "process-2"})
        EXPECT_TRUE(decodeEvents(contentsOf(folder / "events-storage")).isCanonical) << folder;
    EXPECT_EQ(drain(collector), 0);
    EXPECT_FALSE(reported.contains(0));
    const auto arrived = arrivals(collector);
    EXPECT_THAT(arrived, testing::Each(testing::Pair(testing::_, 1)));
    for (const auto number : reported)
        EXPECT_EQ(arrived.count(number), 1U) << number;
    EXPECT_FALSE(std::filesystem::exists(documents / "process-2"));
}

TEST_F(EndToEndTest, ForkedChildSendsNothingAndHoldsNoLock) {
    Collector collector(schemas_);
    ChildProcess host(
        {ZENTARA_SENDING_HOST, collector.url(), collector.url(), documents_, "1", "2000", "fork"});
    std::map<std::string, int> told;
    std::string line;
    do {
        line = host.readLine().value_or("last 0");
        ++told[line];
    } while (!line.starts_with("last "));
    const pid_t last = std::stoi(line.substr(5));
    ASSERT_GT(last, 0);
    EXPECT_EQ(told["child 0"], 40);
    EXPECT_EQ(told.size(), 2002U) << "2000 events, the last child and the result of the others";
    host.signal(SIGKILL);
    host.wait();
    EXPECT_EQ(drain(collector), 0);
    EXPECT_EQ(::kill(last, SIGKILL), 0) << "the last child must be alive";
    EXPECT_EQ(arrivals(collector).size(), 2000U);
    for (const auto& name : namesIn(documents_))
        EXPECT_FALSE(name.starts_with("process-") || name.find("unread") != name.npos) << name;
}

TEST_F(EndToEndTest, AcknowledgedEventsOutliveTheCollector) {
    const auto data = directory_.path() / "data";
    const std::vector<std::string> options{"--data", data, "--database",
                                           directory_.path() / "events.sqlite"};
    {
        Collector collector(schemas_, options);
        const auto secure = collector.announced("listening https:");
        const auto authority = collector.announced("authority ");
        EXPECT_EQ(track(secure, {"--ca", authority, input_}), 0);
        EXPECT_EQ(collector.stop(SIGKILL), -SIGKILL);
    }
    Collector again(schemas_, options);
    const collector::CollectorClient client(again.announced("listening https:"), data / "ca.pem");
    EXPECT_EQ(client.count({}), 1U);
}

}  // namespace
}  // namespace zentara
