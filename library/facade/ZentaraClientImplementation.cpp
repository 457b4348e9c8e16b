#include "facade/ZentaraClientImplementation.h"

#include <limits>
#include <utility>

#include "model/EventAccess.h"
#include "support/Diagnostics.h"
#include "support/UUID.h"

namespace zentara {

void ZentaraClient::Implementation::setAdvertisingId(std::optional<std::string> advertisingId) {
    // One change at a time: the settings and the identity manager must end with the same id.
    const MutexLock lock(advertisingMutex_);
    if (!ClientSettingsAccess::setAdvertisingId(advertisingId)) return;
    if (advertisingId) {
        with.idManager->setAdvertisingId(*std::move(advertisingId));
    } else {
        with.idManager->removeAdvertisingId();
    }
}

void ZentaraClient::Implementation::send(const EventRef& event, const std::string& referer,
                                         const SendHandler& handler) {
    const auto report = [&](ZentaraClientErrorRef error) {
        if (handler) handler(event, std::move(error));
    };
    const auto current = with.settings();
    if (!current) {
        ++with.ledger.refusedNotInitialized;
        return report(std::make_shared<ZentaraClientNotInitializedError>());
    }
    const auto stamped = stamp(*event, referer, *current);
    if (!validates()) return report(holdBack(stamped, event->schemaId()));
    revalidate(current->dispatchBatchSize);
    report(validateAndQueue(stamped, event->schemaId(), event->schemaVersion(),
                            *EventAccess::values(*event).properties,
                            {with.ledger.accepted, with.ledger.notSaved, with.ledger.refusedInvalid,
                             with.ledger.refusedUnknownSchema}));
}

InternalEvent ZentaraClient::Implementation::stamp(const Event& event, const std::string& referer,
                                                   const ClientSettings& current) {
    std::string userType(anonymousTokenName);
    std::string userToken(anonymousTokenName);
    if (auto user = with.idManager->getLoggedUser()) {
        userType = userTokenTypeName(user->type);
        userToken = std::move(user->token);
    }
    const auto createdAt =
        validatedTimestamp(loadReferenceTime(defaults), with.controlTime.currentMonotonicValue());
    validTimestamp_ = createdAt;
    const auto actionUUID = randomUUID();
    std::int64_t sequence = 0;
    UUIDText context;
    {
        const MutexLock lock(mutex);
        if (zentaraActionSequence_ == std::numeric_limits<std::int64_t>::max()) {
            zentaraActionSequence_ = 0;
        }
        sequence = ++zentaraActionSequence_;
        context = contextId;
    }
    const std::pair<std::string_view, std::string_view> user[] = {{"token", userToken},
                                                                  {"type", userType}};
    return InternalEvent::encoded({
        .id = event.schemaId(),
        .version = event.schemaVersion(),
        .url = event.url().string(),
        .contentType = event.contentType(),
        .properties = EventAccess::values(event).properties.get(),
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
        ++with.ledger.refusedNotEncodable;
    }
}

ZentaraClientErrorRef ZentaraClient::Implementation::holdBack(const InternalEvent& event,
                                                              const std::string& id) {
    bool isQueued = false;
    {
        const MutexLock lock(heldBackMutex_);
        with.unvalidatedEventsRepository->add(
            event, [&isQueued](const EventRepositoryResult& result) { isQueued = result.ok(); });
    }
    count(event, isQueued, with.ledger.heldBack, with.ledger.heldBackNotSaved);
    const auto detail =
        (isQueued ? "Event queued to be sent later: " : "Event not queued: ") + id + ".";
    printDiagnostic(detail);
    return std::make_shared<ZentaraClientNotReady>(detail);
}

bool ZentaraClient::Implementation::releaseHeldBack() {
    const auto current = with.settings();
    return current && validates() && revalidate(current->dispatchBatchSize);
}

bool ZentaraClient::Implementation::revalidate(std::int64_t count) {
    // One thread at a time: another thread's save would remove events from the file that this
    // thread has not queued yet.
    const MutexLock lock(heldBackMutex_);
    const auto events = with.unvalidatedEventsRepository->take(count);
    for (const auto& event : events) {
        // An event in memory only counts as released too: it has left this queue for the other.
        static_cast<void>(
            validateAndQueue(event, event.id(), event.version(), event.properties(),
                             {with.ledger.released, with.ledger.released,
                              with.ledger.droppedInvalid, with.ledger.droppedUnknownSchema}));
    }
    with.unvalidatedEventsRepository->save();
    return !events.empty();
}

ZentaraClientErrorRef ZentaraClient::Implementation::validateAndQueue(const InternalEvent& event,
                                                                      std::string_view id,
                                                                      std::string_view version,
                                                                      const JSONValue& properties,
                                                                      const Tally& tally) {
    const auto schema = with.schemasProvider->schema(id, version);
    if (!schema) {
        ++tally.unknownSchema;
        return std::make_shared<UnknownError>();
    }
    const auto validation = schemaValidator->validate(properties, *schema);
    if (!validation.isValid) {
        ++tally.invalid;
        if (!validation.errors) return std::make_shared<UnknownError>();
        auto detail =
            "Error validating " + std::string(id) + "-" + std::string(version) + " schema: ";
        for (const auto& error : *validation.errors) {
            if (&error != validation.errors->data()) detail += ", ";
            detail += error.description();
        }
        return std::make_shared<InvalidDataForSpecifiedSchemaError>(detail);
    }
    // The completion runs inside the queue, so it only notes the outcome. The host's handler, which
    // may send the next event, is called when the queue is free again.
    bool isQueued = false;
    with.eventBus->enqueue(event, [&isQueued](const Status& status) { isQueued = status.ok(); });
    count(event, isQueued, tally.queued, tally.notSaved);
    with.eventBus->startTicking();
    if (!isQueued) return std::make_shared<EventNotQueuedError>();
    return nullptr;
}

}  // namespace zentara
