#include "facade/ZentaraClientImplementation.h"

#include <limits>
#include <utility>

#include "model/EventAccess.h"
#include "support/Diagnostics.h"
#include "support/ReferenceTime.h"
#include "support/UUID.h"

namespace zentara {

ZentaraClient::Implementation::Implementation(Collaborators collaborators)
    : schemasProvider(std::move(collaborators.schemasProvider)),
      eventBus(std::move(collaborators.eventBus)),
      schemaValidator(std::make_unique<SchemaValidator>()),
      idManager(std::move(collaborators.idManager)),
      unvalidatedEventsRepository(std::move(collaborators.unvalidatedEventsRepository)),
      settings(std::move(collaborators.settings)),
      ledger(collaborators.ledger),
      controlTime(collaborators.controlTime),
      readiness(std::move(collaborators.readiness)),
      zentaraClientContextID_(randomUUID()) {}

void ZentaraClient::Implementation::newContextId() {
    const auto contextId = randomUUID();
    const MutexLock lock(mutex_);
    zentaraClientContextID_ = contextId;
}

std::string ZentaraClient::Implementation::contextId() const {
    const MutexLock lock(mutex_);
    return std::string(zentaraClientContextID_.text());
}

void ZentaraClient::Implementation::setAdvertisingId(std::optional<std::string> advertisingId) {
    // One change at a time, or the settings and the identity manager could end up apart.
    const MutexLock lock(advertisingMutex_);
    if (!ClientSettingsAccess::setAdvertisingId(advertisingId)) return;
    if (advertisingId) {
        idManager->setAdvertisingId(*std::move(advertisingId));
    } else {
        idManager->removeAdvertisingId();
    }
}

void ZentaraClient::Implementation::setHsid(std::string hsid) {
    const MutexLock lock(mutex_);
    hsid_ = std::move(hsid);
}

void ZentaraClient::Implementation::send(const EventRef& event, const std::string& referer,
                                         const SendHandler& handler) {
    const auto report = [&](ZentaraClientErrorRef error) {
        if (handler) handler(event, std::move(error));
    };
    const auto current = settings();
    if (!current) {
        ++ledger.refusedNotInitialized;
        report(std::make_shared<ZentaraClientNotInitializedError>());
        return;
    }
    const auto stamped = stamp(*event, referer, *current);
    if (!validates()) {
        report(holdBack(stamped, event->schemaId()));
        return;
    }
    revalidate(current->dispatchBatchSize);
    report(validateAndQueue(
        stamped, {event->schemaId(), event->schemaVersion(), *EventAccess::properties(*event)},
        {ledger.accepted, ledger.notSaved, ledger.refusedInvalid, ledger.refusedUnknownSchema}));
}

InternalEvent ZentaraClient::Implementation::stamp(const Event& event, const std::string& referer,
                                                   const ClientSettings& current) {
    std::string userType(anonymousTokenName);
    std::string userToken(anonymousTokenName);
    if (auto user = idManager->getLoggedUser()) {
        userType = userTokenTypeName(user->type);
        userToken = std::move(user->token);
    }
    const auto createdAt =
        validatedTimestamp(loadReferenceTime(defaults), controlTime.currentMonotonicValue());
    validTimestamp_ = createdAt;
    const auto actionUUID = randomUUID();
    std::int64_t sequence = 0;
    UUIDText context;
    {
        const MutexLock lock(mutex_);
        if (zentaraActionSequence_ == std::numeric_limits<std::int64_t>::max()) {
            zentaraActionSequence_ = 0;
        }
        sequence = ++zentaraActionSequence_;
        context = zentaraClientContextID_;
    }
    const std::pair<std::string_view, std::string_view> user[] = {{"token", userToken},
                                                                  {"type", userType}};
    return InternalEvent::encoded({
        .id = event.schemaId(),
        .version = event.schemaVersion(),
        .url = event.url().string(),
        .contentType = event.contentType(),
        .properties = EventAccess::properties(event).get(),
        .createdAt = createdAt,
        .clientVersion = current.clientVersion,
        .referer = referer,
        .relationId = event.relationId(),
        .user = user,
        .zentaraClientContextID = context.text(),
        .zentaraActionSequence = sequence,
        .zentaraActionUUID = actionUUID.text(),
        .zentaraActionExtraAttributes = extraAttributes,
    });
}

void ZentaraClient::Implementation::count(const InternalEvent& event, bool isSaved,
                                          Ledger::Count& saved, Ledger::Count& notSaved) {
    if (isSaved) {
        ++saved;
    } else if (event.jsonText()) {
        ++notSaved;
    } else {
        ++ledger.refusedNotEncodable;
    }
}

ZentaraClientErrorRef ZentaraClient::Implementation::holdBack(const InternalEvent& event,
                                                              const std::string& id) {
    bool isQueued = false;
    {
        const MutexLock lock(heldBackMutex_);
        unvalidatedEventsRepository->add(
            event, [&isQueued](const EventRepositoryResult& result) { isQueued = result.ok(); });
    }
    count(event, isQueued, ledger.heldBack, ledger.heldBackNotSaved);
    const auto detail =
        (isQueued ? "Event queued to be sent later: " : "Event not queued: ") + id + ".";
    printDiagnostic(detail);
    return std::make_shared<ZentaraClientNotReady>(detail);
}

void ZentaraClient::Implementation::revalidate(std::int64_t count) {
    // One thread at a time: the save of another would take events out of the file that this one has
    // not queued yet.
    const MutexLock lock(heldBackMutex_);
    for (const auto& event : unvalidatedEventsRepository->take(count)) {
        // Also in memory only, it has left this queue for the other.
        static_cast<void>(validateAndQueue(event, {event.id(), event.version(), event.properties()},
                                           {ledger.released, ledger.released, ledger.droppedInvalid,
                                            ledger.droppedUnknownSchema}));
    }
    unvalidatedEventsRepository->save();
}

ZentaraClientErrorRef ZentaraClient::Implementation::validateAndQueue(const InternalEvent& event,
                                                                      const Subject& subject,
                                                                      const Tally& tally) {
    const auto schema = schemasProvider->schema(subject.id, subject.version);
    if (!schema) {
        ++tally.unknownSchema;
        return std::make_shared<UnknownError>();
    }
    const auto validation = schemaValidator->validate(subject.properties, *schema);
    if (!validation.isValid) {
        ++tally.invalid;
        if (!validation.errors) return std::make_shared<UnknownError>();
        auto detail = "Error validating " + std::string(subject.id) + "-" +
                      std::string(subject.version) + " schema: ";
        bool first = true;
        for (const auto& error : *validation.errors) {
            if (!first) detail += ", ";
            first = false;
            detail += error.description();
        }
        return std::make_shared<InvalidDataForSpecifiedSchemaError>(detail);
    }
    // The completion runs inside the queue, so it only notes the outcome; the host hears of it
    // when the queue is free again and may send the next event from its handler.
    bool isQueued = false;
    eventBus->enqueue(event, [&isQueued](const Status& status) { isQueued = status.ok(); });
    count(event, isQueued, tally.queued, tally.notSaved);
    eventBus->startTicking();
    if (!isQueued) return std::make_shared<EventNotQueuedError>();
    return nullptr;
}

}  // namespace zentara
