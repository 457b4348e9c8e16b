#include "facade/ZentaraClientBuilder.h"

#include <algorithm>
#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <utility>

#include <zentara/HostApplication.h>
#include "dispatch/EventBus.h"
#include "dispatch/EventsRepository.h"
#include "dispatch/storage/FileStorage.h"
#include "dispatch/storage/ProcessFolder.h"
#include "dispatch/storage/QueueOpening.h"
#include "dispatch/storage/SchemasStorage.h"
#include "identity/ZentaraIDManager.h"
#include "network/HeaderText.h"
#include "platform/File.h"
#include "schemas/SchemasProvider.h"
#include "schemas/SchemasServiceApi.h"
#include "support/Ledger.h"
#include "support/Mutex.h"
#include "support/NoDestructor.h"
#include "support/UUID.h"
#include "support/threads/Ticker.h"

namespace zentara {

namespace {

std::string userAgent(const std::string& bundleIdentifier, const ClientSettings& settings) {
    const auto device = HostApplication::device();
    auto text = "Mobile App: " + bundleIdentifier + " - " + device.systemName + " " +
                device.systemVersion + " - ZentaraClient " + settings.clientVersion +
                " - Device Model: " + device.hardwareModel;
    // What no header can hold would cost the whole of it.
    std::replace_if(
        text.begin(), text.end(),
        [](char c) {
            return !isHeaderValue({&c, 1});
        },
        ' ');
    return text;
}

/// The repositories of this process, one per file. A client that replaces another one shares the
/// queues that the other, or a batch of its, still uses: two lists on one file would overwrite each
/// other.
struct Repositories {
    Mutex mutex;
    std::map<std::filesystem::path, std::weak_ptr<EventsRepository>> byFile
        ZENTARA_GUARDED_BY(mutex);
};

std::shared_ptr<EventsRepository> repository(const std::string& name, const QueueOptions& options,
                                             Ledger::Queue& counts) {
    static NoDestructor<Repositories> repositories;
    const MutexLock lock(repositories->mutex);
    auto& known = repositories->byFile[documentsFile(name)];
    if (auto inUse = known.lock()) return inUse;
    const std::shared_ptr<EventsRepository> opened = openQueue(name, options, counts);
    known = opened;
    return opened;
}

/// Lets a process with a folder of its own have the identity of the first process.
void copyFile(const std::string& from, const std::string& to) {
    const auto contents = readFile(documentsFile(from));
    // Without it, the collector gives this process an identity of its own.
    if (contents.bytes) {
        static_cast<void>(writeFileAtomically(documentsFile(to), *contents.bytes));
    }
}

}  // namespace

std::shared_ptr<ZentaraClient> ZentaraClientBuilder::build(
    const ClientSettings& settings, const std::shared_ptr<ReadinessRelay>& relay) {
    const auto bundleIdentifier = HostApplication::bundleIdentifier();
    ZentaraClient::Implementation::Collaborators collaborators;
    using Readiness = ZentaraClient::Implementation::Readiness;
    collaborators.readiness = std::make_shared<Readiness>();
    collaborators.schemasProvider = SchemasProvider::create(
        std::make_unique<SchemasStorage>(settings.schemasStorageName), std::make_unique<Ticker>(),
        std::make_unique<SchemasServiceApi>(),
        [relay, readiness = collaborators.readiness](ZentaraClientErrorRef error) {
            ZentaraClient::Implementation::report(
                *readiness, error ? Readiness::Report::failure : Readiness::Report::success);
            relay->report(std::move(error));
        });
    const auto folder = processFolder();
    const auto tokenName = folder + settings.anonymousTokenStorageName;
    if (!folder.empty()) copyFile(settings.anonymousTokenStorageName, tokenName);
    auto idManager = ZentaraIDManager::create(userAgent(bundleIdentifier, settings),
                                              std::make_unique<FileStorage<Token>>(tokenName),
                                              std::make_unique<Ticker>());
    if (settings.advertisingId) idManager->setAdvertisingId(*settings.advertisingId);
    QueueOptions queue{settings.maxEvents, settings.dispatchInterval};
    auto events = repository(folder + settings.eventsStorageName, queue, Ledger::shared().queue);
    queue.takenEvents = QueueOptions::TakenEvents::inMemory;
    auto heldBack = repository(folder + settings.unvalidatedEventsStorageName, queue,
                               Ledger::shared().heldBackQueue);
    if (folder.empty()) {
        takeInProcessFolders({{settings.eventsStorageName, *events},
                              {settings.unvalidatedEventsStorageName, *heldBack}},
                             settings.anonymousTokenStorageName);
    }
    collaborators.unvalidatedEventsRepository = std::move(heldBack);
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
