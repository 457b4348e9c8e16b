#include "dispatch/EventBus.h"

#include <gtest/gtest.h>

#include "dispatch/EventBusError.h"
#include "dispatch/storage/FileStorage.h"
#include "facade/ClientSettingsAccess.h"
#include "identity/ZentaraIDManager.h"
#include "json/JSONText.h"
#include "model/EventDecoder.h"
#include "network/RestClientError.h"
#include "support/Files.h"
#include "support/ManualTicker.h"
#include "support/SampleEvents.h"
#include "support/TestHost.h"
#include "support/TestServer.h"
#include "support/UserDefaults.h"

namespace zentara {
namespace {

using namespace test;
using Numbers = std::vector<std::int64_t>;

struct ManualControlTime final : ControlTimeProtocol {
    std::atomic<std::uint64_t> value = 50'000'000;
    std::uint64_t currentMonotonicValue() const override { return value; }
};

class EventBusTest : public testing::Test {
  protected:
    EventBusTest() {
        TestHost::useServer(server_.url());
        identity_->setLoggedUser(UserTokenType::guest, "of events to come");
    }

    std::shared_ptr<EventBus> makeBus(const std::vector<InternalEvent>& queued) {
        writeTo(host_.file("queue"), fileOf(queued));
        const auto now = [] {
            return ZentaraClock::Date(std::chrono::milliseconds(1'700'000'000'123));
        };
        return EventBus::create(openSampleQueue(Ledger::shared().queue), identity_, "instance",
                                std::make_unique<ManualTicker>(ticker_),
                                {.now = now, .controlTime = &controlTime_});
    }

    static DispatchResult dispatch(EventBus& bus) {
        return valueFrom<DispatchResult>([&](auto done) { bus.dispatch(done); }).value();
    }

    [[nodiscard]] JSONObject envelope(std::size_t request) {
        return parseJSON(server_.requests().at(request).body)->object();
    }

    [[nodiscard]] Numbers actions(std::size_t request) {
        Numbers numbers;
        const auto posted = envelope(request);
        for (const auto& action : posted.at("actions").array())
            numbers.push_back(action.at("zentaraActionSequence").integer());
        return numbers;
    }

    [[nodiscard]] Numbers queued() const {
        return numbersOf(decodeEvents(contentsOf(host_.file("queue"))).events);
    }

    static Numbers range(std::int64_t first, std::int64_t count) {
        return numbersOf(sampleEvents(first, count));
    }

    TestHost host_;
    TestServer server_;
    ManualControlTime controlTime_;
    ManualTicker ticker_;
    std::shared_ptr<IDManager> identity_ = ZentaraIDManager::create(
        "agent", std::make_unique<FileStorage<Token>>("token"), std::make_unique<ManualTicker>());
};

TEST_F(EventBusTest, BatchesGoInOrderAndFailedOnesFirst) {
    const auto bus = makeBus(sampleEvents(1, 12));
    server_.respond(TestAnswer{.status = 503, .headers = {}});
    for (int attempt = 0; attempt < 2; ++attempt) {
        const auto result = dispatch(*bus);
        const auto* error = dynamic_cast<const RestClientError*>(result.error().get());
        ASSERT_NE(error, nullptr);
        EXPECT_EQ(error->statusCode(), 503);
        EXPECT_EQ(queued(), range(1, 12 + attempt));
        bus->enqueue(sampleEvent(13 + attempt), nullptr);
    }
    server_.respond(TestAnswer());
    for (const auto left : {4, 0}) {
        EXPECT_EQ(dispatch(*bus), DispatchResult::success());
        EXPECT_EQ(queued(), range(11, left));
    }
    EXPECT_EQ(dispatch(*bus), DispatchResult::emptyRepository());
    ASSERT_EQ(server_.requests().size(), 4U);
    for (std::size_t request = 0; request < 4; ++request)
        EXPECT_EQ(actions(request), request < 3 ? range(1, 10) : range(11, 4));
}

TEST_F(EventBusTest, PostsAnEnvelopeWithTheIdentityHeaders) {
    const auto bus = makeBus(sampleEvents(1, 2));
    controlTime_.value += 25'009'999;
    EXPECT_EQ(dispatch(*bus), DispatchResult::success());
    const auto request = server_.requests().at(0);
    EXPECT_EQ(request.method + " " + request.target, "POST /event");
    EXPECT_EQ(request.header("Content-Type"), "application/json");
    EXPECT_EQ(request.header("User-Agent"), "agent");
    auto posted = envelope(0);
    EXPECT_EQ(posted.at("actions").array().size(), 2U);
    posted.erase("actions");
    const auto expected = parseJSON(R"({"zentaraClientUUID":"instance",
        "zentaraClientTenant":"tenant","zentaraClientType":"mobile",
        "zentaraClientDeviceGroup":"iOS","zentaraClientTs":1700000002623,
        "zentaraEnvironment":"app","zentaraDispatchNumber":1,"zentaraActionCounter":2})");
    EXPECT_EQ(posted, expected->object());
}

TEST_F(EventBusTest, EachUserGetsAnEnvelopeAndFailsAlone) {
    const StringMap alice{{"type", "GST"}, {"token", "alice"}};
    const StringMap bob{{"type", "GST"}, {"token", "bob"}};
    const StringMap otherAlice{{"type", "QVNID"}, {"token", "alice"}};
    const auto bus = makeBus({sampleEvent(1, alice), sampleEvent(2, bob), sampleEvent(3, alice),
                              sampleEvent(4, otherAlice), sampleEvent(5), sampleEvent(6, {}),
                              sampleEvent(7, bob), sampleEvent(8), sampleEvent(9), sampleEvent(10),
                              sampleEvent(11, bob)});
    server_.respond([&](const RecordedRequest& request) {
        const auto cookie = request.header("Cookie");
        return TestAnswer{.status = cookie == "GST=alice;" ? 401
                                    : cookie == "GST=bob;" ? 503
                                                           : 200};
    });
    auto& ledger = Ledger::shared();
    const Numbers before{ledger.batchesFailed, ledger.batchesDelivered, ledger.delivered};
    const auto result = dispatch(*bus);
    EXPECT_EQ(dynamic_cast<const RestClientError&>(*result.error()).statusCode(), 401);
    const std::pair<Numbers, std::optional<std::string>> expected[] = {
        {{1, 3}, "GST=alice;"},
        {{2, 7}, "GST=bob;"},
        {{4}, "QVNID=alice;"},
        {{5, 8, 9, 10}, {}},
        {{6}, {}},
    };
    ASSERT_EQ(server_.requests().size(), std::size(expected));
    for (std::size_t request = 0; request < std::size(expected); ++request) {
        EXPECT_EQ(actions(request), expected[request].first);
        EXPECT_EQ(server_.requests()[request].header("Cookie"), expected[request].second);
        EXPECT_EQ(envelope(request).at("zentaraDispatchNumber"), request + 1);
    }
    EXPECT_EQ(queued(), (Numbers{1, 2, 3, 7, 11}));
    EXPECT_EQ(ledger.batchesFailed - before[0], 2);
    EXPECT_EQ(ledger.batchesDelivered - before[1], 3);
    EXPECT_EQ(ledger.delivered - before[2], 6);
    EXPECT_EQ(ledger.underWay, 0);
    bus->stopDispatching();
    EXPECT_EQ(dispatch(*bus), DispatchResult::emptyRepository());
    EXPECT_TRUE(isFailing(Component::delivery)) << "the queue is not empty";
}

TEST_F(EventBusTest, AtTheEndWhatIsNotDeliveredIsPutBack) {
    const auto bus = makeBus({sampleEvent(1), sampleEvent(2, {}), sampleEvent(3),
                              sampleEvent(4, {{"type", "GST"}, {"token", "carol"}})});
    server_.respond([&](const RecordedRequest& request) {
        const auto sent = parseJSON(request.body)->at("zentaraDispatchNumber");
        if (sent == 2) bus->stopDispatching();
        return TestAnswer();
    });
    EXPECT_EQ(dispatch(*bus), DispatchResult::emptyRepository());
    EXPECT_EQ(server_.requests().size(), 2U);
    EXPECT_EQ(queued(), (Numbers{2, 4}));
    EXPECT_EQ(Ledger::shared().underWay, 0);
}

TEST_F(EventBusTest, DoesNotTouchTheQueueBeforeItMaySend) {
    const auto bus = makeBus(sampleEvents(1, 2));
    using Case = EventBusError::Case;
    const auto failure = [](Case errorCase) {
        return DispatchResult::failure(std::make_shared<EventBusError>(errorCase));
    };
    identity_->removeLoggedUser();
    EXPECT_EQ(dispatch(*bus), failure(Case::idManagerNotReady));
    ClientSettingsAccess::setCurrent(nullptr);
    EXPECT_EQ(dispatch(*bus), failure(Case::clientNotInitialized));
    EXPECT_TRUE(server_.requests().empty());
    TestHost::configure();
    identity_->setLoggedUser(UserTokenType::guest, "user");
    EXPECT_EQ(dispatch(*bus), DispatchResult::success());
    EXPECT_EQ(actions(0), range(1, 2));
}

TEST_F(EventBusTest, LeavesZerosUnlessALaterBusExists) {
    const UserDefaults defaults;
    auto bus = makeBus({});
    EXPECT_EQ(defaults.integer("inicialTimeStamp"), 1'700'000'000'123);
    EXPECT_EQ(defaults.integer("inicialMonotonicValue"), 50'000'000);
    controlTime_.value = 60'000'000;
    auto later = makeBus({});
    bus.reset();
    EXPECT_EQ(defaults.integer("inicialMonotonicValue"), 60'000'000);
    later.reset();
    EXPECT_EQ(defaults.integer("inicialTimeStamp"), 0);
    EXPECT_EQ(defaults.integer("inicialMonotonicValue"), 0);
    EXPECT_FALSE(ticker_.isRunning());
}

}  // namespace
}  // namespace zentara
