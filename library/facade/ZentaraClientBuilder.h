#pragma once

#include <memory>

#include "facade/ReadinessRelay.h"
#include "facade/ZentaraClientImplementation.h"

namespace zentara {

/// Builds the client and everything that it works with.
struct ZentaraClientBuilder {
    /// A whole client after `settings`, talking to the network and to the files of the documents
    /// directory. Its readiness reports go to `relay`. They set `ZentaraClient::isReady` while it
    /// is the shared client, or when it becomes that.
    [[nodiscard]] static std::shared_ptr<ZentaraClient> build(
        const ClientSettings& settings, const std::shared_ptr<ReadinessRelay>& relay);

    /// A client that works with the given collaborators.
    [[nodiscard]] static std::shared_ptr<ZentaraClient> assemble(
        ZentaraClient::Implementation::Collaborators collaborators);
};

}  // namespace zentara
