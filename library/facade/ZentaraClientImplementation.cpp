#include "facade/ZentaraClientImplementation.h"

#include <exception>
#include <limits>
#include <utility>

#include "facade/ClientLifecycle.h"
#include "json/JSONText.h"
#include "model/EventAccess.h"
#include "support/Diagnostics.h"
#include "support/UUID.h"
#include "support/threads/CallbackScope.h"

namespace zentara {

namespace {

/// Why its schema refuses an event with this outcome, in words; empty if it does not.
std::string schemaRefusal(const ZentaraClientErrorRef& error, std::string_view id,
                          std::string_view version) {
    if (dynamic_cast<const InvalidDataForSpecifiedSchemaError*>(error.get()) != nullptr) {
        return error->localizedDescription();
    }
    if (dynamic_cast<const UnknownError*>(error.get()) == nullptr) return {};
    return "there is no schema " + std::string(id) + "-" + std::string(version);
}

}  // namespace

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
    const auto report = [&](const EventRef& sent, ZentaraClientErrorRef error) {
        if (!handler) return;
        const CallbackScope scope;
        handler(sent, std::move(error));
    };
    if (auto error = refusal()) return report(event, std::move(error));
    const auto current = with.settings();
    if (!current) {
        ++with.ledger.refusedNotInitialized;
        return report(event, std::make_shared<ZentaraClientNotInitializedError>());
    }
    if (const auto functions = HostFunctions::current()) {
        auto sent = event;
        auto error = queueByFunctions(*functions, sent, referer, *current);
        return report(sent, std::move(error));
    }
    report(event, queueOrHoldBack({*event, referer, randomUUID()}, *current));
}

ZentaraClientErrorRef ZentaraClient::Implementation::refusal() {
    if (isShutDown.load(std::memory_order_relaxed)) {
        ++with.ledger.refusedShutDown;
        return std::make_shared<ClientShutDownError>();
    }
    return ClientLifecycle::isDenied() ? refuseWithoutConsent() : nullptr;
}

ZentaraClientErrorRef ZentaraClient::Implementation::refuseWithoutConsent() {
    ++with.ledger.refusedConsent;
    return std::make_shared<ConsentDeniedError>();
}

void ZentaraClient::Implementation::awaitSchemas(std::function<void()> action) {
    // Without consent no report comes.
    if (with.readiness && with.ledger.heldBackQueue.waiting > 0 &&
        ClientLifecycle::consentInForce() == Consent::granted) {
        const MutexLock lock(with.readiness->mutex);
        if (with.readiness->last == Readiness::Report::none) {
            with.readiness->waiting.push_back(std::move(action));
            return;
        }
    }
    action();
}

ZentaraClientErrorRef ZentaraClient::Implementation::queueOrHoldBack(
    const Outgoing& outgoing, const ClientSettings& current) {
    const auto& event = outgoing.event;
    const auto stamped = stamp(outgoing, current);
    if (!validates()) return holdBack(stamped, event.schemaId());
    revalidate(current.dispatchBatchSize);
    return validateAndQueue(stamped, event.schemaId(), event.schemaVersion(),
                            *EventAccess::values(event).properties,
                            {with.ledger.accepted, with.ledger.notSaved, with.ledger.refusedInvalid,
                             with.ledger.refusedUnknownSchema});
}

ZentaraClientErrorRef ZentaraClient::Implementation::queueByFunctions(
    const HostFunctions& functions, EventRef& event, const std::string& referer,
    const ClientSettings& current) {
    const auto actionUUID = randomUUID();
    auto queuedReferer = referer;
    if (functions.globalProperties || functions.beforeQueue) {
        auto values = EventAccess::values(*event);
        auto properties = functions.withGlobalProperties(event->properties());
        if (functions.beforeQueue) {
            const std::string uuid(actionUUID.text());
            OutgoingEvent outgoing{*event, uuid, std::move(properties), values.url, referer};
            if (auto error = askBeforeQueue(functions.beforeQueue, outgoing)) return error;
            properties = withValidUTF8(std::move(outgoing.properties));
            values.url = std::move(outgoing.url);
            queuedReferer = outgoing.referer.string();
        }
        values.properties = std::make_shared<const JSONValue>(std::move(properties));
        event = EventAccess::make(std::move(values));
    }
    if (functions.sessionTimeout.count() > 0) renewContext(functions.sessionTimeout);
    auto error = queueOrHoldBack({*event, queuedReferer, actionUUID}, current);
    if (functions.failsFast) {
        const auto reason = schemaRefusal(error, event->schemaId(), event->schemaVersion());
        if (!reason.empty()) fatalError(reason);
    }
    return error;
}

ZentaraClientErrorRef ZentaraClient::Implementation::askBeforeQueue(const BeforeQueue& function,
                                                                    OutgoingEvent& outgoing) {
    std::optional<std::string> exception;
    auto decision = EventDecision::drop;
    try {
        const CallbackScope scope;
        decision = function(outgoing);
    } catch (const std::exception& error) {
        exception = error.what();
    } catch (...) {
        exception = "exception of unknown type";
    }
    if (exception) {
        ++with.ledger.refusedByHook;
        return std::make_shared<BeforeQueueError>(*exception);
    }
    if (decision == EventDecision::queue) return nullptr;
    ++with.ledger.droppedByHook;
    return std::make_shared<EventDroppedError>();
}

void ZentaraClient::Implementation::renewContext(std::chrono::seconds timeout) {
    constexpr std::uint64_t ticksPerSecond = 10'000'000;
    const auto now = with.controlTime.currentMonotonicValue();
    const auto next = randomUUID();
    const MutexLock lock(mutex);
    // Another thread may have sent since `now` was read.
    if (!lastSent_ || now <= *lastSent_) return;
    if ((now - *lastSent_) / ticksPerSecond < static_cast<std::uint64_t>(timeout.count())) return;
    contextId = next;
    // Threads that send at the same time must not begin another context each.
    lastSent_ = now;
}

InternalEvent ZentaraClient::Implementation::stamp(const Outgoing& outgoing,
                                                   const ClientSettings& current) {
    const auto& [event, referer, actionUUID] = outgoing;
    std::string userType(anonymousTokenName);
    std::string userToken(anonymousTokenName);
    if (auto user = with.idManager->getLoggedUser()) {
        userType = userTokenTypeName(user->type);
        userToken = std::move(user->token);
    }
    const auto now = with.controlTime.currentMonotonicValue();
    const auto createdAt = validatedTimestamp(loadReferenceTime(defaults), now);
    validTimestamp_ = createdAt;
    std::int64_t sequence = 0;
    UUIDText context;
    {
        const MutexLock lock(mutex);
        if (zentaraActionSequence_ == std::numeric_limits<std::int64_t>::max()) {
            zentaraActionSequence_ = 0;
        }
        sequence = ++zentaraActionSequence_;
        context = contextId;
        lastSent_ = now;
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
    Status queued;
    {
        const MutexLock lock(heldBackMutex);
        with.unvalidatedEventsRepository->add(
            event, [&queued](const EventRepositoryResult& result) { queued = result.status(); });
    }
    // Denied since the look at the consent.
    if (isClosed(queued)) return refuseWithoutConsent();
    const bool isQueued = queued.ok();
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
    const MutexLock lock(heldBackMutex);
    const auto events = with.unvalidatedEventsRepository->take(count);
    for (const auto& event : events) {
        // An event in memory only counts as released too: it has left this queue for the other.
        const auto error =
            validateAndQueue(event, event.id(), event.version(), event.properties(),
                             {with.ledger.released, with.ledger.released,
                              with.ledger.droppedInvalid, with.ledger.droppedUnknownSchema});
        const auto reason = schemaRefusal(error, event.id(), event.version());
        if (!reason.empty()) {
            HostFunctions::notifyObserver(DeliveryNotice::Kind::dropped, {&event, 1}, reason);
        }
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
    Status queued;
    with.eventBus->enqueue(event, [&queued](const Status& status) { queued = status; });
    const auto* const failure = dynamic_cast<const EventBusError*>(queued.error().get());
    // Denied since the look at the consent. No held-back event gets here: both queues close at
    // once.
    if (failure != nullptr && failure->errorCase() == EventBusError::Case::queueClosed)
        return refuseWithoutConsent();
    count(event, queued.ok(), tally.queued, tally.notSaved);
    with.eventBus->startTicking();
    if (!queued.ok()) return std::make_shared<EventNotQueuedError>();
    return nullptr;
}

ValidationReport ZentaraClient::Implementation::validate(const std::string& id,
                                                         const std::string& version,
                                                         JSONObject properties) const {
    using Outcome = ValidationReport::Outcome;
    if (!with.settings() || !validates()) return {Outcome::notReady, {}};
    const auto schema = with.schemasProvider->schema(id, version);
    if (!schema) return {Outcome::unknownSchema, {}};
    if (const auto functions = HostFunctions::current()) {
        properties = functions->withGlobalProperties(std::move(properties));
    }
    const JSONValue value(std::move(properties));
    ValidationReport report{Outcome::valid, {}};
    const auto validation = schemaValidator->validate(value, *schema);
    if (validation.errors) {
        for (const auto& error : *validation.errors)
            report.messages.push_back(error.description());
    } else if (std::string text; !appendJSON(text, value, maximumPropertiesDepth)) {
        report.messages = {"The properties hold a number that is not finite, or too deep nesting"};
    }
    if (!validation.isValid || !report.messages.empty()) report.outcome = Outcome::invalid;
    return report;
}

}  // namespace zentara
