#include "dispatch/EventBus.h"

#include <gtest/gtest.h>

#include "platform/UserDefaults.h"
#include "support/EventBusFixture.h"

namespace zentara {
namespace {

using namespace test;
using EventBusTest = EventBusFixture;

TEST_F(EventBusTest, EnvelopeHasTheTimeOfItsDispatch) {
    const auto bus = makeBus(sampleEvents(1, 2));
    controlTime_.value += 25'009'999;
    EXPECT_EQ(dispatch(*bus), DispatchResult::success());
    EXPECT_TRUE(session_.requests().at(0).discardsBody);
    auto posted = envelope(0);
    EXPECT_EQ(posted.at("actions").array().size(), 2U);
    posted.erase("actions");
    const auto expected = parseJSON(R"({"zentaraClientUUID":"instance",
        "zentaraClientTenant":"tenant","zentaraClientType":"mobile",
        "zentaraClientDeviceGroup":"iOS","zentaraClientTs":1700000002623,
        "zentaraEnvironment":"app","zentaraDispatchNumber":1,"zentaraActionCounter":2})");
    EXPECT_EQ(posted, expected->object());
}

TEST_F(EventBusTest, EachUserHasAnEnvelopeThatFailsAlone) {
    const StringMap alice{{"type", "GST"}, {"token", "alice"}};
    const StringMap bob{{"type", "GST"}, {"token", "bob"}};
    const StringMap otherAlice{{"type", "QVNID"}, {"token", "alice"}};
    const auto bus = makeBus({sampleEvent(1, alice), sampleEvent(2, bob), sampleEvent(3, alice),
                              sampleEvent(4, otherAlice), sampleEvent(5), sampleEvent(6, {}),
                              sampleEvent(7, bob), sampleEvent(8), sampleEvent(9), sampleEvent(10),
                              sampleEvent(11, bob)});
    session_.respond([&](const URLRequest&, const URLSession::Completion& done) {
        const auto cookie = session_.header(session_.requests().size() - 1, "Cookie");
        done(URLResponse{cookie == "GST=alice;" ? 401 : cookie == "GST=bob;" ? 503 : 200, {}});
    });
    const auto result = dispatch(*bus);
    EXPECT_EQ(dynamic_cast<const RestClientError&>(*result.error()).statusCode(), 401);
    const std::pair<Numbers, std::optional<std::string>> expected[] = {
        {{1, 3}, "GST=alice;"},
        {{2, 7}, "GST=bob;"},
        {{4}, "QVNID=alice;"},
        {{5, 8, 9, 10}, {}},
        {{6}, {}},
    };
    ASSERT_EQ(session_.requests().size(), std::size(expected));
    for (std::size_t request = 0; request < std::size(expected); ++request) {
        EXPECT_EQ(posts().at(request), expected[request].first);
        EXPECT_EQ(session_.header(request, "Cookie"), expected[request].second);
        EXPECT_EQ(envelope(request).at("zentaraDispatchNumber"), request + 1);
    }
    EXPECT_EQ(queued(), (Numbers{1, 2, 3, 7, 11}));
    EXPECT_EQ(ledger_.batchesFailed, 2);
    EXPECT_EQ(ledger_.batchesDelivered, 3);
    EXPECT_EQ(ledger_.delivered, 6);
    EXPECT_EQ(ledger_.inFlight, 0);
    bus->stopDispatching();
    EXPECT_EQ(dispatch(*bus), DispatchResult::emptyRepository());
    EXPECT_TRUE(isFailing(Component::delivery)) << "the queue is not empty";
}

TEST_F(EventBusTest, StopPutsUndeliveredEventsBack) {
    const auto bus = makeBus({sampleEvent(1), sampleEvent(2, {}), sampleEvent(3),
                              sampleEvent(4, {{"type", "GST"}, {"token", "carol"}})});
    session_.respond([&](const URLRequest&, const URLSession::Completion& done) {
        if (session_.requests().size() == 2) bus->stopDispatching();
        done(URLResponse{200, {}});
    });
    EXPECT_EQ(dispatch(*bus), DispatchResult::emptyRepository());
    EXPECT_EQ(session_.requests().size(), 2U);
    EXPECT_EQ(queued(), (Numbers{2, 4}));
    EXPECT_EQ(ledger_.inFlight, 0);
}

TEST_F(EventBusTest, QueueIsUntouchedUntilSendingIsPossible) {
    const auto bus = makeBus(sampleEvents(1, 2));
    using Case = EventBusError::Case;
    const auto failure = [](Case errorCase) {
        return DispatchResult::failure(std::make_shared<EventBusError>(errorCase));
    };
    identity_->removeLoggedUser();
    EXPECT_EQ(dispatch(*bus), failure(Case::idManagerNotReady));
    const auto settings = std::exchange(settings_, nullptr);
    EXPECT_EQ(dispatch(*bus), failure(Case::clientNotInitialized));
    EXPECT_TRUE(session_.requests().empty());
    settings_ = settings;
    identity_->setLoggedUser(UserTokenType::guest, "user");
    EXPECT_EQ(dispatch(*bus), DispatchResult::success());
    EXPECT_EQ(posts().at(0), range(1, 2));
}

TEST_F(EventBusTest, DestructorStoresZerosUnlessReplaced) {
    const auto stored = [] {
        return UserDefaults::current().integers("inicialTimeStamp", "inicialMonotonicValue");
    };
    using Pair = std::pair<std::int64_t, std::int64_t>;
    auto bus = makeBus({});
    EXPECT_EQ(stored(), Pair(1'700'000'000'123, 50'000'000));
    controlTime_.value = 60'000'000;
    auto later = makeBus({});
    bus.reset();
    EXPECT_EQ(stored().second, 60'000'000);
    later.reset();
    EXPECT_EQ(stored(), Pair(0, 0));
    EXPECT_FALSE(ticker_.isRunning());
}

}  // namespace
}  // namespace zentara
