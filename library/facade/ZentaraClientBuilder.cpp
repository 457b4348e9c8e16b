#include "facade/ZentaraClientBuilder.h"

#include <algorithm>
#include <condition_variable>
#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <utility>

#include <zentara/HostApplication.h>
#include <zentara/ZentaraEndpoints.h>
#include "dispatch/EventBus.h"
#include "dispatch/EventsRepository.h"
#include "dispatch/QueueOpening.h"
#include "dispatch/storage/FileStorage.h"
#include "facade/ClientLifecycle.h"
#include "identity/ZentaraIDManager.h"
#include "network/CurlSession.h"
#include "network/URLRequestBuilder.h"
#include "schemas/BundledSchemas.h"
#include "schemas/SchemasProvider.h"
#include "schemas/SchemasServiceApi.h"
#include "support/Ledger.h"
#include "support/Mutex.h"
#include "support/NoDestructor.h"
#include "support/Process.h"
#include "support/UUID.h"
#include "support/threads/Ticker.h"

namespace zentara {

namespace {

std::string userAgent(const std::string& bundleIdentifier, const ClientSettings& settings) {
    const auto device = HostApplication::device();
    auto text = "Mobile App: " + bundleIdentifier + " - " + device.systemName + " " +
                device.systemVersion + " - ZentaraClient " + settings.clientVersion +
                " - Device Model: " + device.hardwareModel;
    // A character that no header can hold would cost the whole header.
    std::replace_if(
        text.begin(), text.end(),
        [](char c) {
            return !isHeaderValue({&c, 1});
        },
        ' ');
    return text;
}

/// The repositories of this process, one per file. A new client shares the queues that an earlier
/// client, or a batch in flight, still uses: two lists on one file would overwrite each other.
/// For the same reason, a queue is opened again only when the one before has been destroyed.
struct Repositories {
    Mutex mutex;
    std::condition_variable_any destroyed;
    std::map<std::filesystem::path, std::weak_ptr<EventsRepository>> byFile
        ZENTARA_GUARDED_BY(mutex);

    static Repositories& shared() {
        static NoDestructor<Repositories> instance;
        return *instance;
    }

    void destroy(EventsRepository* last, const std::filesystem::path& file) {
        delete last;
        const MutexLock lock(mutex);
        byFile.erase(file);
        destroyed.notify_all();
    }
};

std::shared_ptr<EventsRepository> repository(FileSystem& files, const std::string& name,
                                             const QueueOptions& options, Ledger::Queue& counts) {
    auto& all = Repositories::shared();
    const auto file = documentsFile(name);
    const MutexLock lock(all.mutex);
    for (auto known = all.byFile.find(file); known != all.byFile.end();
         known = all.byFile.find(file)) {
        if (auto inUse = known->second.lock()) return inUse;
        all.destroyed.wait(all.mutex);
    }
    const std::shared_ptr<EventsRepository> opened(
        openQueue(files, name, options, counts).release(),
        [&all, file](EventsRepository* last) { all.destroy(last, file); });
    all.byFile.emplace(file, opened);
    return opened;
}

RemoteService service(std::function<URL(ZentaraEnvironment)> baseURL) {
    return {ClientSettings::current, std::move(baseURL),
            RestClient(ZentaraClientBuilder::session())};
}

}  // namespace

URLSession& ZentaraClientBuilder::session() {
    static NoDestructor<CurlSession> session(
        [] { return ZentaraEndpoints::current().certificateAuthorityFile; }, runAtExit);
    return *session;
}

RemoteService ZentaraClientBuilder::collector() {
    return service(ZentaraEndpoints::collector);
}

RemoteService ZentaraClientBuilder::schemasService() {
    return service(ZentaraEndpoints::schemas);
}

ClientQueues ZentaraClientBuilder::queues(FileSystem& files, const std::string& folder,
                                          const ClientSettings& settings,
                                          InternalEventStorageImpl::Scheduler scheduler) {
    auto& ledger = Ledger::shared();
    QueueOptions options{settings.maxEvents, settings.dispatchInterval};
    options.listener = HostFunctions::notifyObserver;
    options.scheduler = std::move(scheduler);
    ClientQueues queues;
    queues.events = repository(files, folder + settings.eventsStorageName, options, ledger.queue);
    options.takenEvents = QueueOptions::TakenEvents::inMemory;
    queues.heldBack = repository(files, folder + settings.unvalidatedEventsStorageName, options,
                                 ledger.heldBackQueue);
    return queues;
}

const std::atomic<bool>& ZentaraClientBuilder::isDeliveryPaused() {
    return ZentaraClient::Implementation::isDeliveryPaused;
}

std::shared_ptr<ZentaraClient> ZentaraClientBuilder::build(
    const ClientSettings& settings, const std::shared_ptr<ReadinessRelay>& relay,
    FileSystem& files) {
    return ClientLifecycle::shared().build(
        files, [&](BuiltClient& parts) { return buildParts(settings, relay, files, parts); });
}

std::shared_ptr<ZentaraClient> ZentaraClientBuilder::buildParts(
    const ClientSettings& settings, const std::shared_ptr<ReadinessRelay>& relay, FileSystem& files,
    BuiltClient& parts) {
    const auto bundleIdentifier = HostApplication::bundleIdentifier();
    auto& ledger = Ledger::shared();
    const auto& controlTime = ControlTime::shared();
    using Report = ClientReadiness::Report;
    const auto readiness = std::make_shared<ClientReadiness>();
    auto schemasProvider = SchemasProvider::create(
        std::make_unique<BundledSchemas>(
            std::make_unique<SchemasStorage>(files, settings.schemasStorageName),
            BundledSchemas::current()),
        std::make_unique<Ticker>(), std::make_unique<SchemasServiceApi>(schemasService()),
        ClientSettings::current, [relay, readiness](ZentaraClientErrorRef error) {
            ZentaraClient::Implementation::report(*readiness,
                                                  error ? Report::failure : Report::success);
            relay->report(std::move(error));
        });
    const auto folder = claimProcessFolder(files, settings.anonymousTokenStorageName);
    const auto tokenName = folder + settings.anonymousTokenStorageName;
    auto idManager = ZentaraIDManager::create(
        {userAgent(bundleIdentifier, settings),
         std::make_unique<FileStorage<Token>>(files, tokenName), std::make_unique<Ticker>(),
         collector(), nullptr, TickerProtocol::Clock::now});
    if (settings.advertisingId) idManager->setAdvertisingId(*settings.advertisingId);
    auto [events, heldBack] = queues(files, folder, settings);
    if (folder.empty()) {
        restoreProcessFolders(files,
                              {{settings.eventsStorageName, *events},
                               {settings.unvalidatedEventsStorageName, *heldBack}},
                              settings.anonymousTokenStorageName);
    }
    auto eventBus =
        EventBus::create({std::move(events), idManager, lowerCaseUUID(), std::make_unique<Ticker>(),
                          collector(), ledger, [] { return ZentaraClock().now(); }, controlTime,
                          isDeliveryPaused(), HostFunctions::notifyObserver});
    runAtExit([bus = std::weak_ptr(eventBus)] {
        if (const auto alive = bus.lock()) alive->stopDispatching();
    });
    parts = {{}, eventBus, idManager, schemasProvider, relay};
    return assemble({.schemasProvider = std::move(schemasProvider),
                     .eventBus = std::move(eventBus),
                     .idManager = std::move(idManager),
                     .unvalidatedEventsRepository = std::move(heldBack),
                     .settings = ClientSettings::current,
                     .ledger = ledger,
                     .controlTime = controlTime,
                     .readiness = readiness});
}

std::shared_ptr<ZentaraClient> ZentaraClientBuilder::assemble(ClientCollaborators collaborators) {
    std::shared_ptr<ZentaraClient> client(new ZentaraClient(
        std::make_unique<ZentaraClient::Implementation>(std::move(collaborators))));
    client->implementation_->with.idManager->start([client](const std::string& hsid) {
        const MutexLock lock(client->implementation_->mutex);
        client->implementation_->hsid = hsid;
    });
    return client;
}

}  // namespace zentara
