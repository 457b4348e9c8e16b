#include "DrivenClient.h"

#include <utility>

#include <zentara/ClientSettings.h>
#include "dispatch/EventBus.h"
#include "dispatch/storage/FileStorage.h"
#include "facade/ClientLifecycle.h"
#include "facade/HostFunctions.h"
#include "facade/ZentaraClientImplementation.h"
#include "identity/ZentaraIDManager.h"
#include "schemas/SchemasProvider.h"
#include "support/Ledger.h"
#include "support/UUID.h"

namespace zentara::soak {

namespace {

constexpr std::chrono::seconds interval{10};
constexpr std::uint64_t ticksOfASecond = 10'000'000;

}  // namespace

DrivenClient::DrivenClient(FileSystem& files) : files_(files) {
    queues_ =
        ZentaraClientBuilder::queues(files_, "", *ClientSettings::current(),
                                     [deferred = deferred_](auto, std::function<void()> work) {
                                         const MutexLock lock(deferred->mutex);
                                         deferred->work.push_back(std::move(work));
                                     });
}

void DrivenClient::renew() {
    ZentaraClient::setIsReady(false);
    tickers_.clear();
    const auto ticker = [this] {
        return std::make_unique<test::ManualTicker>(tickers_.emplace_back());
    };
    auto schemas = SchemasProvider::create(
        std::make_unique<SchemasStorage>(files_, ClientSettings().schemasStorageName), ticker(),
        std::make_unique<SchemasServiceApi>(ZentaraClientBuilder::schemasService()),
        ClientSettings::current,
        [](const ZentaraClientErrorRef& error) { ZentaraClient::setIsReady(error == nullptr); });
    auto idManager = ZentaraIDManager::create(
        {"soak",
         std::make_unique<FileStorage<Token>>(files_, ClientSettings().anonymousTokenStorageName),
         ticker(), ZentaraClientBuilder::collector(), nullptr, TickerProtocol::Clock::now});
    const auto clock = [this] {
        return std::chrono::system_clock::time_point(timePassed());
    };
    auto bus =
        EventBus::create({queues_.events, idManager, lowerCaseUUID(), ticker(),
                          ZentaraClientBuilder::collector(), Ledger::shared(), clock, time_,
                          ZentaraClientBuilder::isDeliveryPaused(), HostFunctions::notifyObserver});
    client_ = ClientLifecycle::shared().build(files_, [&](BuiltClient& parts) {
        parts = {{}, bus, idManager, schemas, {}};
        return ZentaraClientBuilder::assemble({.schemasProvider = std::move(schemas),
                                               .eventBus = std::move(bus),
                                               .idManager = std::move(idManager),
                                               .unvalidatedEventsRepository = queues_.heldBack,
                                               .settings = ClientSettings::current,
                                               .ledger = Ledger::shared(),
                                               .controlTime = time_});
    });
    ZentaraClient::setSharedClient(client_);
    for (const auto& each : tickers_)
        each.fire();
}

void DrivenClient::passInterval() {
    time_.ticks += interval.count() * ticksOfASecond;
    for (const auto& ticker : tickers_)
        ticker.fire();
    std::vector<std::function<void()>> work;
    {
        const MutexLock lock(deferred_->mutex);
        work.swap(deferred_->work);
    }
    for (const auto& each : work)
        each();
}

std::chrono::seconds DrivenClient::timePassed() const {
    return std::chrono::seconds(time_.ticks / ticksOfASecond);
}

}  // namespace zentara::soak
