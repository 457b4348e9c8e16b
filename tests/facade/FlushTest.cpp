#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <zentara/ZentaraClient.h>
#include "support/ClientCalls.h"
#include "support/Services.h"
#include "support/TestHost.h"
#include "support/threads/CallbackScope.h"

namespace zentara {
namespace {

using namespace test;
using namespace std::chrono_literals;
using Outcome = FlushResult::Outcome;

class FlushTest : public testing::Test {
  protected:
    FlushTest() {
        resetClient();
        TestHost::useServer(services_.url());
    }
    ~FlushTest() override {
        resetClient();
        expectBalanced(ZentaraClient::statistics());
    }

    static FlushResult flush(std::chrono::milliseconds deadline = generousTimeout) {
        return valueFrom<FlushResult>(
                   [&](auto done) { ZentaraClient::flush(deadline, std::move(done)); })
            .value();
    }

    static void send(std::int64_t first, std::int64_t count, const char* schema = "any") {
        for (auto n = first; n < first + count; ++n) {
            ZentaraClient::sharedClient()->send(schema, "1", "application/json", "https://a.test/b",
                                                "", {{"n", n}}, std::nullopt, nullptr);
        }
    }

    TestHost host_;
    Services services_;
};

TEST_F(FlushTest, FlushDeliversHeldBackAndQueuedEvents) {
    services_.schemasStatus = 503;
    getClient();
    send(1, 23);
    send(100, 2, "unknown");
    EXPECT_EQ(flush(), (FlushResult{Outcome::empty, 0, 0, 25, ""}));
    resetClient();
    services_.schemasStatus = 200;
    getClient();
    EXPECT_EQ(flush(), (FlushResult{Outcome::empty, 23, 0, 0, ""}));
    EXPECT_EQ(services_.accepted().size(), 23U);
    EXPECT_THAT(services_.accepted(), testing::Each(testing::Pair(testing::_, 1)));
    EXPECT_EQ(ZentaraClient::statistics().droppedUnknownSchema, 2);
}

TEST_F(FlushTest, FlushAwaitsTheFirstSchemas) {
    for (const int status : {200, 503}) {
        services_.schemasStatus = status;
        resetClient();
        std::filesystem::remove_all(host_.documents());
        Signal asked;
        Signal mayAnswer;
        services_.beforeAnswering(
            [&] {
                asked.notify();
                EXPECT_TRUE(mayAnswer.waitFor());
            },
            "/schemas");
        const auto client = ZentaraClient::get();
        send(1, 3);
        ASSERT_TRUE(asked.waitFor());
        Mailbox<FlushResult> results;
        ZentaraClient::flush(generousTimeout, [&](const auto& result) { results.put(result); });
        EXPECT_EQ(flush(1ms), (FlushResult{Outcome::deadline, 0, 0, 3, ""}));
        mayAnswer.notify();
        const bool delivers = status == 200;
        EXPECT_EQ(results.waitFor(),
                  (FlushResult{Outcome::empty, delivers ? 3 : 0, 0, delivers ? 0 : 3, ""}));
        services_.beforeAnswering(nullptr, "/schemas");
    }
}

TEST_F(FlushTest, FlushSaysWhyNothingIsDelivered) {
    EXPECT_EQ(flush(), (FlushResult{Outcome::failed, 0, 0, 0, "there is no client"}));
    services_.idStatus = 500;
    getClient();
    send(1, 12);
    EXPECT_EQ(flush(), (FlushResult{Outcome::failed, 0, 12, 0, "there is no identity yet"}));
    services_.idStatus = 200;
    services_.eventStatus = 503;
    // A fetch that began while the service failed may be under way.
    while (fetchHsid(*ZentaraClient::sharedClient()) == "") {
    }
    EXPECT_EQ(flush(), (FlushResult{Outcome::failed, 0, 12, 0, "unexpected HTTP status 503"}));
    services_.eventStatus = 200;
    ZentaraClient::pauseDelivery();
    EXPECT_EQ(flush(), (FlushResult{Outcome::failed, 0, 12, 0, "delivery is paused"}));
    EXPECT_EQ(fetch(*ZentaraClient::sharedClient()), BackgroundFetchResult::failed);
    ZentaraClient::resumeDelivery();
    EXPECT_EQ(flush(), (FlushResult{Outcome::empty, 12, 0, 0, ""}));
}

TEST_F(FlushTest, DeadlineInterruptsNoBatch) {
    getClient();
    ASSERT_EQ(flush().outcome, Outcome::empty);
    send(1, 15);
    const auto asked = std::make_shared<Signal>();
    const auto release = std::make_shared<Signal>();
    services_.beforeAnswering([asked, release] {
        asked->notify();
        EXPECT_TRUE(release->waitFor());
    });
    const auto result = flush(50ms);
    EXPECT_EQ(result, (FlushResult{Outcome::deadline, 0, 15, 0, ""}));
    ASSERT_TRUE(asked->waitFor());
    release->notify();
    EXPECT_EQ(flush(), (FlushResult{Outcome::empty, 15, 0, 0, ""}));
    EXPECT_EQ(services_.requests("/event").size(), 2U);
}

TEST_F(FlushTest, FlushWorksInsideCallbacks) {
    const auto results = std::make_shared<Mailbox<std::pair<Outcome, bool>>>();
    const auto note = [results](const FlushResult& result) {
        results->put({result.outcome, CallbackScope::isInside()});
    };
    getClient()->send("any", "1", "application/json", "https://a.test/b", "", {{"n", 1}},
                      std::nullopt, [&](const EventRef&, const ZentaraClientErrorRef&) {
                          ZentaraClient::flush(generousTimeout, [note](const FlushResult& result) {
                              note(result);
                              send(2, 1);
                              ZentaraClient::flush(generousTimeout, note);
                          });
                      });
    EXPECT_EQ(results->waitFor(0), std::pair(Outcome::empty, true));
    EXPECT_EQ(results->waitFor(1), std::pair(Outcome::empty, true));
    EXPECT_EQ(services_.accepted().size(), 2U);
    ZentaraClient::flush(generousTimeout);
}

TEST_F(FlushTest, RefusedEventsAreRetriedOnDemand) {
    ClientSettings settings;
    settings.tenant = "tenant";
    settings.environment = ZentaraEnvironment::qa;
    settings.delivery.isolateRefused = true;
    ClientSettingsAccess::setCurrent(std::make_shared<ClientSettings>(settings));
    getClient();
    services_.eventStatus = 422;
    send(1, 2);
    EXPECT_EQ(flush().waiting, 2);
    EXPECT_EQ(ZentaraClient::statistics().passedOver, 2);
    services_.eventStatus = 200;
    EXPECT_EQ(flush().waiting, 2);
    ZentaraClient::retryRefused();
    EXPECT_EQ(ZentaraClient::statistics().passedOver, 0);
    EXPECT_EQ(flush(), (FlushResult{Outcome::empty, 2, 0, 0, ""}));
}

}  // namespace
}  // namespace zentara
