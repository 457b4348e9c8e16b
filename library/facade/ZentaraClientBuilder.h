#pragma once

#include <atomic>
#include <memory>
#include <string>

#include "dispatch/EventsRepository.h"
#include "dispatch/storage/InternalEventStorageImpl.h"
#include "facade/ReadinessRelay.h"
#include "facade/ZentaraClientImplementation.h"
#include "network/RestClient.h"
#include "network/URLSession.h"
#include "platform/FileSystem.h"

namespace zentara {

struct BuiltClient;

/// The queues of a client.
struct ClientQueues {
    std::shared_ptr<EventsRepository> events;
    std::shared_ptr<EventsRepository> heldBack;
};

/// Builds the client and everything that it works with. Only the builder names the network, the
/// settings, the ledger, the clocks and the exit hooks of the process; every other component is
/// given them.
struct ZentaraClientBuilder {
    /// A whole client after `settings`, talking to the network and to the documents directory in
    /// `files`. Its readiness reports go to `relay`, and set `ZentaraClient::isReady` while it is
    /// the shared client or when it becomes the shared client.
    [[nodiscard]] static std::shared_ptr<ZentaraClient> build(
        const ClientSettings& settings, const std::shared_ptr<ReadinessRelay>& relay,
        FileSystem& files = systemFiles());

    /// The queues in `folder` of the documents directory, opened unless they are open. `folder` is
    /// the answer of `claimProcessFolder`. `scheduler` runs the background work on their files.
    [[nodiscard]] static ClientQueues queues(FileSystem& files, const std::string& folder,
                                             const ClientSettings& settings,
                                             InternalEventStorageImpl::Scheduler scheduler =
                                                 InternalEventStorageImpl::defaultScheduler());

    /// What `ZentaraClient::pauseDelivery` has set.
    [[nodiscard]] static const std::atomic<bool>& isDeliveryPaused();

    /// The HTTP session of the process; never destroyed.
    [[nodiscard]] static URLSession& session();

    /// The collector and the schemas service of the process, reached by its one HTTP session.
    [[nodiscard]] static RemoteService collector();
    [[nodiscard]] static RemoteService schemasService();

    /// A client that works with the given collaborators.
    [[nodiscard]] static std::shared_ptr<ZentaraClient> assemble(ClientCollaborators collaborators);

  private:
    [[nodiscard]] static std::shared_ptr<ZentaraClient> buildParts(
        const ClientSettings& settings, const std::shared_ptr<ReadinessRelay>& relay,
        FileSystem& files, BuiltClient& parts);
};

}  // namespace zentara
