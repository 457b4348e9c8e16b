#include <gtest/gtest.h>

#include <cmath>

#include "dispatch/EventBus.h"
#include "dispatch/EventsRepository.h"
#include "dispatch/FileStorage.h"
#include "dispatch/SchemasStorage.h"
#include "facade/ZentaraClientBuilder.h"
#include "identity/ZentaraIDManager.h"
#include "schemas/SchemasProvider.h"
#include "schemas/SchemasServiceApi.h"
#include "support/Books.h"
#include "support/Files.h"
#include "support/ManualTicker.h"
#include "support/MemoryEventStorage.h"
#include "support/RawServer.h"
#include "support/SampleEvents.h"
#include "support/TestHost.h"
#include "support/WaitFor.h"

namespace zentara {
namespace {

using namespace test;

/// All services in one. While it is down it hangs up on everybody, after the test has had a look
/// in the case of "/id".
class Services {
  public:
    std::atomic<bool> isDown = true;
    std::atomic<int> connections = 0;
    Signal lookedAtId;

    [[nodiscard]] URL url() const { return server_.url(); }

  private:
    void serve(RawConnection& connection) {
        ++connections;
        const auto request = connection.readRequest().value_or("");
        const bool isId = request.starts_with("GET /id ");
        if (isDown) {
            if (isId && !lookedAtId.waitFor(++idRequests_)) ADD_FAILURE() << "nobody looked";
            return;
        }
        const std::string body =
            isId ? R"({"qvn_uid":"secret2","qvn_uid_public":"p","hsid":"secret3"})"
                 : R"({"any-1":{}})";
        connection.send("HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(body.size()) +
                        "\r\n\r\n" + body);
    }

    std::atomic<std::size_t> idRequests_ = 0;
    RawServer server_{[this](RawConnection& connection) {
        serve(connection);
    }};
};

TEST(OutageTest, AnHourWithoutACollectorCostsTheRequestsOfItsTicksAndNoEvent) {
    const TestHost host;
    Services services;
    TestHost::useServer(services.url());
    writeTo(host.file("token"), R"([{"type":"qvn_uid","value":"secret1","publicValue":"p"}])");
    const auto reports = std::make_shared<Mailbox<bool>>();
    const auto disk = std::make_shared<MemoryDisk>();
    disk->events = sampleEvents(1, 25);
    const TickerView schemas{};
    const TickerView identity{};
    const TickerView dispatch{};

    ZentaraClient::setIsReady(false);
    const auto before = ZentaraClient::statistics();

    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    auto provider = SchemasProvider::create(
        std::make_unique<SchemasStorage>("schemas"), std::make_unique<ManualTicker>(schemas),
        std::make_unique<SchemasServiceApi>(), [reports](const ZentaraClientErrorRef& error) {
            ZentaraClient::setIsReady(error == nullptr);
            reports->put(error == nullptr);
        });
    const auto idManager =
        ZentaraIDManager::create("agent", std::make_unique<FileStorage<Token>>("token"),
                                 std::make_unique<ManualTicker>(identity));
    auto bus = EventBus::create(
        std::make_shared<EventsRepository>(8000, std::make_unique<MemoryEventStorage>(disk)),
        idManager, "instance", std::make_unique<ManualTicker>(dispatch));
    const auto client = ZentaraClientBuilder::assemble({
        .schemasProvider = std::move(provider),
        .eventBus = std::move(bus),
        .clock = [] { return ZentaraClock().now(); },
        .idManager = idManager,
        .unvalidatedEventsRepository = std::make_shared<EventsRepository>(
            8000, std::make_unique<MemoryEventStorage>(std::make_shared<MemoryDisk>()),
            Ledger::shared().heldBackQueue),
    });
    idManager->setLoggedUser(UserTokenType::guest, "secret4");
    const auto send = [&] {
        client->send("any", "1", "text/plain", "url", "", {{"n", 1}}, std::nullopt, nullptr);
    };

    std::map<const TickerView*, int> ticks;
    auto failedBatches = before.batchesFailed;
    for (int second = 0; second < 3600; ++second) {
        for (const TickerView* const ticker : {&schemas, &identity, &dispatch}) {
            const auto interval = ticker->runningInterval();
            ASSERT_TRUE(interval);
            if (std::fmod(second, *interval) != 0) continue;
            ++ticks[ticker];
            ticker->fire();
            if (ticker == &identity) {
                const auto told = std::make_shared<Signal>();
                idManager->start([told](const std::string&) { told->notify(); });
                services.lookedAtId.notify();
                ASSERT_TRUE(told->waitFor());
            } else if (ticker == &schemas) {
                const auto attempt = static_cast<std::size_t>(ticks[ticker] - 1);
                ASSERT_EQ(reports->waitFor(attempt), false);
            } else {
                ++failedBatches;
                ASSERT_TRUE(eventually(
                    [&] { return ZentaraClient::statistics().batchesFailed == failedBatches; }));
            }
        }
        if (second % 60 == 0) send();
    }
    EXPECT_EQ(ticks[&schemas], 360);
    EXPECT_EQ(ticks[&identity], 720);
    EXPECT_EQ(ticks[&dispatch], 360);
    EXPECT_EQ(services.connections, 360 + 720 + 360);
    expectBalanced(ZentaraClient::statistics());
    EXPECT_EQ(ZentaraClient::statistics().heldBackWaiting - before.heldBackWaiting, 60);

    services.isDown = false;
    schemas.fire();
    identity.fire();
    ASSERT_EQ(reports->waitFor(360), true);
    EXPECT_TRUE(eventually([&] { return !schemas.isRunning() && !identity.isRunning(); }));
    for (int i = 0; i < 6; ++i)
        send();
    auto deliveredBatches = before.batchesDelivered;
    while (ZentaraClient::statistics().waiting > before.waiting) {
        dispatch.fire();
        ++deliveredBatches;
        ASSERT_TRUE(eventually(
            [&] { return ZentaraClient::statistics().batchesDelivered == deliveredBatches; }));
    }
    const auto books = ZentaraClient::statistics();
    expectBalanced(books);
    EXPECT_EQ(books.delivered - before.delivered, 25 + 60 + 6);
    const std::string output =
        testing::internal::GetCapturedStdout() + testing::internal::GetCapturedStderr();
    EXPECT_NE(output.find("Event queued to be sent later: any."), std::string::npos);
    EXPECT_EQ(output.find("secret"), std::string::npos) << output;
}

}  // namespace
}  // namespace zentara
