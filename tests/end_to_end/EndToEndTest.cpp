#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <stdlib.h>
#include <zentara/CollectorClient.h>

#include <fstream>
#include <map>
#include <set>

#include "model/EventDecoder.h"
#include "model/JSONText.h"
#include "support/ChildProcess.h"
#include "support/CollectorProcess.h"
#include "support/Files.h"
#include "support/RawServer.h"
#include "support/TemporaryDirectory.h"
#include "support/WaitFor.h"

namespace zentara {
namespace {

using namespace test;

using collector::CollectorClient;

class Collector : public CollectorProcess {
  public:
    using CollectorProcess::CollectorProcess;

    /// How often each of the numbered events of the sending host has arrived.
    [[nodiscard]] std::map<std::int64_t, int> arrivals() const {
        std::map<std::int64_t, int> counts;
        for (const auto& entry : client().events({}))
            ++counts[entry.at("event").at("properties").at("number").as_int64()];
        return counts;
    }
};

class EndToEndTest : public testing::Test {
  protected:
    /// A port at which nobody listens.
    static constexpr const char* nobody = "http://127.0.0.1:9";

    EndToEndTest() {
        writeTo(schemas_ / "numbered-1.json",
                R"({"type":"object","required":["number"],"additionalProperties":false,)"
                R"("properties":{"number":{"type":"integer"}}})");
    }

    /// Runs zentara-track to its end; its exit code.
    int track(const std::string& collector, std::vector<std::string> arguments,
              const std::optional<std::filesystem::path>& input = std::nullopt) {
        std::vector<std::string> command{ZENTARA_TRACK,      "--collector", collector,
                                         "--documents",      documents_,    "--bundle-id",
                                         "com.example.test", "--results",   results_};
        command.insert(command.end(), arguments.begin(), arguments.end());
        ChildProcess process(std::move(command), input);
        output_ = process.readLines();
        return process.wait();
    }

    /// Sends what earlier runs have left.
    int drain(const Collector& collector) {
        writeTo(directory_.path() / "nothing", "");
        return track(collector.url(), {(directory_.path() / "nothing").string()});
    }

    [[nodiscard]] std::vector<JSONObject> results() const {
        std::vector<JSONObject> lines;
        std::ifstream stream(results_);
        for (std::string line; std::getline(stream, line);) {
            lines.push_back(parseJSON(line).value.as_object());
        }
        return lines;
    }

    TemporaryDirectory directory_;
    const std::filesystem::path schemas_ = directory_.path() / "schemas";
    const std::string documents_ = directory_.path() / "documents";
    const std::string results_ = directory_.path() / "results";
    std::vector<std::string> output_;
};

TEST_F(EndToEndTest, EveryAcceptedExampleArrivesExactlyOnce) {
    const auto examples = std::filesystem::path(ZENTARA_EXAMPLES);
    Collector collector(examples / "schemas");
    EXPECT_EQ(track(collector.url(), {examples / "events.jsonl"}), 1)
        << "some are wrong on purpose";

    // An event is known by what the application gave to it.
    std::map<std::string, int> balance;
    std::ifstream stream(examples / "events.jsonl");
    std::size_t accepted = 0;
    for (const auto& result : results()) {
        std::string line;
        std::getline(stream, line);
        if (result.at("outcome") != "accepted") continue;
        ++accepted;
        const auto event = parseJSON(line).value.as_object();
        std::string key;
        EXPECT_TRUE(appendJSON(key, JSONArray{event.at("schemaId"), event.at("properties")}));
        ++balance[key];
    }
    std::set<std::string> uuids;
    for (const auto& entry : collector.client().events({})) {
        const auto& event = entry.at("event");
        std::string key;
        EXPECT_TRUE(appendJSON(key, JSONArray{event.at("id"), event.at("properties")}));
        --balance[key];
        uuids.emplace(event.at("zentaraActionUUID").as_string());
    }
    const auto summary = collector.client().summary();
    EXPECT_EQ(summary.bad, 0U) << "the same engine has checked them before they were sent";
    EXPECT_EQ(summary.missing, summary.lastNumber == 0 ? 0U : results().size() - accepted);
    EXPECT_GT(accepted, 250U);
    EXPECT_EQ(uuids.size(), accepted);
    for (const auto& [event, difference] : balance)
        EXPECT_EQ(difference, 0) << event;
    EXPECT_EQ(contentsOf(std::filesystem::path(documents_) / "events-storage"), "[]");
    EXPECT_EQ(collector.stop(), 0);
}

TEST_F(EndToEndTest, UnreadableLinesAreReportedAndTheRestGoesOn) {
    Collector collector(schemas_);
    const auto input = directory_.path() / "input";
    writeTo(
        input,
        "{\"schemaId\":\"numbered\",\"schemaVersion\":\"1\",\"properties\":{\"number\":1}}\n"
        "not json\n"
        "\n"
        "{\"schemaId\":\"numbered\"}\n"
        "{\"schemaId\":\"numbered\",\"schemaVersion\":\"1\",\"properties\":{\"number\":\"1\"}}\n"
        "{\"schemaId\":\"numbered\",\"schemaVersion\":\"9\",\"properties\":{\"number\":3}}\n"
        "{\"schemaId\":\"numbered\",\"schemaVersion\":\"1\",\"properties\":{\"number\":4}}\n");
    EXPECT_EQ(track(collector.url(), {"--verbose", "-"}, input), 1);
    std::vector<std::pair<std::int64_t, std::string>> outcomes;
    for (const auto& result : results()) {
        outcomes.emplace_back(result.at("line").as_int64(), result.at("outcome").as_string());
    }
    EXPECT_THAT(outcomes, testing::ElementsAre(
                              testing::Pair(1, "accepted"), testing::Pair(2, "unreadable"),
                              testing::Pair(4, "unreadable"), testing::Pair(5, "invalid"),
                              testing::Pair(6, "unknownSchema"), testing::Pair(7, "accepted")));
    EXPECT_THAT(collector.arrivals(),
                testing::ElementsAre(testing::Pair(1, 1), testing::Pair(4, 1)));
}

TEST_F(EndToEndTest, EventsWaitOnDiskWhileTheCollectorIsAway) {
    const auto example = std::string("{\"schemaId\":\"numbered\",\"schemaVersion\":\"1\",") +
                         "\"properties\":{\"number\":7}}\n";
    writeTo(directory_.path() / "input", example);
    const auto input = (directory_.path() / "input").string();
    EXPECT_EQ(track(nobody, {"--ready-timeout", "0.1", input}), 4) << "nobody gives schemas";
    Collector collector(schemas_);
    EXPECT_EQ(track(nobody, {"--schemas", collector.url(), "--no-drain", input}), 0);
    EXPECT_EQ(track(nobody, {"--schemas", collector.url(), "--drain-timeout", "0.2", input}), 2)
        << "queued, but not delivered";
    EXPECT_EQ(drain(collector), 0);
    EXPECT_THAT(collector.arrivals(), testing::ElementsAre(testing::Pair(7, 2)));
}

TEST_F(EndToEndTest, ABatchUnderWaySurvivesAKill) {
    Collector collector(schemas_);
    EXPECT_EQ(drain(collector), 0) << "gives the host its identity";
    RawServer silent(RawServer::silence());
    ChildProcess host({ZENTARA_SENDING_HOST, silent.url().string(), collector.url(), documents_,
                       "1", "20", "deliver"});
    for (int line = 0; line < 20; ++line)
        ASSERT_TRUE(host.readLine());
    const auto file = [this](const char* name) {
        return decodeEvents(contentsOf(std::filesystem::path(documents_) / name)).events.size();
    };
    EXPECT_EQ(file("events-storage"), 10U) << "the batch has left the list";
    EXPECT_EQ(file(".events-storage.under-way"), 10U);
    host.signal(SIGKILL);
    EXPECT_EQ(host.wait(), -SIGKILL);
    EXPECT_EQ(drain(collector), 0);
    const auto arrivals = collector.arrivals();
    EXPECT_EQ(arrivals.size(), 20U);
    for (const auto& [number, count] : arrivals)
        EXPECT_EQ(count, 1) << number;
    EXPECT_EQ(file(".events-storage.under-way"), 0U);
}

TEST_F(EndToEndTest, TwoProcessesOnOneFolderAndTheThirdSendsWhatBothLeft) {
    Collector collector(schemas_);
    const auto start = [&](int first) {
        return std::make_unique<ChildProcess>(
            std::vector<std::string>{ZENTARA_SENDING_HOST, nobody, collector.url(), documents_,
                                     std::to_string(first), "300", "linger"});
    };
    std::set<std::int64_t> reported;
    const auto read = [&](ChildProcess& host, int lines) {
        for (int line = 0; line < lines; ++line)
            reported.insert(std::stoll(host.readLine().value_or("0")));
    };
    auto one = start(1000);
    auto other = start(2000);
    for (int i = 0; i < 5; ++i) {
        read(*one, 20);
        read(*other, 20);
    }
    one->signal(SIGKILL);
    for (const auto& number : one->readLines())
        reported.insert(std::stoll(number));
    one->wait();
    EXPECT_EQ(drain(collector), 0) << "beside the other";
    read(*other, 200);
    other.reset();
    const auto documents = std::filesystem::path(documents_);
    for (const auto& folder : {documents, documents / "process-2"}) {
        EXPECT_TRUE(decodeEvents(contentsOf(folder / "events-storage")).isCanonical) << folder;
    }
    EXPECT_EQ(drain(collector), 0);
    EXPECT_FALSE(reported.contains(0));
    const auto arrivals = collector.arrivals();
    for (const auto number : reported)
        EXPECT_EQ(arrivals.count(number), 1U) << number;
    for (const auto& [number, count] : arrivals)
        EXPECT_EQ(count, 1) << number;
    EXPECT_FALSE(std::filesystem::exists(documents / "process-2"));
}

TEST_F(EndToEndTest, AForkedChildDoesNothingAndHoldsNothing) {
    Collector collector(schemas_);
    ChildProcess host(
        {ZENTARA_SENDING_HOST, collector.url(), collector.url(), documents_, "1", "2000", "fork"});
    std::set<std::int64_t> reported;
    int children = 0;
    pid_t last = 0;
    while (last == 0) {
        const auto line = host.readLine();
        ASSERT_TRUE(line);
        if (line->starts_with("last ")) {
            last = std::stoi(line->substr(5));
        } else if (line->starts_with("child ")) {
            ++children;
            EXPECT_EQ(*line, "child 0");
        } else {
            reported.insert(std::stoll(*line));
        }
    }
    EXPECT_EQ(children, 40);
    EXPECT_EQ(reported.size(), 2000U);
    host.signal(SIGKILL);
    host.wait();
    EXPECT_EQ(drain(collector), 0);
    EXPECT_EQ(::kill(last, SIGKILL), 0) << "it was there all the time";
    const auto arrivals = collector.arrivals();
    EXPECT_EQ(arrivals.size(), 2000U);
    EXPECT_EQ(arrivals.begin()->first, 1);
    for (const auto& name : namesIn(documents_))
        EXPECT_FALSE(name.starts_with("process-") || name.find("unread") != name.npos) << name;
}

TEST_F(EndToEndTest, NoFaultOfTheCollectorLosesAnEvent) {
    std::string lines;
    for (int number = 1; number <= 25; ++number) {
        lines += R"({"schemaId":"numbered","schemaVersion":"1","properties":{"number":)" +
                 std::to_string(number) + "}}\n";
    }
    writeTo(directory_.path() / "input", lines);
    const struct {
        const char* answer;
        bool storesInVain;  ///< the collector has the events, and the client does not know
    } cases[] = {
        {"lost", true},
        {"truncated", true},
        {"not-http", true},
        {"garbage", false},
        {"dropped", false},
        {"status,status=301", false},
        {"status,status=400", false},
        {"status,status=503", false},
        {"normal,latency=300", false},
    };
    for (const auto& [answer, storesInVain] : cases) {
        SCOPED_TRACE(answer);
        const auto fault = std::string("event:times=2,answer=") + answer;
        Collector collector(schemas_, {"--no-https", "--fault", fault});
        EXPECT_EQ(track(collector.url(), {(directory_.path() / "input").string()}), 0);

        const auto summary = collector.client().summary();
        EXPECT_EQ(summary.distinctActions, 25U);
        // The first batch may be smaller than others: a tick may come before all events are there.
        const auto met = collector.client().get("/received/requests?fault=true");
        EXPECT_EQ(met.at("total"), 2);
        std::size_t repeated = 0;
        for (const auto& request : met.at("requests").as_array()) {
            if (storesInVain) repeated += request.at("storedEvents").to_number<std::size_t>();
        }
        EXPECT_EQ(summary.duplicates, repeated);
        EXPECT_EQ(repeated > 0, storesInVain);
    }
}

TEST_F(EndToEndTest, WhatWasAcknowledgedOverHTTPSOutlivesTheCollector) {
    const auto data = directory_.path() / "data";
    const std::vector<std::string> options{"--data", data.string(), "--database",
                                           (directory_.path() / "events.sqlite").string()};
    writeTo(directory_.path() / "input",
            R"({"schemaId":"numbered","schemaVersion":"1","properties":{"number":1}})");
    {
        Collector collector(schemas_, options);
        const auto secure = collector.announced("listening https:");
        const auto authority = collector.announced("authority ");
        EXPECT_EQ(track(secure, {"--ca", authority, (directory_.path() / "input").string()}), 0);
        EXPECT_EQ(collector.stop(SIGKILL), -SIGKILL);
    }
    Collector again(schemas_, options);
    EXPECT_EQ(CollectorClient(again.announced("listening https:"), data / "ca.pem").count({}), 1U);
}

}  // namespace
}  // namespace zentara
