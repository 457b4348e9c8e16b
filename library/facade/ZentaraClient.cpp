#include "facade/ZentaraClient.h"

#include <atomic>
#include <new>
#include <type_traits>
#include <utility>

#include "facade/ClientLifecycle.h"
#include "facade/HostFunctions.h"
#include "facade/ReadinessRelay.h"
#include "facade/SharedState.h"
#include "facade/ZentaraClientAccess.h"
#include "facade/ZentaraClientBuilder.h"
#include "facade/ZentaraClientImplementation.h"
#include "json/JSONText.h"
#include "model/EventAccess.h"
#include "schemas/BundledSchemas.h"
#include "support/ClientSettingsAccess.h"
#include "support/Diagnostics.h"
#include "support/FailureReporter.h"
#include "support/Ledger.h"
#include "support/Mutex.h"
#include "support/NoDestructor.h"
#include "support/Process.h"
#include "support/UUID.h"
#include "support/threads/CallbackScope.h"
#include "support/threads/HeldFunctions.h"
#include "support/threads/WorkerPool.h"
#include "text/Unicode.h"

namespace zentara {

namespace {

SharedState& state() {
    return SharedState::instance();
}

/// Calls a function of the host on this thread, if there is one.
template <typename... Arguments>
void callHost(const std::function<void(Arguments...)>& function,
              std::type_identity_t<Arguments>... arguments) {
    if (!function) return;
    const CallbackScope scope;
    function(std::forward<Arguments>(arguments)...);
}

/// In a forked child, locks may be held by threads that exist in the parent only.
void refuseInForkedChild(const EventRef& event, const ZentaraClient::SendHandler& handler) {
    static std::atomic<bool> hasWarned = false;
    if (!hasWarned.exchange(true)) {
        printWarning(
            "ZentaraClient: this process was forked off from one that uses the library; what is "
            "sent here is refused");
    }
    callHost(handler, event, std::make_shared<EventNotQueuedError>());
}

#define ZENTARA_ONE(name) +1
constexpr std::size_t countMembers = ZENTARA_EACH_COUNT(ZENTARA_ONE);
constexpr std::size_t failures = ZENTARA_EACH_FAILURE(ZENTARA_ONE);
#undef ZENTARA_ONE
// The queue of held-back events has a count without a name: `passedOver`.
static_assert(failures == componentNames.size() &&
                  sizeof(Ledger) == (countMembers + 1) * sizeof(Ledger::Count),
              "each count and each failure has a name");
static_assert(sizeof(ZentaraClientStatistics) ==
                  countMembers * sizeof(std::int64_t) + failures * sizeof(ZentaraClientFailure),
              "each name is a member of the statistics");

ZentaraClientFailure failureOf(Component component) noexcept {
    auto failure = lastFailure(component);
    ZentaraClientFailure result{"", failure.time, failure.inARow};
    try {
        // A path need not be UTF-8.
        result.text = zentara::withValidUTF8(std::move(failure.text));
    } catch (const std::bad_alloc&) {
        // The count and the time are still told.
    }
    return result;
}

/// The result of a flush without a client.
FlushResult notFlushed() {
    const auto& ledger = Ledger::shared();
    return {FlushResult::Outcome::failed, 0, ledger.queue.waiting + ledger.inFlight,
            ledger.heldBackQueue.waiting, "there is no client"};
}

std::optional<std::string> withValidUTF8(std::optional<std::string> text) {
    if (!text) return std::nullopt;
    return zentara::withValidUTF8(*std::move(text));
}

}  // namespace

SharedState& SharedState::instance() {
    static NoDestructor<SharedState> shared;
    return *shared;
}

ZentaraClient::ZentaraClient(std::unique_ptr<Implementation> implementation)
    : implementation_(std::move(implementation)) {}

ZentaraClient::~ZentaraClient() {
    // Destroying it would take locks and write, so it is leaked.
    if (isForkedChild()) static_cast<void>(implementation_.release());
}

void ZentaraClient::useSettings(std::string tenant, ZentaraEnvironment zentaraEnvironment,
                                std::optional<std::string> advertisingId, DeliveryPolicy delivery) {
    if (isForkedChild()) return;
    const auto rawEnvironment = static_cast<std::int64_t>(zentaraEnvironment);
    if (!zentara::zentaraEnvironment(rawEnvironment)) {
        fatalError("there is no environment " + std::to_string(rawEnvironment) +
                   ": 0 is production, 1 is qa");
    }
    auto settings = std::make_shared<ClientSettings>();
    settings->tenant = withValidUTF8(std::move(tenant));
    settings->environment = zentaraEnvironment;
    settings->advertisingId = withValidUTF8(std::move(advertisingId));
    settings->delivery = delivery;
    ClientSettingsAccess::setCurrent(std::move(settings));
}

void ZentaraClient::setBundledSchemas(std::string_view table) {
    BundledSchemas::use(table);
}

std::shared_ptr<ZentaraClient> ZentaraClient::get(ReadyCallback readyCallback) {
    if (!isForkedChild() && !ClientSettings::current()) ClientSettingsAccess::resume();
    return ZentaraClientAccess::getConfigured(std::move(readyCallback));
}

std::shared_ptr<ZentaraClient> ZentaraClientAccess::getConfigured(
    ZentaraClient::ReadyCallback readyCallback) {
    if (isForkedChild()) {
        auto inherited = ZentaraClient::sharedClient();
        callHost(readyCallback, std::make_shared<SchemasInitializationError>());
        return inherited ? inherited : ZentaraClientAccess::makePlain();
    }
    if (!ClientSettings::current()) throw ZentaraClientNotConfiguredError();

    std::shared_ptr<ReadinessRelay> readiness;
    auto client = ZentaraClient::sharedClient();
    if (!client) {
        const MutexLock building(state().buildMutex);
        client = ZentaraClient::sharedClient();
        if (!client) {
            // `shutdown` may have forgotten the settings since.
            const auto current = ClientSettings::current();
            if (!current) throw ZentaraClientNotConfiguredError();
            readiness = std::make_shared<ReadinessRelay>(
                HeldFunctions::shared().hold(std::move(readyCallback)));
            client = ZentaraClientBuilder::build(*current, readiness);
            ZentaraClient::setSharedClient(client);
        }
    }
    if (readiness) {
        readiness->open();
    } else {
        callHost(readyCallback, nullptr);
    }
    return client;
}

bool ZentaraClient::isReady() noexcept {
    return state().isReady && !isForkedChild();
}

void ZentaraClient::setIsReady(bool ready) noexcept {
    if (isForkedChild()) return;
    const MutexLock lock(state().mutex);
    auto* const readiness = Implementation::readinessOf(state().client.get());
    if (ready && readiness != nullptr) readiness->mayValidate = true;
    state().isReady = ready;
}

void ZentaraClient::Implementation::report(Readiness& readiness, Readiness::Report report) {
    {
        const MutexLock lock(state().mutex);
        readiness.last = report;
        if (report == Readiness::Report::success) readiness.mayValidate = true;
        if (readinessOf(state().client.get()) == &readiness) {
            state().isReady = report == Readiness::Report::success;
        }
    }
    std::vector<std::function<void()>> actions;
    {
        const MutexLock waiting(readiness.mutex);
        actions.swap(readiness.waiting);
    }
    for (const auto& action : actions)
        action();
}

ZentaraClient::Implementation::Readiness* ZentaraClient::Implementation::readinessOf(
    const ZentaraClient* client) noexcept {
    if (client == nullptr || !client->implementation_) return nullptr;
    return client->implementation_->with.readiness.get();
}

std::shared_ptr<ZentaraClient> ZentaraClient::sharedClient() {
    if (isForkedChild()) {
        // If a thread of the parent held the lock at the fork, it is never released here.
        if (!state().mutex.try_lock()) return nullptr;
        auto client = state().client;
        state().mutex.unlock();
        return client;
    }
    const MutexLock lock(state().mutex);
    return state().client;
}

void ZentaraClient::setSharedClient(std::shared_ptr<ZentaraClient> client) {
    if (isForkedChild()) return;
    // The previous client may be destroyed at the return, after the lock is released.
    const MutexLock lock(state().mutex);
    state().client.swap(client);
    using Report = Implementation::Readiness::Report;
    const auto* const readiness = Implementation::readinessOf(state().client.get());
    if (readiness == nullptr || readiness->last == Report::none) return;
    state().isReady = readiness->last == Report::success;
}

std::shared_ptr<ZentaraClient> ZentaraClientAccess::makePlain() {
    return std::shared_ptr<ZentaraClient>(new ZentaraClient(nullptr));
}

ZentaraClientErrorRef ZentaraClientAccess::refuse(const ZentaraClient& client,
                                                  const std::string& schemaId) {
    if (isForkedChild()) return std::make_shared<EventNotQueuedError>();
    if (client.implementation_) {
        if (auto error = client.implementation_->refusal()) return error;
    }
    if (!client.implementation_ || !ClientSettings::current()) {
        ++Ledger::shared().refusedNotInitialized;
        return std::make_shared<ZentaraClientNotInitializedError>();
    }
    ++Ledger::shared().refusedNotEncodable;
    if (client.implementation_->validates()) return std::make_shared<EventNotQueuedError>();
    const auto detail = "Event not queued: " + schemaId + ".";
    printDiagnostic(detail);
    return std::make_shared<ZentaraClientNotReady>(detail);
}

void ZentaraClientAccess::holdSharedClient(std::shared_ptr<ZentaraClient> holder) {
    if (isForkedChild()) return;
    // As in `setSharedClient`, nothing is destroyed under the lock.
    const MutexLock lock(state().mutex);
    if (state().client == holder) state().client.swap(holder);
}

void ZentaraClientAccess::warn(std::string_view line) {
    printWarning(line);
}

void ZentaraClientAccess::fail(std::string_view cause) noexcept {
    fatalError(cause);
}

ZentaraClientStatistics ZentaraClient::statistics() noexcept {
    const auto& ledger = Ledger::shared();
    ZentaraClientStatistics all;
#define ZENTARA_COPY(name) all.name = ledger.name;
    ZENTARA_EACH_EVENT_COUNT(ZENTARA_COPY)
#undef ZENTARA_COPY
    all.restored = ledger.queue.restored;
    all.evicted = ledger.queue.evicted;
    all.discarded = ledger.queue.discarded;
    all.waiting = ledger.queue.waiting;
    all.passedOver = ledger.queue.passedOver;
    all.heldBackRestored = ledger.heldBackQueue.restored;
    all.heldBackEvicted = ledger.heldBackQueue.evicted;
    all.heldBackDiscarded = ledger.heldBackQueue.discarded;
    all.heldBackWaiting = ledger.heldBackQueue.waiting;
    all.schemasFailure = failureOf(Component::schemas);
    all.identityFailure = failureOf(Component::identity);
    all.deliveryFailure = failureOf(Component::delivery);
    all.storageFailure = failureOf(Component::storage);
    return all;
}

void ZentaraClient::setLoggedUser(UserTokenType tokenType, std::string token) {
    const auto client = ZentaraClientAccess::getConfigured();
    if (!client->isWorking()) return;
    ClientLifecycle::shared().setLoggedUser(*client->implementation_->with.idManager, tokenType,
                                            withValidUTF8(std::move(token)));
}

void ZentaraClient::removeLoggedUser() {
    const auto client = ZentaraClientAccess::getConfigured();
    if (!client->isWorking()) return;
    client->implementation_->with.idManager->removeLoggedUser();
}

EventRef ZentaraClient::createEvent(std::string schemaId, std::string schemaVersion,
                                    std::string contentType, AnyText url, AnyText referer,
                                    JSONObject properties, std::optional<std::string> relationId) {
    return EventAccess::make(
        {.schemaId = withValidUTF8(std::move(schemaId)),
         .schemaVersion = withValidUTF8(std::move(schemaVersion)),
         .contentType = withValidUTF8(std::move(contentType)),
         .url = std::move(url),
         .referer = std::move(referer),
         .properties = std::make_shared<const JSONValue>(withValidUTF8(std::move(properties))),
         .relationId = withValidUTF8(std::move(relationId))});
}

void ZentaraClient::send(std::string schemaId, std::string schemaVersion, std::string contentType,
                         AnyText url, AnyText referer, JSONObject properties,
                         std::optional<std::string> relationId, SendHandler handler) {
    const auto event =
        createEvent(std::move(schemaId), std::move(schemaVersion), std::move(contentType),
                    std::move(url), AnyText(), std::move(properties), std::move(relationId));
    sendOne(event, referer.string(), handler);
}

void ZentaraClient::send(std::vector<EventRef> events, std::optional<std::string> relationId,
                         SendHandler handler) {
    relationId = withValidUTF8(std::move(relationId));
    for (const auto& event : events) {
        if (!event) continue;
        auto values = EventAccess::values(*event);
        const auto referer = std::exchange(values.referer, AnyText());
        values.relationId = relationId;
        sendOne(EventAccess::make(std::move(values)), referer.string(), handler);
    }
}

void ZentaraClient::send(EventDraft draft, SendHandler handler) {
    send(draft.schemaId, draft.schemaVersion, std::move(draft.contentType), std::move(draft.url),
         std::move(draft.referer), std::move(draft.properties), std::move(draft.relationId),
         std::move(handler));
}

void ZentaraClient::sendEvent(const EventRef& event, const SendHandler& handler) {
    if (event) send(std::vector{event}, event->relationId(), handler);
}

ValidationReport ZentaraClient::validate(const std::string& schemaId,
                                         const std::string& schemaVersion,
                                         const JSONObject& properties) const {
    if (!isWorking()) return {};
    return implementation_->validate(withValidUTF8(schemaId), withValidUTF8(schemaVersion),
                                     withValidUTF8(properties));
}

void ZentaraClient::sendOne(const EventRef& event, const std::string& referer,
                            const SendHandler& handler) {
    if (isForkedChild()) return refuseInForkedChild(event, handler);
    if (implementation_) return implementation_->send(event, referer, handler);
    ++Ledger::shared().refusedNotInitialized;
    callHost(handler, event, std::make_shared<ZentaraClientNotInitializedError>());
}

bool ZentaraClient::isWorking() const noexcept {
    return implementation_ && !isForkedChild();
}

void ZentaraClient::newContextId() {
    if (!isWorking()) return;
    const auto contextId = randomUUID();
    const MutexLock lock(implementation_->mutex);
    implementation_->contextId = contextId;
}

std::string ZentaraClient::getContextId() const {
    if (!isWorking()) return {};
    const MutexLock lock(implementation_->mutex);
    return std::string(implementation_->contextId.text());
}

void ZentaraClient::setAdvertisingId(std::string advertisingIdentifier) {
    if (!isWorking()) return;
    implementation_->setAdvertisingId(withValidUTF8(std::move(advertisingIdentifier)));
}

void ZentaraClient::removeAdvertisingId() {
    if (isWorking()) implementation_->setAdvertisingId(std::nullopt);
}

void ZentaraClient::getAnonymousUser(const AnonymousUserCallback& callbackUser) {
    const auto report = [&callbackUser](const std::optional<Token>& token) {
        const auto user = token.value_or(Token());
        callHost(callbackUser, user.type, user.value,
                 token ? std::optional(user.publicValue) : std::nullopt);
    };
    const auto client = ZentaraClientAccess::getConfigured();
    // A token that could not be removed is still on disk.
    if (!client->isWorking() || ClientLifecycle::isDenied()) return report(std::nullopt);
    client->implementation_->with.idManager->loadAnonymousToken(report);
}

void ZentaraClient::getHsid(HsidCallback callbackHsid) {
    const auto client = ZentaraClientAccess::getConfigured();
    if (!client->isWorking()) return callHost(callbackHsid, "");
    client->implementation_->with.idManager->start(
        [callback =
             HeldFunctions::shared().hold(std::move(callbackHsid))](const std::string& hsid) {
            if (callback) Strand::forHostCallbacks().async([callback, hsid] { callback(hsid); });
        });
}

void ZentaraClient::performFetch(FetchCallback completion) {
    const auto client = sharedClient();
    if (!client || !client->isWorking()) return callHost(completion, BackgroundFetchResult::failed);
    const auto report =
        [held = HeldFunctions::shared().hold(std::move(completion))](BackgroundFetchResult result) {
            callHost(held, result);
        };
    client->implementation_->with.eventBus->dispatch([report](const DispatchResult& result) {
        using Kind = DispatchResult::Kind;
        report(result.kind() == Kind::success           ? BackgroundFetchResult::newData
               : result.kind() == Kind::emptyRepository ? BackgroundFetchResult::noData
                                                        : BackgroundFetchResult::failed);
    });
}

void ZentaraClient::flush(std::chrono::milliseconds deadline, FlushCallback completion) {
    if (isForkedChild()) return callHost(completion, notFlushed());
    Implementation::flush(
        sharedClient(), deadline,
        [held = HeldFunctions::shared().hold(std::move(completion))](const FlushResult& result) {
            if (held) Strand::forHostCallbacks().async([held, result] { held(result); });
        });
}

void ZentaraClient::Implementation::flush(const std::shared_ptr<ZentaraClient>& client,
                                          std::chrono::milliseconds deadline,
                                          FlushCallback completion) {
    if (!client || !client->isWorking()) {
        WorkerPool::shared().async(
            [completion = std::move(completion)] { completion(notFlushed()); });
        return;
    }
    client->implementation_->with.eventBus->flush(
        deadline, [client] { return client->implementation_->releaseHeldBack(); },
        std::move(completion),
        [client](std::function<void()> action) {
            client->implementation_->awaitSchemas(std::move(action));
        });
}

void ZentaraClient::pauseDelivery() noexcept {
    if (!isForkedChild()) Implementation::isDeliveryPaused = true;
}

void ZentaraClient::resumeDelivery() noexcept {
    if (!isForkedChild()) Implementation::isDeliveryPaused = false;
}

void ZentaraClient::retryRefused() {
    const auto client = sharedClient();
    if (client && client->isWorking()) client->implementation_->with.eventBus->retryRefused();
}

void ZentaraClient::setLogSink(LogLevel least, LogSink sink) {
    zentara::setLogSink(least, std::move(sink));
}

void ZentaraClient::setBeforeQueue(BeforeQueue function) {
    if (isForkedChild()) return;
    auto held = HeldFunctions::shared().hold(std::move(function));
    HostFunctions::change([&](auto& functions) { functions.beforeQueue = std::move(held); });
}

void ZentaraClient::setGlobalProperties(JSONObject properties) {
    if (isForkedChild()) return;
    auto next = properties.empty()
                    ? nullptr
                    : std::make_shared<const JSONObject>(withValidUTF8(std::move(properties)));
    HostFunctions::change([&](auto& functions) { functions.globalProperties = std::move(next); });
}

void ZentaraClient::setDeliveryObserver(DeliveryObserver observer) {
    if (isForkedChild()) return;
    auto held = HeldFunctions::shared().hold(std::move(observer));
    HostFunctions::change([&](auto& functions) { functions.deliveryObserver = std::move(held); });
}

void ZentaraClient::setFailFast(bool enabled) {
    if (isForkedChild()) return;
    HostFunctions::change([enabled](auto& functions) { functions.failsFast = enabled; });
}

void ZentaraClient::setSessionTimeout(std::chrono::seconds timeout) {
    if (isForkedChild()) return;
    HostFunctions::change([timeout](auto& functions) { functions.sessionTimeout = timeout; });
}

}  // namespace zentara
