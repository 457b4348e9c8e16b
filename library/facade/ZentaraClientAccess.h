#pragma once

#include <memory>
#include <string_view>

#include <zentara/ZentaraClient.h>

namespace zentara {

/// What the Objective-C surface needs of the client beyond its interface. Exported for that
/// library, not for applications. Any thread.
struct ZENTARA_EXPORT ZentaraClientAccess {
    /// A client without collaborators. Events sent through it are refused with
    /// `ZentaraClientNotInitializedError`. Operations on the shared client work as on any client;
    /// the others do nothing.
    [[nodiscard]] static std::shared_ptr<ZentaraClient> makePlain();

    /// As `ZentaraClient::get`, but throws after a shutdown, too.
    [[nodiscard]] static std::shared_ptr<ZentaraClient> getConfigured(
        ZentaraClient::ReadyCallback readyCallback = nullptr);

    /// Counts an event that no JSON value can represent. Returns the error for its handler.
    [[nodiscard]] static ZentaraClientErrorRef refuse(const ZentaraClient& client,
                                                      const std::string& schemaId);

    /// Holds the shared client by `holder` from now on, which points to it and may own more.
    /// Nothing happens if it points to another client.
    static void holdSharedClient(std::shared_ptr<ZentaraClient> holder);

    /// Writes one line to the log, as the library does.
    static void warn(std::string_view line);
    /// Writes one line that names the cause to the log and aborts the process.
    [[noreturn]] static void fail(std::string_view cause) noexcept;
};

}  // namespace zentara
