// The real collector between clients that post until they are answered and brokers that come and
// go.

#include <gmock/gmock.h>

#include <atomic>
#include <memory>
#include <set>
#include <thread>

#include "apps/collector/forward/PersistentClient.h"
#include "apps/collector/forward/kafka/KafkaCluster.h"
#include "collector/forward/Outbox.h"
#include "support/CollectorProcess.h"
#include "support/Files.h"
#include "support/WaitFor.h"

namespace zentara::collector {
namespace {

using test::CollectorProcess;
using test::envelopeOf;
using test::PersistentClient;
using testing::IsSubsetOf;

class ForwardingTest : public testing::Test {
  protected:
    void start(const std::vector<std::string>& options = {}) {
        std::vector<std::string> all{"--no-https", "--forward", cluster.url("events"), "--outbox",
                                     file.string()};
        all.insert(all.end(), options.begin(), options.end());
        collector = std::make_unique<CollectorProcess>(ZENTARA_EXAMPLES "/schemas", all);
    }

    /// The outbox of a collector that has stopped.
    Outbox::Statistics left() const { return Outbox(file, {}).statistics(); }

    std::set<std::string> downstream(std::size_t count) const {
        std::set<std::string> uuids;
        for (const auto& message : cluster.read("events.bad", count))
            uuids.insert(message.headers.at("actionUUID"));
        return uuids;
    }

    const test::TemporaryDirectory folder;
    const std::filesystem::path file = folder.path() / "outbox";
    test::KafkaCluster cluster{{"events", "events.bad"}};
    std::unique_ptr<CollectorProcess> collector;
};

TEST_F(ForwardingTest, KillsAndOutagesLoseNothing) {
    PersistentClient client("client");
    start();
    client.moveTo(collector->url());
    std::jthread posting([&client](const std::stop_token& end) { client.run(end); });
    for (int round = 0; round < test::killsAskedFor(5); ++round) {
        cluster.setUp(round % 2 == 1);
        const std::size_t before = client.acknowledged().size();
        ASSERT_TRUE(test::eventually([&] { return client.acknowledged().size() > before + 20; }));
        collector->stop(SIGKILL);
        start();
        client.moveTo(collector->url());
    }
    cluster.setUp(true);
    posting.request_stop();
    posting.join();
    const auto acknowledged = client.acknowledged();
    ASSERT_TRUE(test::eventually([&] {
        collector->stop();
        const auto remaining = left().events;
        start();
        return remaining == 0;
    }));
    EXPECT_THAT(acknowledged, IsSubsetOf(downstream(acknowledged.size())));
}

TEST_F(ForwardingTest, FullOutboxAsksClientsToComeAgain) {
    cluster.setUp(false);
    start({"--outbox-megabytes", "1"});
    auto postNext = [this, number = 0]() mutable {
        std::string action = samples::action("unknown", std::to_string(number++));
        action.insert(1, R"("padding":")" + std::string(100'000, 'x') + "\",");
        return test::post(collector->url(), samples::envelope(action));
    };
    std::size_t taken = 0;
    auto answer = postNext();
    for (; answer.status == 200; answer = postNext())
        ++taken;
    EXPECT_EQ(answer.status, 503);
    EXPECT_EQ(answer.retryAfter, 30);
    EXPECT_EQ(taken, 10U);
    cluster.setUp(true);
    EXPECT_TRUE(test::eventually([&] { return postNext().status == 200; }));
    EXPECT_GE(downstream(taken + 1).size(), taken + 1);
}

TEST_F(ForwardingTest, LatestEventsAreShown) {
    start({"--show", "16"});
    for (int number = 0; number < 40; ++number)
        ASSERT_EQ(test::post(collector->url(), envelopeOf("u" + std::to_string(number))).status,
                  200);
    const auto client = collector->client();
    const auto found = client.waitFor({.text = "u39", .verdict = EventSelection::Verdict::bad}, 1);
    ASSERT_TRUE(found.satisfied);
    const auto shown = client.events({.verdict = EventSelection::Verdict::any});
    EXPECT_GE(shown.size(), 16U);
    EXPECT_LE(shown.size(), 18U);
    EXPECT_EQ(shown.back().at("actionUUID"), "u39");
    EXPECT_EQ(client.summary().events, 40U);
}

}  // namespace
}  // namespace zentara::collector
