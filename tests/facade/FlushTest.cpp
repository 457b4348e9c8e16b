#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <zentara/ZentaraClient.h>
#include "support/ClientCalls.h"
#include "support/Services.h"
#include "support/TestHost.h"

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

    static void sendAll(std::int64_t first, std::int64_t count) {
        for (auto n = first; n < first + count; ++n)
            send(*ZentaraClient::sharedClient(), n);
    }

    TestHost host_;
    Services services_;
};

TEST_F(FlushTest, FlushAwaitsTheFirstSchemas) {
    for (const int status : {200, 503}) {
        services_.schemasStatus = status;
        resetClient();
        std::filesystem::remove_all(host_.documents());
        // Shared with the server's threads, which may use them for a moment longer.
        const auto asked = std::make_shared<Signal>();
        const auto mayAnswer = std::make_shared<Signal>();
        services_.beforeAnswering(
            [asked, mayAnswer] {
                asked->notify();
                EXPECT_TRUE(mayAnswer->waitFor());
            },
            "/schemas");
        const auto client = ZentaraClient::get();
        sendAll(1, 23);
        send(*client, {.schemaId = "unknown", .schemaVersion = "1"});
        ASSERT_TRUE(asked->waitFor());
        Mailbox<FlushResult> results;
        ZentaraClient::flush(generousTimeout, [&](const auto& result) { results.put(result); });
        EXPECT_EQ(flush(1ms), (FlushResult{Outcome::deadline, 0, 0, 24, ""}));
        mayAnswer->notify();
        const bool delivers = status == 200;
        EXPECT_EQ(results.waitFor(),
                  (FlushResult{Outcome::empty, delivers ? 23 : 0, 0, delivers ? 0 : 24, ""}));
        services_.beforeAnswering(nullptr, "/schemas");
    }
}

TEST_F(FlushTest, CallbackMayFlush) {
    const auto client = getClient();
    send(*client, 1);
    const auto results = std::make_shared<Mailbox<FlushResult>>();
    ZentaraClient::flush(generousTimeout, [client, results](const auto&) {
        send(*client, 2);
        ZentaraClient::flush(generousTimeout,
                             [results](const auto& result) { results->put(result); });
    });
    EXPECT_EQ(results->waitFor(), (FlushResult{Outcome::empty, 1, 0, 0, ""}));
    EXPECT_EQ(services_.accepted().size(), 2U);
}

TEST_F(FlushTest, RefusedEventsAreRetriedOnDemand) {
    ZentaraClient::useSettings("tenant", ZentaraEnvironment::qa, std::nullopt,
                               {.isolateRefused = true});
    getClient();
    services_.eventStatus = 422;
    sendAll(1, 2);
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
