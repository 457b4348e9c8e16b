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
    [[nodiscard]] static bool isPlain(const ZentaraClient& client) noexcept;

    /// Keeps the shared client by `holder` from now on, which points to it but may own more;
    /// nothing happens when it points to another client.
    static void holdSharedClient(std::shared_ptr<ZentaraClient> holder);
};

}  // namespace zentara
