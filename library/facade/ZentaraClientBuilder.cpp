#include "facade/ZentaraClientBuilder.h"

#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <utility>

#include <zentara/HostApplication.h>
#include "dispatch/EventBus.h"
#include "dispatch/EventsRepository.h"
#include "dispatch/FileStorage.h"
#include "dispatch/InternalEventStorageImpl.h"
#include "dispatch/Leftovers.h"
#include "dispatch/SchemasStorage.h"
#include "dispatch/Ticker.h"
#include "dispatch/UnderWayFile.h"
#include "identity/ZentaraIDManager.h"
#include "schemas/SchemasProvider.h"
#include "schemas/SchemasServiceApi.h"
#include "support/Ledger.h"
#include "support/Mutex.h"
#include "support/UUID.h"

namespace zentara {

namespace {

std::string userAgent(const std::string& bundleIdentifier, const ClientSettings& settings) {
    const auto device = HostApplication::device();
    return "Mobile App: " + bundleIdentifier + " - " + device.systemName + " " +
           device.systemVersion + " - ZentaraClient " + settings.clientVersion +
           " - Device Model: " + device.hardwareModel;
}

/// The repositories of this process, one per file. A client that replaces another one shares the
/// queues that the other, or a batch of its, still uses: two lists on one file would overwrite each
/// other.
struct Repositories {
    Mutex mutex;
    std::map<std::filesystem::path, std::weak_ptr<EventsRepository>> byFile
        ZENTARA_GUARDED_BY(mutex);
};

std::shared_ptr<EventsRepository> repository(const std::string& fileName,
                                             const ClientSettings& settings, Ledger::Queue& counts,
                                             std::unique_ptr<UnderWayFile> underWay = nullptr) {
    // Never destroyed: workers use the queues until the process is gone.
    static auto* const repositories = new Repositories;
    const MutexLock lock(repositories->mutex);
    auto& known = repositories->byFile[documentsFile(fileName)];
    if (auto inUse = known.lock()) return inUse;
    auto storage = std::make_unique<InternalEventStorageImpl>(
        fileName, std::chrono::duration<double>(settings.dispatchInterval));
    storage->recover();
    auto created = std::make_shared<EventsRepository>(settings.maxEvents, std::move(storage),
                                                      counts, std::move(underWay));
    takeInLeftovers(*created, documentsFile(fileName));
    known = created;
    return created;
}

}  // namespace

std::shared_ptr<ZentaraClient> ZentaraClientBuilder::build(
    const ClientSettings& settings, const std::shared_ptr<ReadinessRelay>& readiness) {
    const auto bundleIdentifier = HostApplication::bundleIdentifier();
    ZentaraClient::Implementation::Collaborators collaborators;
    collaborators.schemasProvider = SchemasProvider::create(
        std::make_unique<SchemasStorage>(settings.schemasStorageName), std::make_unique<Ticker>(),
        std::make_unique<SchemasServiceApi>(), [readiness](ZentaraClientErrorRef error) {
            ZentaraClient::setIsReady(error == nullptr);
            readiness->report(std::move(error));
        });
    auto idManager = ZentaraIDManager::create(
        userAgent(bundleIdentifier, settings),
        std::make_unique<FileStorage<Token>>(settings.anonymousTokenStorageName),
        std::make_unique<Ticker>());
    if (settings.advertisingId) idManager->setAdvertisingId(*settings.advertisingId);
    auto events = repository(settings.eventsStorageName, settings, Ledger::shared().queue,
                             std::make_unique<UnderWayFile>(settings.eventsStorageName));
    collaborators.unvalidatedEventsRepository =
        repository(settings.unvalidatedEventsStorageName, settings, Ledger::shared().heldBackQueue);
    auto instanceId = lowerCaseUUID();
    collaborators.eventBus = EventBus::create(std::move(events), idManager, std::move(instanceId),
                                              std::make_unique<Ticker>());
    collaborators.clock = [] {
        return ZentaraClock().now();
    };
    collaborators.idManager = std::move(idManager);
    return assemble(std::move(collaborators));
}

std::shared_ptr<ZentaraClient> ZentaraClientBuilder::assemble(
    ZentaraClient::Implementation::Collaborators collaborators) {
    std::shared_ptr<ZentaraClient> client(new ZentaraClient(
        std::make_unique<ZentaraClient::Implementation>(std::move(collaborators))));
    client->implementation_->idManager->start(
        [client](const std::string& hsid) { client->implementation_->setHsid(hsid); });
    client->implementation_->newContextId();
    return client;
}

}  // namespace zentara
