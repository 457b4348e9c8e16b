#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>

#include "dispatch/BackOff.h"
#include "network/Gzip.h"
#include "support/EventBusFixture.h"
#include "support/PlatformError.h"

namespace zentara {
namespace {

using namespace test;
using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;
using Kind = DeliveryNotice::Kind;

class DeliveryPolicyTest : public EventBusFixture {
  protected:
    /// Refuses posts that hold one of `refused`. Of the others, those that hold `failing` fail.
    void refuse(std::set<std::int64_t> refused, int status, std::int64_t failing = 0) {
        session_.respond([=](const URLRequest& request, const URLSession::Completion& done) {
            int answer = 200;
            for (const auto number : actionsIn(*request.body)) {
                if (number == failing && answer == 200) answer = 503;
                if (refused.contains(number)) answer = status;
            }
            done(URLResponse{answer, {}});
        });
    }
};

TEST(BackOffTest, WaitDoublesUpToAnHourUnlessTheServerNamesIt) {
    struct Case {
        std::int64_t failures;
        std::optional<std::chrono::seconds> retryAfter;
        double random;
        std::chrono::milliseconds wait;
    };
    const Case cases[] = {
        {1, {}, 0, 5s},      {1, {}, 1, 10s},
        {2, {}, 0.5, 15s},   {3, {}, 0.25, 25s},
        {9, {}, 1, 2560s},   {10, {}, 1, 1h},
        {10, {}, 0, 30min},  {1'000'000, {}, 1, 1h},
        {7, 0s, 0.5, 0s},    {1, 17s, 0.5, 17s},
        {9, 3600s, 0.5, 1h}, {1, 3601s, 0.5, 1h},
        {1, -1s, 0.5, 0s},   {2, std::chrono::seconds::max(), 1, 1h},
    };
    for (const auto& [failures, retryAfter, random, wait] : cases)
        EXPECT_EQ(backOffUntil(failures, retryAfter, random, 77ms), wait + 77ms) << failures;
}

TEST_F(DeliveryPolicyTest, DeliveryGoesOnWhileMoreThanABatchWaits) {
    const auto postsOf = [&](bool continues, std::int64_t count, std::int64_t failing) {
        const auto posts = std::make_shared<Mailbox<Numbers>>();
        auto bus = makeBus({.continueAtOnce = continues}, sampleEvents(1, count));
        session_.respond([&, posts](const URLRequest& request, const auto& done) {
            posts->put(actionsIn(*request.body));
            // Arrives too late to be more than a batch.
            if (posts->values().size() == 1) bus->enqueue(sampleEvent(100), nullptr);
            done(URLResponse{posts->values().back().front() == failing ? 503 : 200, {}});
        });
        ticker_.fire();
        // The drain holds the bus.
        EXPECT_TRUE(eventually([&] { return bus.use_count() == 1; }));
        auto all = posts->values();
        flush(*bus);
        // Its end cancels the ticker.
        bus.reset();
        EXPECT_TRUE(endedBuses_.waitFor(buses_));
        return all;
    };
    const auto first = range(1, 10);
    EXPECT_THAT(postsOf(false, 25, 0), ElementsAre(first));
    EXPECT_THAT(postsOf(true, 10, 0), ElementsAre(first));
    EXPECT_THAT(postsOf(true, 24, 0),
                ElementsAre(first, range(11, 10), (Numbers{21, 22, 23, 24, 100})));
    EXPECT_THAT(postsOf(true, 24, 11), ElementsAre(first, range(11, 10)));
}

TEST_F(DeliveryPolicyTest, BodyIsSplitUnlessOneEventIsTooLarge) {
    const auto event = [](std::int64_t number, std::size_t size) {
        return sampleEvent(number, {}, {{"text", std::string(size, 'x')}});
    };
    const auto bus = makeBus({.largestBodySize = 2500},
                             {event(1, 10), event(2, 10), event(3, 9000), event(4, 10),
                              event(5, 10), event(6, 10), event(7, 600), event(8, 600)});
    EXPECT_EQ(dispatch(*bus), DispatchResult::success());
    EXPECT_THAT(posts(), ElementsAre(Numbers{1, 2}, Numbers{3}, Numbers{4, 5, 6, 7}, Numbers{8}));
    for (std::size_t request = 0; request < 4; ++request) {
        EXPECT_EQ(session_.requests()[request].body->size() <= 2500, request != 1) << request;
        EXPECT_EQ(envelope(request).at("zentaraDispatchNumber"), request + 1);
        EXPECT_EQ(envelope(request).at("zentaraActionCounter"), posts().at(request).size());
    }
    const auto size = static_cast<std::int64_t>(session_.requests()[0].body->size());
    for (const auto limit : {size, size - 1}) {
        session_.respond(200);
        const auto posted = session_.requests().size();
        const auto next = makeBus({.largestBodySize = limit}, {event(1, 10), event(2, 10)});
        dispatch(*next);
        EXPECT_EQ(session_.requests().size() - posted, limit == size ? 1U : 2U);
    }
}

TEST_F(DeliveryPolicyTest, PostsAreCompressedAndShareAConnection) {
    dispatch(*makeBus(sampleEvents(1, 3)));
    dispatch(*makeBus({.compressBodies = true}, sampleEvents(1, 3)));
    dispatch(*makeBus({.reuseConnections = true}, sampleEvents(1, 3)));
    const auto& posts = session_.requests();
    EXPECT_EQ(session_.header(0, "Content-Encoding"), std::nullopt);
    EXPECT_EQ(session_.header(1, "Content-Encoding"), "gzip");
    EXPECT_EQ(posts.at(1).body, gzip(*posts.at(0).body));
    EXPECT_EQ(posts.at(2).body, posts.at(0).body);
    EXPECT_FALSE(posts.at(1).reusesConnection);
    EXPECT_TRUE(posts.at(2).reusesConnection);
}

TEST_F(DeliveryPolicyTest, NothingIsPostedDuringTheWait) {
    const auto bus = makeBus({.backOff = true}, sampleEvents(1, 25));
    const auto pass = [&](std::chrono::milliseconds time) {
        controlTime_.value += static_cast<std::uint64_t>(time.count()) * 10'000;
    };
    std::optional<std::chrono::seconds> retryAfter = 30s;
    int status = 429;
    session_.respond([&](const URLRequest&, const URLSession::Completion& done) {
        done(URLResponse{status, {}, retryAfter});
    });
    const auto fail = [&](int withStatus) {
        status = withStatus;
        EXPECT_EQ(textOf(dispatch(*bus)), "unexpected HTTP status " + std::to_string(status));
    };
    const auto expectWait = [&](int left) {
        const auto text =
            "the collector has asked to wait or has failed: " + std::to_string(left) + " s left";
        EXPECT_EQ(textOf(dispatch(*bus)), text);
        EXPECT_EQ(flush(*bus), (FlushResult{FlushResult::Outcome::failed, 0, 25, 0, text}));
    };
    fail(429);
    expectWait(30);
    ticker_.fire();
    pass(29'999ms);
    expectWait(1);
    EXPECT_EQ(session_.requests().size(), 1U);
    EXPECT_EQ(lastFailure(Component::delivery).inARow, 1) << "the wait is no failure";
    pass(1ms);
    retryAfter.reset();
    fail(503);
    // The second failure, and half of its random part.
    expectWait(15);
    pass(15s);
    fail(404);
    fail(404);
    EXPECT_EQ(session_.requests().size(), 4U);
}

TEST_F(DeliveryPolicyTest, RefusedEventIsPassedOverInItsPlace) {
    const std::string reason = "request to 'qa.test' failed: unexpected HTTP status ";
    for (const int status : {400, 413, 422}) {
        SCOPED_TRACE(status);
        const auto before = notices_.values().size();
        const auto bus = makeBus({.isolateRefused = true}, sampleEvents(1, 12));
        refuse({3, 12}, status);
        EXPECT_EQ(flush(*bus), (FlushResult{FlushResult::Outcome::empty, 10, 2, 0,
                                            reason + std::to_string(status)}));
        EXPECT_EQ(queued(), (Numbers{3, 12}));
        EXPECT_EQ(ledger_.queue.passedOver, 2);
        auto notices = notices_.values();
        notices.erase(notices.begin(), notices.begin() + static_cast<std::ptrdiff_t>(before));
        const auto refusal = [&](std::int64_t number) {
            return Notice{Kind::refused, {number}, reason + std::to_string(status)};
        };
        EXPECT_THAT(notices, ElementsAre(Notice{Kind::delivered, {1, 2}, ""}, refusal(3),
                                         Notice{Kind::delivered, {4, 5}, ""},
                                         Notice{Kind::delivered, {6, 7, 8, 9, 10}, ""},
                                         Notice{Kind::delivered, {11}, ""}, refusal(12)));
        bus->enqueue(sampleEvent(13), nullptr);
        EXPECT_EQ(dispatch(*bus), DispatchResult::success());
        EXPECT_EQ(dispatch(*bus), DispatchResult::emptyRepository());
        EXPECT_EQ(queued(), (Numbers{3, 12}));
        session_.respond(200);
        bus->retryRefused();
        EXPECT_EQ(ledger_.queue.passedOver, 0);
        EXPECT_EQ(dispatch(*bus), DispatchResult::success());
        EXPECT_THAT(queued(), IsEmpty());
        EXPECT_EQ(posts().back(), (Numbers{3, 12}));
    }
}

TEST_F(DeliveryPolicyTest, FailureEndsTheIsolationInOrder) {
    const StringMap bob{{"type", "GST"}, {"token", "bob"}};
    const auto bus = makeBus({.isolateRefused = true},
                             {sampleEvent(1), sampleEvent(2), sampleEvent(3), sampleEvent(4),
                              sampleEvent(5), sampleEvent(6, bob), sampleEvent(7)});
    refuse({2}, 422, 3);
    EXPECT_EQ(textOf(dispatch(*bus)), "unexpected HTTP status 503");
    EXPECT_THAT(posts(), ElementsAre(Numbers{1, 2, 3, 4, 5, 7}, Numbers{1, 2, 3}, Numbers{1, 2},
                                     Numbers{1}, Numbers{2}, Numbers{3}, Numbers{6}));
    EXPECT_EQ(queued(), (Numbers{2, 3, 4, 5, 7}));
    EXPECT_EQ(ledger_.queue.passedOver, 1);
    session_.respond(422);
    EXPECT_EQ(textOf(dispatch(*makeBus({}, sampleEvents(1, 2)))), "unexpected HTTP status 422")
        << "without the policy";
}

TEST_F(DeliveryPolicyTest, EvictedEventIsNoLongerPassedOver) {
    writeTo(host_.file("small"), fileOf(sampleEvents(1, 3)));
    const auto queue = openQueue(systemFiles(), "small",
                                 {.maxEvents = 3,
                                  .scheduler =
                                      [](auto, auto) {
                                      }},
                                 ledger_.queue);
    const auto taken = queue->take(2);
    queue->passOver(taken);
    queue->insert(taken);
    EXPECT_EQ(ledger_.queue.passedOver, 2);
    queue->add(sampleEvent(4), nullptr);
    EXPECT_EQ(ledger_.queue.passedOver, 1);
    EXPECT_EQ(numbersOf(queue->take(10)), (Numbers{3, 4}));
    EXPECT_FALSE(queue->hasEventsToTake());
    queue->retryPassedOver();
    EXPECT_EQ(numbersOf(queue->take(10)), (Numbers{2}));
}

TEST_F(DeliveryPolicyTest, NothingIsPostedWhilePausedOrClosed) {
    const auto bus = makeBus(sampleEvents(1, 3));
    session_.close("pending");
    identity_->removeLoggedUser();
    const auto text = "no request is made without the user's consent";
    EXPECT_EQ(textOf(dispatch(*bus)), text);
    EXPECT_EQ(flush(*bus), (FlushResult{FlushResult::Outcome::failed, 0, 3, 0, text}));
    EXPECT_TRUE(session_.requests().empty());
    session_.open();
    identity_->setLoggedUser(UserTokenType::guest, "user");
    session_.respond([&](const URLRequest&, const URLSession::Completion& done) {
        session_.close("interrupted");
        done(plainError("interrupted"));
    });
    EXPECT_EQ(textOf(dispatch(*bus)), "interrupted");
    EXPECT_FALSE(isFailing(Component::delivery));
    session_.open();
    // The second user's post waits.
    bus->enqueue(sampleEvent(4, {}), nullptr);
    session_.respond([&](const URLRequest&, const URLSession::Completion& done) {
        isPaused_ = true;
        done(URLResponse{200, {}});
    });
    EXPECT_EQ(textOf(dispatch(*bus)), "delivery is paused");
    EXPECT_EQ(queued(), (Numbers{4}));
}

TEST_F(DeliveryPolicyTest, DiscardedEventsIgnoreTheirAnswer) {
    const auto bus = makeBus(sampleEvents(1, 12));
    session_.respond([&](const URLRequest&, const URLSession::Completion& done) {
        bus->discardInFlight();
        EXPECT_EQ(ledger_.inFlight, 0);
        done(URLResponse{200, {}});
    });
    EXPECT_EQ(textOf(dispatch(*bus)), "the data of the user were removed");
    EXPECT_EQ(queued(), (Numbers{11, 12}));
    EXPECT_EQ(ledger_.queue.discarded, 10);
    EXPECT_EQ(ledger_.delivered, 0);
    EXPECT_EQ(
        notices_.values(),
        (std::vector{Notice{Kind::dropped, range(1, 10), "the data of the user were removed"}}));
}

}  // namespace
}  // namespace zentara
