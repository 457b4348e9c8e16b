#pragma once

#include <memory>

#include "facade/ReadinessRelay.h"
#include "facade/ZentaraClientImplementation.h"

namespace zentara {

/// Builds the client and everything that it works with.
struct ZentaraClientBuilder {
    /// A whole client after `settings`, talking to the network and to the files of the documents
    /// directory. Readiness reports set `ZentaraClient::isReady` and go to `readiness`.
    [[nodiscard]] static std::shared_ptr<ZentaraClient> build(
        const ClientSettings& settings, const std::shared_ptr<ReadinessRelay>& readiness);

    /// A client that works with the given collaborators.
    [[nodiscard]] static std::shared_ptr<ZentaraClient> assemble(
        ZentaraClient::Implementation::Collaborators collaborators);
};

}  // namespace zentara
