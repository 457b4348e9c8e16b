#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/EventBusFixture.h"

namespace zentara {
namespace {

using namespace test;
using testing::ElementsAre;
using Outcome = FlushResult::Outcome;
using Completion = URLSession::Completion;

class EventBusFlushTest : public EventBusFixture {
  protected:
    using Results = std::shared_ptr<Mailbox<FlushResult>>;

    static Results begin(EventBus& bus, std::chrono::milliseconds deadline = std::chrono::hours(1),
                         std::function<bool()> release = nullptr) {
        auto results = std::make_shared<Mailbox<FlushResult>>();
        bus.flush(deadline, std::move(release),
                  [results](const FlushResult& result) { results->put(result); });
        return results;
    }

    /// Keeps the answers of the session, in the order of the requests.
    void keepAnswers() {
        session_.respond([this](const URLRequest&, Completion done) {
            kept_.put(std::make_shared<Completion>(std::move(done)));
        });
    }
    void answer(std::size_t request, int status, const std::string& body = "{}") {
        const auto done = kept_.waitFor(request);
        ASSERT_TRUE(done);
        std::exchange(**done, nullptr)(URLResponse{status, body});
    }

    Mailbox<std::shared_ptr<Completion>> kept_;
};

TEST_F(EventBusFlushTest, FlushWaitsForABatchOfATick) {
    const auto bus = makeBus(sampleEvents(1, 12));
    keepAnswers();
    ticker_.fire();
    const auto holders = bus.use_count();
    const auto results = begin(*bus);
    answer(1, 200);
    EXPECT_TRUE(eventually([&] { return bus.use_count() == holders; })) << "the drain rests";
    answer(0, 503);
    answer(2, 200);
    EXPECT_EQ(results->waitFor(), (FlushResult{Outcome::empty, 12, 0, 0, ""}));
    EXPECT_THAT(posts(), ElementsAre(range(1, 10), Numbers{11, 12}, range(1, 10)));
}

TEST_F(EventBusFlushTest, FailedBatchEndsTheFlush) {
    const auto bus = makeBus(sampleEvents(1, 25));
    ledger_.heldBackQueue.waiting = 7;
    keepAnswers();
    const auto results = begin(*bus);
    answer(0, 200);
    ASSERT_TRUE(kept_.waitFor(1));
    // Has an attempt of its own.
    const auto late = begin(*bus);
    answer(1, 404);
    EXPECT_EQ(results->waitFor(),
              (FlushResult{Outcome::failed, 10, 15, 7, "unexpected HTTP status 404"}));
    answer(2, 200);
    answer(3, 200);
    EXPECT_EQ(late->waitFor(), (FlushResult{Outcome::empty, 15, 0, 7, ""}));
}

TEST_F(EventBusFlushTest, FlushesShareTheirPostsAndEndOnce) {
    const auto bus = makeBus(sampleEvents(1, 25));
    keepAnswers();
    const auto patient = begin(*bus);
    ASSERT_TRUE(kept_.waitFor(0));
    const auto hasty = begin(*bus);
    deadline_.fire();
    EXPECT_EQ(hasty->waitFor(), (FlushResult{Outcome::deadline, 0, 25, 0, ""}));
    deadline_.fire();
    answer(0, 200);
    answer(1, 200);
    // Its `send` came after the last batch was taken.
    ASSERT_TRUE(kept_.waitFor(2));
    bus->enqueue(sampleEvent(26), nullptr);
    const auto late = begin(*bus);
    answer(2, 200);
    answer(3, 200);
    EXPECT_EQ(patient->waitFor(), (FlushResult{Outcome::empty, 26, 0, 0, ""}));
    EXPECT_EQ(late->waitFor(), (FlushResult{Outcome::empty, 6, 0, 0, ""}));
    EXPECT_THAT(posts(), ElementsAre(range(1, 10), range(11, 10), range(21, 5), Numbers{26}));
    for (const auto& results : {patient, hasty, late})
        EXPECT_EQ(results->values().size(), 1U);
}

TEST_F(EventBusFlushTest, NoBatchBeginsAfterTheDeadline) {
    const auto bus = makeBus(sampleEvents(1, 25));
    keepAnswers();
    const auto results = begin(*bus);
    ASSERT_TRUE(kept_.waitFor(0));
    deadline_.fire();
    EXPECT_EQ(results->waitFor()->outcome, Outcome::deadline);
    answer(0, 200);
    EXPECT_TRUE(eventually([&] { return bus.use_count() == 1; }));
    EXPECT_EQ(begin(*bus, std::chrono::milliseconds(0))->waitFor(),
              (FlushResult{Outcome::deadline, 0, 15, 0, ""}));
    EXPECT_EQ(kept_.values().size(), 1U);
}

TEST_F(EventBusFlushTest, DeadlineEndsTheRelease) {
    const auto bus = makeBus(sampleEvents(1, 2));
    int calls = 0;
    const auto release = [&] {
        bus->enqueue(sampleEvent(2 + ++calls), nullptr);
        if (calls == 3) deadline_.fire();
        return true;
    };
    EXPECT_EQ(begin(*bus, std::chrono::milliseconds::max(), release)->waitFor()->outcome,
              Outcome::deadline);
    EXPECT_TRUE(eventually([&] { return bus.use_count() == 1; }));
    EXPECT_EQ(calls, 3);
    EXPECT_EQ(queued(), range(1, 5));
}

TEST_F(EventBusFlushTest, FlushFetchesAMissingIdentityOnce) {
    const auto bus = makeBus(sampleEvents(1, 2));
    identity_->removeLoggedUser();
    keepAnswers();
    auto results = begin(*bus);
    answer(0, 503);
    EXPECT_EQ(results->waitFor(),
              (FlushResult{Outcome::failed, 0, 2, 0, "there is no identity yet"}));
    results = begin(*bus);
    // Not every answer has a session token.
    answer(1, 200, R"({"qvn_uid":"a","qvn_uid_public":"b"})");
    answer(2, 200);
    EXPECT_EQ(results->waitFor(), (FlushResult{Outcome::empty, 2, 0, 0, ""}));
    EXPECT_EQ(session_.requests().size(), 3U);
}

TEST_F(EventBusFlushTest, EndOfTheBusEndsItsFlushes) {
    auto bus = makeBus(sampleEvents(1, 3));
    keepAnswers();
    const auto interrupted = begin(*bus);
    ASSERT_TRUE(kept_.waitFor(0));
    bus->stopDispatching();
    const FlushResult ended{Outcome::failed, 0, 3, 0, "delivery has ended"};
    EXPECT_EQ(interrupted->waitFor(), ended);
    EXPECT_EQ(begin(*bus)->waitFor(), ended);
    answer(0, 200);
    EXPECT_EQ(queued(), range(1, 3));
}

}  // namespace
}  // namespace zentara
