#pragma once

#include <memory>

#include <zentara/ZentaraClient.h>

namespace zentara {

/// What the Objective-C surface needs of the client beyond its interface: exported, because that is
/// a library of its own, but not for applications. Any thread.
struct ZENTARA_EXPORT ZentaraClientAccess {
    /// A client without anything to work with. Events sent through it are answered with
    /// `ZentaraClientNotInitializedError`; operations that work with the shared client do so all
    /// the same, the others do nothing.
    [[nodiscard]] static std::shared_ptr<ZentaraClient> makePlain();

    /// Counts an event whose values could not be handed to `client`, because no JSON value stands
    /// for them; returns what its handler is to receive.
    [[nodiscard]] static ZentaraClientErrorRef refuse(const ZentaraClient& client,
                                                      const std::string& schemaId);

    /// Keeps the shared client by `holder` from now on, which points to it but may own more;
    /// nothing happens when it points to another client.
    static void holdSharedClient(std::shared_ptr<ZentaraClient> holder);
};

}  // namespace zentara
