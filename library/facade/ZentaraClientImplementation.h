#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include <zentara/ZentaraClient.h>
#include "dispatch/EventBusProtocol.h"
#include "dispatch/EventRepositoryProtocol.h"
#include "dispatch/ReferenceTime.h"
#include "facade/HostFunctions.h"
#include "identity/IDManager.h"
#include "model/InternalEvent.h"
#include "schemas/SchemaValidator.h"
#include "schemas/SchemasProvider.h"
#include "support/ClientSettingsAccess.h"
#include "support/Clocks.h"
#include "support/Ledger.h"
#include "support/Mutex.h"
#include "support/UUID.h"

namespace zentara {

/// What the schemas provider of one client has reported. Written by `report` and `setIsReady`.
struct ClientReadiness {
    enum class Report { none, failure, success };
    std::atomic<Report> last = Report::none;
    /// There has been a table, or the host has set `isReady` for the client. Another client
    /// may have left `isReady` true: without a table every event would be refused.
    std::atomic<bool> mayValidate = false;

    Mutex mutex;
    /// To be run after the first report.
    std::vector<std::function<void()>> waiting ZENTARA_GUARDED_BY(mutex);
};

/// What a client works with. All of it lives as long as the client and its requests.
struct ClientCollaborators {
    std::shared_ptr<SchemaProviderProtocol> schemasProvider;
    std::shared_ptr<EventBusProtocol> eventBus;
    std::shared_ptr<IDManager> idManager;
    std::shared_ptr<EventRepositoryProtocol> unvalidatedEventsRepository;
    SettingsSource settings;
    Ledger& ledger;
    const ControlTimeProtocol& controlTime;
    /// Null where `isReady` alone decides.
    std::shared_ptr<ClientReadiness> readiness = nullptr;
};

/// What a client holds, and how it sends one event. Hidden, unlike the class around it.
struct __attribute__((visibility("hidden"))) ZentaraClient::Implementation {
    using Readiness = ClientReadiness;

    static constexpr std::string_view anonymousTokenName = "Anonymous";

    explicit Implementation(ClientCollaborators collaborators) : with(std::move(collaborators)) {}

    /// Notes a report of a client's schemas provider. The shared client's also sets `isReady`.
    static void report(Readiness& readiness, Readiness::Report report);

    /// Null where a client has none.
    [[nodiscard]] static Readiness* readinessOf(const ZentaraClient* client) noexcept;

    /// Whether events are validated now, not held back.
    [[nodiscard]] bool validates() const noexcept {
        return isReady() && (!with.readiness || with.readiness->mayValidate);
    }

    /// Flushes the queue of `client`, which may be null. The completion is called once, on a
    /// worker, without a lock held, and must not wait.
    static void flush(const std::shared_ptr<ZentaraClient>& client,
                      std::chrono::milliseconds deadline, FlushCallback completion);

    /// The host has paused delivery, in the whole process.
    static inline std::atomic<bool> isDeliveryPaused = false;

    /// Sends one event on this thread, queued with `referer`. `event` carries none.
    void send(const EventRef& event, const std::string& referer, const SendHandler& handler);

    [[nodiscard]] ValidationReport validate(const std::string& id, const std::string& version,
                                            JSONObject properties) const;

    /// Runs `action` after the first report of the schemas if events are held back for it,
    /// otherwise at once.
    void awaitSchemas(std::function<void()> action);

    void setAdvertisingId(std::optional<std::string> advertisingId);

    /// Why events are refused now, counted; null if they are not.
    [[nodiscard]] ZentaraClientErrorRef refusal();

    /// The library was shut down since this client was built.
    std::atomic<bool> isShutDown = false;

    /// Held while held-back events are added or moved, across calls of both repositories. All
    /// clients of the process share the queues, and so this mutex.
    static inline Mutex heldBackMutex;

    Mutex mutex;
    std::string hsid ZENTARA_GUARDED_BY(mutex);
    UUIDText contextId ZENTARA_GUARDED_BY(mutex) = randomUUID();

    // Constant after construction.
    const ClientCollaborators with;
    const std::unique_ptr<SchemaValidatorProtocol> schemaValidator =
        std::make_unique<SchemaValidator>();
    const UserDefaults& defaults = UserDefaults::current();
    const std::string extraAttributes;

  private:
    [[nodiscard]] ZentaraClientErrorRef refuseWithoutConsent();

    /// An event between the call and a queue.
    struct Outgoing {
        const Event& event;
        const std::string& referer;
        const UUIDText& actionUUID;
    };

    /// Stamps the event, then queues it or holds it back. Null when it was queued.
    [[nodiscard]] ZentaraClientErrorRef queueOrHoldBack(const Outgoing& outgoing,
                                                        const ClientSettings& current);
    /// The same for an event that the functions of the host may change or refuse.
    [[nodiscard]] ZentaraClientErrorRef queueByFunctions(const HostFunctions& functions,
                                                         EventRef& event,
                                                         const std::string& referer,
                                                         const ClientSettings& current);
    /// Calls the before-queue function. Null when it queues the event, as it has changed it.
    [[nodiscard]] ZentaraClientErrorRef askBeforeQueue(const BeforeQueue& function,
                                                       OutgoingEvent& outgoing);
    /// Begins a new context if nothing was sent for `timeout`.
    void renewContext(std::chrono::seconds timeout) ZENTARA_EXCLUDES(mutex);
    [[nodiscard]] InternalEvent stamp(const Outgoing& outgoing, const ClientSettings& current)
        ZENTARA_EXCLUDES(mutex);
    /// Counts an event that was handed to a queue, which takes no event that JSON cannot hold.
    void count(const InternalEvent& event, bool isSaved, Ledger::Count& saved,
               Ledger::Count& notSaved);
    [[nodiscard]] ZentaraClientErrorRef holdBack(const InternalEvent& event, const std::string& id);
    /// Where the outcomes of one validation are counted.
    struct Tally {
        Ledger::Count& queued;
        Ledger::Count& notSaved;
        Ledger::Count& invalid;
        Ledger::Count& unknownSchema;
    };
    /// Null when the event was queued.
    [[nodiscard]] ZentaraClientErrorRef validateAndQueue(const InternalEvent& event,
                                                         std::string_view id,
                                                         std::string_view version,
                                                         const JSONValue& properties,
                                                         const Tally& tally);
    /// Validates up to `count` held-back events and queues or drops them. Counts the outcomes.
    /// False when no event was held back.
    bool revalidate(std::int64_t count) ZENTARA_EXCLUDES(heldBackMutex);
    /// The same for one batch. Also false when the schemas are not there.
    [[nodiscard]] bool releaseHeldBack();

    std::int64_t zentaraActionSequence_ ZENTARA_GUARDED_BY(mutex) = 0;
    /// When the last event was stamped, by the monotonic counter.
    std::optional<std::uint64_t> lastSent_ ZENTARA_GUARDED_BY(mutex);
    std::atomic<std::int64_t> validTimestamp_ = 0;

    Mutex advertisingMutex_;
};

}  // namespace zentara
