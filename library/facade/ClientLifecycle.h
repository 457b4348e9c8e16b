#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <zentara/ZentaraClient.h>
#include "dispatch/EventBusProtocol.h"
#include "dispatch/EventRepositoryProtocol.h"
#include "facade/ReadinessRelay.h"
#include "identity/IDManager.h"
#include "platform/FileSystem.h"
#include "schemas/SchemasProvider.h"
#include "support/FailureReporter.h"
#include "support/Mutex.h"

namespace zentara {

/// The parts of a client that was built. They may outlive it for the length of a request.
struct BuiltClient {
    std::weak_ptr<ZentaraClient> client;
    std::weak_ptr<EventBusProtocol> eventBus;
    std::weak_ptr<IDManager> idManager;
    std::weak_ptr<SchemasProvider> schemasProvider;
    std::weak_ptr<ReadinessRelay> readiness;
};

/// What holds for all clients of the process: the user's consent, forgetting the user, and the end
/// of the library's work. Safe for use from any thread. Not for forked children.
///
/// `mutex_` is held for a whole change, with its file writes and the closing of the HTTP session,
/// so that changes follow each other and no client is built in between. It is taken after
/// `SharedState::buildMutex` and before all other locks. No code of the host runs under it, and
/// nothing waits for a callback.
class ClientLifecycle {
  public:
    /// That of the process; never destroyed.
    [[nodiscard]] static ClientLifecycle& shared();

    /// One relaxed load each.
    [[nodiscard]] static Consent consentInForce() noexcept {
        return consent_.load(std::memory_order_relaxed);
    }
    [[nodiscard]] static bool isDenied() noexcept { return consentInForce() == Consent::denied; }

    /// As `ZentaraClient::consent`, for the documents directory in `files`.
    [[nodiscard]] Consent consent(FileSystem& files);
    [[nodiscard]] bool setConsent(Consent consent, FileSystem& files);
    [[nodiscard]] bool forgetUser(FileSystem& files);

    /// Lets `build` build a client under the consent in force.
    [[nodiscard]] std::shared_ptr<ZentaraClient> build(
        FileSystem& files,
        const std::function<std::shared_ptr<ZentaraClient>(BuiltClient&)>& build);

    /// Sets the user of `idManager`, unless consent is denied.
    void setLoggedUser(IDManager& idManager, UserTokenType tokenType, std::string token);

    /// As `ZentaraClient::shutdown`, outside of callbacks.
    [[nodiscard]] FlushResult shutDown(std::chrono::milliseconds deadline);

  private:
    using Clock = std::chrono::steady_clock;

    /// Reads the stored consent, unless it is known, and puts it in force.
    void readConsent(FileSystem& files) ZENTARA_REQUIRES(mutex_);
    /// Opens or closes the HTTP session, and opens the queues again after a denial.
    void putInForce(Consent consent) ZENTARA_REQUIRES(mutex_);
    /// Closes the HTTP session and ends what is under way.
    void interrupt(const char* cause) ZENTARA_REQUIRES(mutex_);
    void resume() ZENTARA_REQUIRES(mutex_);
    /// Removes all that is stored of the user. False if something is left.
    [[nodiscard]] bool removeUserData(FileSystem& files, Admission afterwards)
        ZENTARA_REQUIRES(mutex_);

    /// The clients that exist, in part at least.
    [[nodiscard]] std::vector<BuiltClient> clients() ZENTARA_REQUIRES(mutex_);
    [[nodiscard]] std::vector<BuiltClient> currentClients() ZENTARA_EXCLUDES(mutex_);

    /// False while another thread shuts down.
    [[nodiscard]] bool beginShutDown() ZENTARA_EXCLUDES(shutDownMutex_);
    /// Waits for that until `until`.
    [[nodiscard]] bool hasShutDownEnded(Clock::time_point until) ZENTARA_EXCLUDES(shutDownMutex_);
    [[nodiscard]] FlushResult endWork(std::chrono::milliseconds deadline, Clock::time_point latest);
    static void refuseEvents(const std::vector<BuiltClient>& clients);
    static void stop(const std::vector<BuiltClient>& clients);

    static inline constinit std::atomic<Consent> consent_ = Consent::granted;

    Mutex mutex_;
    /// The folder whose consent is in force; nothing while it could not be read.
    std::optional<std::filesystem::path> folder_ ZENTARA_GUARDED_BY(mutex_);
    /// The queues that were closed by a denial.
    std::vector<std::weak_ptr<EventRepositoryProtocol>> closed_ ZENTARA_GUARDED_BY(mutex_);
    std::vector<BuiltClient> clients_ ZENTARA_GUARDED_BY(mutex_);
    FailureReporter consentFile_{Component::storage, "zentara-consent"};  // synchronises itself

    Mutex shutDownMutex_;
    std::condition_variable_any shutDownEnded_;
    bool isShuttingDown_ ZENTARA_GUARDED_BY(shutDownMutex_) = false;
    FlushResult lastShutDown_ ZENTARA_GUARDED_BY(shutDownMutex_);
};

}  // namespace zentara
