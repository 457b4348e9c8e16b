#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include <zentara/ZentaraClient.h>
#include "dispatch/EventBusProtocol.h"
#include "dispatch/EventRepositoryProtocol.h"
#include "identity/IDManager.h"
#include "model/InternalEvent.h"
#include "schemas/SchemaValidator.h"
#include "schemas/SchemasProvider.h"
#include "support/ClientSettingsAccess.h"
#include "support/Clocks.h"
#include "support/Ledger.h"
#include "support/Mutex.h"
#include "support/UUID.h"
#include "support/UserDefaults.h"

namespace zentara {

/// The client behind its public face: what it holds and how one event goes through it. Hidden,
/// unlike the class that it is nested in.
struct __attribute__((visibility("hidden"))) ZentaraClient::Implementation {
    static constexpr std::string_view anonymousTokenName = "Anonymous";
    static constexpr std::string_view typeName = "EventBus";

    /// What the schemas provider of one client has reported. Written by `report` and `setIsReady`.
    struct Readiness {
        enum class Report { none, failure, success };
        std::atomic<Report> last = Report::none;
        /// There has been a table, or the host has set `isReady` for the client. Another client
        /// may have left `isReady` true: without a table every event would be refused.
        std::atomic<bool> mayValidate = false;
    };

    /// What the client works with; all of it lives as long as the client and its requests.
    struct Collaborators {
        std::shared_ptr<SchemaProviderProtocol> schemasProvider;
        std::shared_ptr<EventBusProtocol> eventBus;
        std::shared_ptr<IDManager> idManager;
        std::shared_ptr<EventRepositoryProtocol> unvalidatedEventsRepository;
        SettingsSource settings;
        Ledger& ledger;
        const ControlTimeProtocol& controlTime;
        /// Null where `isReady` alone decides.
        std::shared_ptr<Readiness> readiness = nullptr;
    };

    explicit Implementation(Collaborators collaborators);

    /// Notes what a client's schemas provider reports. That of the shared client sets `isReady`.
    static void report(Readiness& readiness, Readiness::Report report);

    /// Null where a client has none.
    [[nodiscard]] static Readiness* readinessOf(const ZentaraClient* client) noexcept;

    /// Whether events are validated now, not held back.
    [[nodiscard]] bool validates() const noexcept {
        return isReady() && (!readiness || readiness->mayValidate);
    }

    /// Sends one event on this thread. `referer` is the one to queue; `event` carries none.
    void send(const EventRef& event, const std::string& referer, const SendHandler& handler);

    void newContextId();
    [[nodiscard]] std::string contextId() const;
    void setHsid(std::string hsid);
    void setAdvertisingId(std::optional<std::string> advertisingId);

    // Constant after construction.
    const std::shared_ptr<SchemaProviderProtocol> schemasProvider;
    const std::shared_ptr<EventBusProtocol> eventBus;
    const std::unique_ptr<SchemaValidatorProtocol> schemaValidator;
    const std::shared_ptr<IDManager> idManager;
    const std::shared_ptr<EventRepositoryProtocol> unvalidatedEventsRepository;
    const SettingsSource settings;
    Ledger& ledger;
    const ControlTimeProtocol& controlTime;
    const std::shared_ptr<Readiness> readiness;
    const UserDefaults defaults;
    const std::string extraAttributes;

  private:
    [[nodiscard]] InternalEvent stamp(const Event& event, const std::string& referer,
                                      const ClientSettings& current);
    /// Counts an event that was handed to a queue. One that JSON cannot hold is not in it.
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
    /// What of an event is looked at before it is queued.
    struct Subject {
        std::string_view id;
        std::string_view version;
        const JSONValue& properties;
    };
    /// Null when the event was queued.
    [[nodiscard]] ZentaraClientErrorRef validateAndQueue(const InternalEvent& event,
                                                         const Subject& subject,
                                                         const Tally& tally);
    /// Gives up to `count` held-back events their second chance. The outcome is only counted.
    void revalidate(std::int64_t count) ZENTARA_EXCLUDES(heldBackMutex_);

    /// Held while held-back events are added or moved on, across calls of both repositories. One
    /// for all clients of the process, as they share the queues.
    static inline Mutex heldBackMutex_;
    mutable Mutex mutex_;
    std::string hsid_ ZENTARA_GUARDED_BY(mutex_);
    UUIDText zentaraClientContextID_ ZENTARA_GUARDED_BY(mutex_);
    std::int64_t zentaraActionSequence_ ZENTARA_GUARDED_BY(mutex_) = 0;
    std::atomic<std::int64_t> validTimestamp_ = 0;

    Mutex advertisingMutex_;
};

}  // namespace zentara
