#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>

#include "support/ChildProcess.h"
#include "support/ClientCalls.h"
#include "support/Files.h"
#include "support/Services.h"
#include "support/TestHost.h"

namespace zentara {
namespace {

using namespace test;
using Outcome = FlushResult::Outcome;
using std::chrono::milliseconds;

class ShutdownTest : public testing::Test {
  protected:
    ShutdownTest() {
        resetClient();
        TestHost::useServer(services_.url());
    }
    ~ShutdownTest() override {
        services_.beforeAnswering(nullptr);
        mayAnswer_.notify();
        ZentaraClient::shutdown(milliseconds(0));
        expectBalanced(ZentaraClient::statistics());
    }

    /// Posts get no answer from now on.
    void hang() {
        services_.beforeAnswering([this] {
            isAsked_.notify();
            EXPECT_TRUE(mayAnswer_.waitFor());
        });
    }

    TestHost host_;
    Signal isAsked_;
    Signal mayAnswer_;
    Services services_;
};

TEST_F(ShutdownTest, DeliversRefusesAndBeginsAnew) {
    const auto client = getClient();
    for (int number = 1; number <= 25; ++number)
        EXPECT_EQ(send(*client, number), "queued");
    EXPECT_EQ(ZentaraClient::shutdown(generousTimeout),
              (FlushResult{Outcome::empty, 25, 0, 0, ""}));
    EXPECT_EQ(services_.accepted().size(), 25U);
    EXPECT_EQ(ZentaraClient::sharedClient(), nullptr);

    const auto next = getClient();
    EXPECT_NE(next, client);
    EXPECT_EQ(send(*next, 27), "queued");
    EXPECT_EQ(send(*client, 28), "Event not queued: the client is shut down");
    EXPECT_EQ(ZentaraClient::shutdown(generousTimeout).delivered, 1);
    EXPECT_EQ(services_.accepted().count(27), 1U);
}

TEST_F(ShutdownTest, NothingOfTheHostIsHeld) {
    const auto held = std::make_shared<int>();
    const auto calls = std::make_shared<Signal>();
    const auto note = [held, calls](const auto&...) {
        calls->notify();
    };
    ZentaraClient::setLogSink(LogLevel::info, [held](const auto&) {});
    ZentaraClient::setBeforeQueue([held](OutgoingEvent&) { return EventDecision::queue; });
    ZentaraClient::setDeliveryObserver([held](const auto&) {});
    const auto ready = std::make_shared<Signal>();
    const auto client = ZentaraClient::get([held, ready](const auto&) { ready->notify(); });
    ASSERT_TRUE(ready->waitFor());
    EXPECT_EQ(fetchHsid(*client), "session");
    hang();
    client->send({.schemaId = "any", .schemaVersion = "1", .properties = {{"n", 1}}}, note);
    client->performFetch(note);
    ASSERT_TRUE(isAsked_.waitFor());
    services_.beforeAnswering([this] { EXPECT_TRUE(mayAnswer_.waitFor()); }, "/id");
    client->getHsid(note);
    ZentaraClient::flush(generousTimeout, note);
    const auto result = ZentaraClient::shutdown(milliseconds(100));
    EXPECT_EQ(result, (FlushResult{Outcome::deadline, 0, 1, 0, ""}));
    EXPECT_EQ(calls->count(), 4U) << "each callback is called once";
    EXPECT_EQ(held.use_count(), 2) << "here and in `note`";
    EXPECT_EQ(ZentaraClient::statistics().inFlight, 0);
}

TEST_F(ShutdownTest, CallbacksCannotShutDown) {
    std::atomic<int> refusals = 0;
    const auto shutDown = [&](const auto&...) {
        const auto result = ZentaraClient::shutdown(generousTimeout);
        EXPECT_EQ(result.outcome, Outcome::refused);
        EXPECT_EQ(result.lastFailure, "shutdown was called by a callback");
        ++refusals;
    };
    /// Its end is the end of a callback.
    const std::shared_ptr<int> last(new int(), [&](const int* number) {
        delete number;
        shutDown();
    });
    ZentaraClient::setBeforeQueue([&](OutgoingEvent&) {
        shutDown();
        return EventDecision::queue;
    });
    const auto client = getClient();
    client->send({.schemaId = "any", .schemaVersion = "1"}, shutDown);
    client->getAnonymousUser(shutDown);
    EXPECT_EQ(refusals, 3);
    ZentaraClient::get(shutDown);
    EXPECT_EQ(refusals, 4);
    fetchHsid(*client);
    ZentaraClient::setDeliveryObserver(shutDown);
    ZentaraClient::setLogSink(LogLevel::info, shutDown);
    EXPECT_EQ(send(*client, 1), "queued");
    client->performFetch(
        [&, own = std::move(const_cast<std::shared_ptr<int>&>(last))](auto) { shutDown(); });
    client->getHsid(shutDown);
    ZentaraClient::flush(generousTimeout, shutDown);
    EXPECT_TRUE(eventually([&] { return refusals >= 10; })) << refusals;
    EXPECT_EQ(ZentaraClient::sharedClient(), client);
    EXPECT_EQ(ZentaraClient::shutdown(generousTimeout).outcome, Outcome::empty);
}

TEST_F(ShutdownTest, WaitsForCallbacksUntilItsDeadline) {
    const auto client = getClient();
    Signal isRunning;
    Signal mayReturn;
    std::atomic<bool> hasReturned = false;
    client->getHsid([&](const auto&) {
        isRunning.notify();
        // A callback that uses the library while it is shut down.
        EXPECT_TRUE(mayReturn.waitFor());
        send(*client, 1);
        static_cast<void>(ZentaraClient::consent());
        hasReturned = true;
    });
    ASSERT_TRUE(isRunning.waitFor());
    const auto begun = std::chrono::steady_clock::now();
    inThreads(3, [](int number) {
        EXPECT_EQ(ZentaraClient::shutdown(milliseconds(20 * number)).outcome, Outcome::deadline);
    });
    EXPECT_LT(std::chrono::steady_clock::now() - begun, std::chrono::seconds(10));
    mayReturn.notify();
    EXPECT_EQ(ZentaraClient::shutdown(generousTimeout).outcome, Outcome::empty);
    EXPECT_TRUE(hasReturned) << "it has waited";
}

TEST_F(ShutdownTest, BesideSendsConsentAndNewClients) {
    inThreads(6, [](int number) {
        std::mt19937 random(static_cast<unsigned>(number));
        for (int i = 0; i < (number < 2 ? 40 : 300); ++i) {
            if (number == 0) {
                static_cast<void>(ZentaraClient::shutdown(milliseconds(i % 4)));
            } else if (number == 1) {
                EXPECT_TRUE(ZentaraClient::setConsent(static_cast<Consent>(random() % 3)));
                EXPECT_TRUE(ZentaraClient::forgetUser());
            } else {
                try {
                    const auto client = ZentaraClient::get();
                    ZentaraClient::setIsReady(random() % 4 != 0);
                    EXPECT_NE(send(*client, i), "") << "the handler was not called";
                    client->performFetch(nullptr);
                    ZentaraClient::flush(milliseconds(5));
                } catch (const ZentaraClientNotConfiguredError&) {
                    // `get` beside a shutdown.
                }
            }
        }
    });
    EXPECT_NE(ZentaraClient::shutdown(generousTimeout).outcome, Outcome::deadline);
    EXPECT_TRUE(eventually([] { return ZentaraClient::statistics().inFlight == 0; }));
    EXPECT_TRUE(ZentaraClient::setConsent(Consent::denied));
    EXPECT_EQ(namesIn(host_.documents()),
              (std::set<std::string>{".zentara-lock", "zentara-consent"}));
    EXPECT_TRUE(ZentaraClient::setConsent(Consent::granted));
}

TEST_F(ShutdownTest, ExitIsNotHeldUp) {
    const TemporaryDirectory folder;
    const auto begun = std::chrono::steady_clock::now();
    ChildProcess host({ZENTARA_CONSENT_HOST, folder.path(), "exit"});
    EXPECT_EQ(host.readLine(), "leaving");
    EXPECT_EQ(host.wait(), 0);
    EXPECT_LT(std::chrono::steady_clock::now() - begun, std::chrono::seconds(20));
}

}  // namespace
}  // namespace zentara
