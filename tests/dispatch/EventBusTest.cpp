#include "dispatch/EventBus.h"

#include <gtest/gtest.h>

#include <map>

#include "dispatch/EventBusError.h"
#include "dispatch/EventsRepository.h"
#include "facade/ClientSettingsAccess.h"
#include "identity/IDManager.h"
#include "model/JSONText.h"
#include "model/ZentaraEnvelope.h"
#include "network/RestClientError.h"
#include "platform/UserDefaults.h"
#include "support/ManualTicker.h"
#include "support/MemoryEventStorage.h"
#include "support/SampleEvents.h"
#include "support/TestHost.h"
#include "support/TestServer.h"

namespace zentara {
namespace {

using namespace test;
using Numbers = std::vector<std::int64_t>;

struct FixedIdentity final : IDManager {
    std::atomic<bool> ready = true;

    bool isReady() const override { return ready; }
    StringMap getHeaders(const std::optional<ExtraCookie>& extra) const override {
        return {{"User-Agent", "agent"},
                {"Cookie", "id=1;" + (extra ? extra->name + "=" + extra->value + ";" : "")}};
    }
    void setLoggedUser(UserTokenType, std::string) override {}
    void removeLoggedUser() override {}
    std::optional<LoggedUser> getLoggedUser() const override { return std::nullopt; }
    void loadAnonymousToken(const TokenCompletion&) const override {}
    void setAdvertisingId(std::string) override {}
    void removeAdvertisingId() override {}
    void start(HsidCompletion) override {}
};

struct ManualControlTime final : ControlTimeProtocol {
    std::atomic<std::uint64_t> value = 50'000'000;
    std::uint64_t currentMonotonicValue() const override { return value; }
};

class EventBusTest : public testing::Test {
  protected:
    EventBusTest() { TestHost::useServer(server_.url()); }

    std::shared_ptr<EventBus> makeBus(const std::vector<InternalEvent>& queued) {
        disk_->events = queued;
        EventBus::Clocks clocks;
        clocks.now = [] {
            return ZentaraClock::Date(std::chrono::milliseconds(1'700'000'000'123));
        };
        clocks.controlTime = &controlTime_;
        return EventBus::create(
            std::make_unique<EventsRepository>(8000, std::make_unique<MemoryEventStorage>(disk_)),
            identity_, "instance", std::make_unique<ManualTicker>(ticker_), clocks);
    }

    static DispatchResult dispatch(EventBus& bus) {
        const auto results = std::make_shared<Mailbox<DispatchResult>>();
        bus.dispatch([results](const DispatchResult& result) { results->put(result); });
        auto result = results->waitFor();
        EXPECT_TRUE(result);
        return result.value_or(DispatchResult::failure(nullptr));
    }

    [[nodiscard]] JSONObject envelope(std::size_t request) {
        const auto received = server_.waitForRequest(request);
        if (!received) return {};
        return parseJSON(received->body).value.get_object();
    }

    [[nodiscard]] Numbers actions(std::size_t request) {
        Numbers numbers;
        const auto posted = envelope(request);
        for (const auto& action : posted.at("actions").as_array()) {
            numbers.push_back(action.at("zentaraActionSequence").as_int64());
        }
        return numbers;
    }

    static Numbers range(std::int64_t first, std::int64_t count) {
        return numbersOf(sampleEvents(first, count));
    }

    TestHost host_;
    TestServer server_;
    ManualControlTime controlTime_;
    TickerView ticker_;
    std::shared_ptr<FixedIdentity> identity_ = std::make_shared<FixedIdentity>();
    std::shared_ptr<MemoryDisk> disk_ = std::make_shared<MemoryDisk>();
};

TEST_F(EventBusTest, SendsTheQueueInOrderInBatchesOfTen) {
    const auto bus = makeBus(sampleEvents(1, 25));
    for (int batch = 0; batch < 3; ++batch) {
        EXPECT_EQ(dispatch(*bus), DispatchResult::success());
        EXPECT_EQ(numbersOf(disk_->events), range(batch * 10 + 11, std::max(0, 15 - batch * 10)))
            << "delivered events leave the file";
    }
    EXPECT_EQ(dispatch(*bus), DispatchResult::emptyRepository());
    EXPECT_EQ(server_.requests().size(), 3U);
    EXPECT_EQ(actions(0), range(1, 10));
    EXPECT_EQ(actions(1), range(11, 10));
    EXPECT_EQ(actions(2), range(21, 5));
}

TEST_F(EventBusTest, PostsAnEnvelopeWithTheIdentityHeaders) {
    const auto bus = makeBus(sampleEvents(1, 2));
    controlTime_.value += 25'009'999;
    EXPECT_EQ(dispatch(*bus), DispatchResult::success());
    const auto request = server_.requests().at(0);
    EXPECT_EQ(request.method, "POST");
    EXPECT_EQ(request.target, "/event");
    EXPECT_EQ(request.header("Content-Type"), "application/json");
    EXPECT_EQ(request.header("User-Agent"), "agent");
    EXPECT_EQ(request.header("Cookie"), "id=1;");
    auto posted = envelope(0);
    EXPECT_EQ(posted.at("actions").as_array().size(), 2U);
    EXPECT_FALSE(posted.at("actions").at(0).as_object().contains("user"));
    posted.erase("actions");
    const JSONObject expected{
        {"zentaraClientUUID", "instance"},
        {"zentaraClientTenant", "tenant"},
        {"zentaraClientType", "mobile"},
        {"zentaraClientDeviceGroup", "iOS"},
        {"zentaraClientTs", 1'700'000'000'123 + 2500},
        {"zentaraEnvironment", "app"},
        {"zentaraDispatchNumber", 1},
        {"zentaraActionCounter", 2},
    };
    EXPECT_EQ(posted, expected);
}

TEST_F(EventBusTest, AFailedBatchReturnsAheadOfNewerEvents) {
    const auto bus = makeBus(sampleEvents(1, 12));
    TestAnswer unavailable;
    unavailable.status = 503;
    server_.respond(unavailable);
    for (int attempt = 0; attempt < 2; ++attempt) {
        const auto result = dispatch(*bus);
        ASSERT_EQ(result.kind(), DispatchResult::Kind::failure);
        const auto* error = dynamic_cast<const RestClientError*>(result.error().get());
        ASSERT_NE(error, nullptr);
        EXPECT_EQ(error->statusCode(), 503);
        EXPECT_EQ(numbersOf(disk_->events), range(1, 12 + attempt));
        bus->enqueue(sampleEvent(13 + attempt), nullptr);
    }
    server_.respond(TestAnswer());
    EXPECT_EQ(dispatch(*bus), DispatchResult::success());
    for (std::size_t request = 0; request < 3; ++request) {
        EXPECT_EQ(actions(request), range(1, 10));
        EXPECT_EQ(envelope(request).at("zentaraDispatchNumber").as_int64(),
                  static_cast<std::int64_t>(request) + 1);
    }
}

TEST_F(EventBusTest, AnEnvelopeSpeaksForTheUserOfTheOldestEvent) {
    const StringMap alice{{"type", "GST"}, {"token", "alice"}};
    const StringMap bob{{"type", "GST"}, {"token", "bob"}};
    const StringMap otherAlice{{"type", "QVNID"}, {"token", "alice"}};
    const auto bus = makeBus({sampleEvent(1, alice), sampleEvent(2, bob), sampleEvent(3, alice),
                              sampleEvent(4, otherAlice), sampleEvent(5), sampleEvent(6, {}),
                              sampleEvent(7, bob)});
    struct Expected {
        Numbers actions;
        const char* cookie;
    };
    const Expected expected[] = {
        {{1, 3}, "id=1;GST=alice;"},
        {{2, 7}, "id=1;GST=bob;"},
        {{4}, "id=1;QVNID=alice;"},
        {{5}, "id=1;"},
        {{6}, "id=1;"},
    };
    std::size_t request = 0;
    for (const auto& [numbers, cookie] : expected) {
        EXPECT_EQ(dispatch(*bus), DispatchResult::success());
        EXPECT_EQ(actions(request), numbers);
        EXPECT_EQ(server_.requests().at(request).header("Cookie"), cookie);
        ++request;
    }
    EXPECT_EQ(dispatch(*bus), DispatchResult::emptyRepository());
}

TEST_F(EventBusTest, DoesNotTouchTheQueueBeforeItMaySend) {
    const auto bus = makeBus(sampleEvents(1, 2));
    identity_->ready = false;
    EXPECT_EQ(dispatch(*bus), DispatchResult::failure(std::make_shared<EventBusError>(
                                  EventBusError::Case::idManagerNotReady)));
    ClientSettingsAccess::setCurrent(nullptr);
    EXPECT_EQ(dispatch(*bus), DispatchResult::failure(std::make_shared<EventBusError>(
                                  EventBusError::Case::clientNotInitialized)));
    EXPECT_TRUE(server_.requests().empty());
    TestHost::configure();
    identity_->ready = true;
    EXPECT_EQ(dispatch(*bus), DispatchResult::success());
    EXPECT_EQ(actions(0), range(1, 2));
}

TEST_F(EventBusTest, TheTickerDispatchesAndIsStartedOnce) {
    const auto bus = makeBus(sampleEvents(1, 12));
    EXPECT_EQ(ticker_.runningInterval(), 10.0);
    bus->startTicking();
    EXPECT_EQ(ticker_.starts(), 1);
    ticker_.fire();
    EXPECT_EQ(actions(0), range(1, 10));
}

TEST_F(EventBusTest, ReportsAnEventThatCouldNotBeStored) {
    const auto bus = makeBus({});
    disk_->isBroken = true;
    ErrorRef error;
    bus->enqueue(sampleEvent(1), [&](const ErrorRef& reported) { error = reported; });
    const auto* busError = dynamic_cast<const EventBusError*>(error.get());
    ASSERT_NE(busError, nullptr);
    EXPECT_EQ(busError->errorCase(), EventBusError::Case::enqueueError);
}

TEST_F(EventBusTest, LeavesZerosUnlessALaterBusHasTakenItsReference) {
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
