#include "collector/forward/Forwarder.h"

#include <gmock/gmock.h>

#include <deque>

#include "apps/collector/forward/OutboxSamples.h"
#include "support/Files.h"
#include "support/WaitFor.h"

namespace zentara::collector {
namespace {

using namespace std::chrono_literals;
using samples::add;
using samples::entry;
using testing::AllOf;
using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;
using enum Handover::Outcome;
using HandOver = std::vector<std::string>;  // the UUIDs

/// Answers with prepared outcomes, and delivers everything when there are no more.
class ScriptedSink final : public Sink {
  public:
    using Script = std::deque<std::vector<Handover>>;

    ScriptedSink(Script script, test::Mailbox<HandOver>& deliveries)
        : script_(std::move(script)), deliveries_(deliveries) {}

    std::vector<Handover> deliver(std::span<const ForwardedEvent> events) override {
        std::vector<Handover> results(events.size(), {delivered});
        if (!script_.empty()) {
            results = script_.front();
            script_.pop_front();
            if (results.empty()) throw std::runtime_error("not reachable");
        }
        HandOver uuids;
        for (const auto& event : events)
            uuids.emplace_back(event.actionUUID);
        deliveries_.put(std::move(uuids));
        return results;
    }

    void stop() override {}

  private:
    Script script_;
    test::Mailbox<HandOver>& deliveries_;
};

class ForwarderTest : public testing::Test {
  protected:
    void start(ScriptedSink::Script script, std::chrono::milliseconds pause = 1ms) {
        forwarder_.emplace(
            outbox, std::make_unique<ScriptedSink>(std::move(script), deliveries),
            Forwarder::Settings{
                .complain = [this](const std::string& text) { complaints.put(text); },
                .shortestPause = pause,
                .longestPause = 2 * pause});
    }
    Forwarder& forwarder() { return *forwarder_; }
    void drain() {
        forwarder().drain(test::generousTimeout);
        EXPECT_EQ(outbox.statistics().events, 0);
    }

    const test::TemporaryDirectory folder;
    test::Mailbox<HandOver> deliveries;
    test::Mailbox<std::string> complaints;
    Outbox outbox{folder.path() / "outbox", {}};

  private:
    std::optional<Forwarder> forwarder_;
};

TEST_F(ForwarderTest, HandsOnInOrder) {
    start({});
    for (const char* uuid : {"a", "b", "c"})
        (void)add(outbox, entry(1, "one", {uuid}));
    drain();
    HandOver all;
    for (const auto& delivery : deliveries.values())
        all.insert(all.end(), delivery.begin(), delivery.end());
    EXPECT_THAT(all, ElementsAre("a", "b", "c"));
    EXPECT_EQ(forwarder().statistics().delivered, 3U);
    EXPECT_GT(forwarder().statistics().delay, 1h) << "since 1970";
}

TEST_F(ForwarderTest, FailureIsRepeatedAndReportedOnce) {
    (void)add(outbox, entry(1, "one", {"a", "b"}));
    start({{}, {}, {{failed, "busy"}, {failed, "busy"}}, {{delivered}, {failed, "busy"}}});
    drain();
    EXPECT_THAT(deliveries.values(),
                ElementsAre(ElementsAre("a", "b"), ElementsAre("a", "b"), ElementsAre("b")));
    EXPECT_THAT(complaints.values(), ElementsAre(HasSubstr("not reachable"), HasSubstr("busy")));
    EXPECT_EQ(forwarder().statistics().delivered, 2U);
    EXPECT_EQ(forwarder().statistics().failures, 4U);
}

TEST_F(ForwarderTest, RefusedEventDoesNotHoldUpTheRest) {
    (void)add(outbox, entry(1, "one", {"a", "b", "c"}));
    start({{{delivered}, {refused, "too large"}, {delivered}}});
    drain();
    EXPECT_EQ(deliveries.values().size(), 1U);
    EXPECT_EQ(outbox.statistics().refused, 1);
    EXPECT_THAT(complaints.values(), ElementsAre(HasSubstr("too large")));
}

TEST_F(ForwarderTest, PausesIfTheOutboxCannotBeWritten) {
    (void)add(outbox, entry(1, "one", {"a"}));
    Database(folder.path() / "outbox")
        .execute(
            "CREATE TRIGGER stay BEFORE DELETE ON events "
            "BEGIN SELECT RAISE(ABORT, 'no space'); END");
    start({}, 1h);
    ASSERT_TRUE(complaints.waitFor().has_value());
    for (int i = 0; i < 100; ++i)
        outbox.flush();
    EXPECT_THAT(deliveries.values(), ElementsAre(ElementsAre("a")));
    EXPECT_THAT(complaints.values(),
                ElementsAre(AllOf(HasSubstr("written"), HasSubstr("no space"))));
    EXPECT_EQ(outbox.statistics().events, 1);
}

TEST_F(ForwarderTest, StopLeavesWhatFailsInTheOutbox) {
    (void)add(outbox, entry(1, "one", {"a"}));
    start(ScriptedSink::Script(100'000, {{failed, "away"}}));
    ASSERT_TRUE(deliveries.waitFor(3).has_value());
    forwarder().stop();
    EXPECT_EQ(outbox.statistics().events, 1);
    EXPECT_THAT(deliveries.values(), Each(ElementsAre("a")));
}

}  // namespace
}  // namespace zentara::collector
