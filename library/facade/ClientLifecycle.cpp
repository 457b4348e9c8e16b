#include "facade/ClientLifecycle.h"

#include <algorithm>
#include <future>
#include <utility>

#include "dispatch/QueueOpening.h"
#include "facade/HostFunctions.h"
#include "facade/SharedState.h"
#include "facade/ZentaraClientBuilder.h"
#include "facade/ZentaraClientImplementation.h"
#include "identity/ConsentFile.h"
#include "support/ClientSettingsAccess.h"
#include "support/Ledger.h"
#include "support/NoDestructor.h"
#include "support/Process.h"
#include "support/threads/CallbackScope.h"
#include "support/threads/HeldFunctions.h"
#include "support/threads/WorkerPool.h"

namespace zentara {

namespace {

/// How much longer than its deadline `shutdown` waits for callbacks of the host.
constexpr std::chrono::seconds moment{1};

/// Longer deadlines are cut to this, so that none overflows.
constexpr std::chrono::milliseconds longestDeadline = std::chrono::hours(24 * 365);

FlushResult resultWith(FlushResult::Outcome outcome, std::string lastFailure = "") {
    const auto& ledger = Ledger::shared();
    return {outcome, 0, ledger.queue.waiting + ledger.inFlight, ledger.heldBackQueue.waiting,
            std::move(lastFailure)};
}

/// Whether `isDone`, which waits until the time that it is given, is true before `latest`. Gives up
/// when the process ends, because the workers begin nothing then.
template <typename IsDone>
bool waitFor(std::chrono::steady_clock::time_point latest, const IsDone& isDone) {
    constexpr std::chrono::milliseconds step{50};
    for (;;) {
        const auto until = std::min(latest, std::chrono::steady_clock::now() + step);
        if (isDone(until)) return true;
        if (until == latest || WorkerPool::shared().isEnding()) return false;
    }
}

/// Why no request is made; null when requests are made.
const char* closingCause(Consent consent) {
    switch (consent) {
        case Consent::granted:
            return nullptr;
        case Consent::pending:
            return "consent is pending";
        case Consent::denied:
            return "consent is denied";
    }
    return nullptr;
}

/// Calls `action` with a part of each client that still exists.
template <typename Part, typename Action>
void forEach(const std::vector<BuiltClient>& clients, std::weak_ptr<Part> BuiltClient::*part,
             const Action& action) {
    for (const auto& client : clients) {
        if (const auto alive = (client.*part).lock()) action(*alive);
    }
}

}  // namespace

ClientLifecycle& ClientLifecycle::shared() {
    static NoDestructor<ClientLifecycle> instance;
    return *instance;
}

Consent ClientLifecycle::consent(FileSystem& files) {
    const MutexLock lock(mutex_);
    readConsent(files);
    return consent_;
}

bool ClientLifecycle::setConsent(Consent consent, FileSystem& files) {
    const MutexLock lock(mutex_);
    // First, so that a denial holds after a kill at any moment from here on.
    const auto stored = ConsentFile(files).save(consent);
    consentFile_.report(stored);
    folder_ = documentsFile("");
    putInForce(consent);
    if (consent != Consent::denied) return stored.ok();
    return removeUserData(files, Admission::closed) && stored.ok();
}

bool ClientLifecycle::forgetUser(FileSystem& files) {
    const MutexLock lock(mutex_);
    readConsent(files);
    interrupt("the user was forgotten");
    const bool isRemoved = removeUserData(files, isDenied() ? Admission::closed : Admission::open);
    if (const auto* const cause = closingCause(consent_)) {
        interrupt(cause);
    } else {
        resume();
    }
    return isRemoved;
}

std::shared_ptr<ZentaraClient> ClientLifecycle::build(
    FileSystem& files, const std::function<std::shared_ptr<ZentaraClient>(BuiltClient&)>& build) {
    const MutexLock lock(mutex_);
    readConsent(files);
    BuiltClient parts;
    auto client = build(parts);
    parts.client = client;
    clients_.push_back(std::move(parts));
    // What is left after a kill, or after a removal that failed. A failure was reported.
    if (isDenied()) static_cast<void>(removeUserData(files, Admission::closed));
    return client;
}

void ClientLifecycle::setLoggedUser(IDManager& idManager, UserTokenType tokenType,
                                    std::string token) {
    const MutexLock lock(mutex_);
    if (!isDenied()) idManager.setLoggedUser(tokenType, std::move(token));
}

void ClientLifecycle::readConsent(FileSystem& files) {
    auto folder = documentsFile("");
    if (folder_ == folder) return;
    const auto stored = ConsentFile(files).load();
    consentFile_.report(stored.status());
    folder_.reset();
    if (stored.ok()) folder_.emplace(std::move(folder));
    putInForce(stored.ok() ? *stored : Consent::pending);
}

void ClientLifecycle::putInForce(Consent consent) {
    if (consent_.exchange(consent) == consent) return;
    if (consent != Consent::denied) {
        for (const auto& queue : std::exchange(closed_, {})) {
            if (const auto alive = queue.lock()) alive->reopen();
        }
    }
    if (const auto* const cause = closingCause(consent)) {
        interrupt(cause);
    } else {
        resume();
    }
}

void ClientLifecycle::interrupt(const char* cause) {
    ZentaraClientBuilder::session().close(cause);
    // After it: what begins from now on finds the session closed.
    const auto all = clients();
    forEach(all, &BuiltClient::idManager, [](auto& idManager) { idManager.interrupt(); });
    forEach(all, &BuiltClient::schemasProvider, [](auto& provider) { provider.interrupt(); });
}

void ClientLifecycle::resume() {
    ZentaraClientBuilder::session().open();
    const auto all = clients();
    forEach(all, &BuiltClient::idManager, [](auto& idManager) { idManager.resume(); });
    forEach(all, &BuiltClient::schemasProvider, [](auto& provider) { provider.resume(); });
}

bool ClientLifecycle::removeUserData(FileSystem& files, Admission afterwards) {
    const auto current = ClientSettings::current();
    const auto settings = current ? *current : ClientSettings();
    const auto& token = settings.anonymousTokenStorageName;
    const auto folder = claimProcessFolder(files, token);
    const auto all = clients();
    // First: no dispatch takes events while the session is closed, so none puts them back behind
    // the removal.
    forEach(all, &BuiltClient::eventBus, [](auto& eventBus) { eventBus.discardInFlight(); });
    bool isAllRemoved = true;
    const auto note = [&](const std::string& name, const Status& status) {
        isAllRemoved = isAllRemoved && status.ok();
        reportLeft(documentsFile(name), status);
    };
    {
        const auto [events, heldBack] = ZentaraClientBuilder::queues(files, folder, settings);
        // Otherwise a thread that moves events from one queue to the other could bring some back.
        const MutexLock moving(ZentaraClient::Implementation::heldBackMutex);
        note(settings.eventsStorageName, events->clear(afterwards));
        note(settings.unvalidatedEventsStorageName, heldBack->clear(afterwards));
        if (afterwards == Admission::closed) closed_ = {events, heldBack};
    }
    forEach(all, &BuiltClient::idManager,
            [&](auto& idManager) { note(token, idManager.forget()); });
    forEach(all, &BuiltClient::client, [](auto& client) {
        client.newContextId();
        const MutexLock lock(client.implementation_->mutex);
        client.implementation_->hsid.clear();
    });
    note(token, files.removeAllOf(documentsFile(folder + token)));
    note("", eraseProcessFolders(
                 files, folder,
                 {settings.eventsStorageName, settings.unvalidatedEventsStorageName, token}));
    return isAllRemoved;
}

std::vector<BuiltClient> ClientLifecycle::clients() {
    std::erase_if(clients_, [](const auto& client) {
        return client.client.expired() && client.eventBus.expired() && client.idManager.expired() &&
               client.schemasProvider.expired();
    });
    return clients_;
}

std::vector<BuiltClient> ClientLifecycle::currentClients() {
    const MutexLock lock(mutex_);
    return clients();
}

FlushResult ClientLifecycle::shutDown(std::chrono::milliseconds deadline) {
    deadline = std::clamp(deadline, std::chrono::milliseconds::zero(), longestDeadline);
    const auto latest = Clock::now() + deadline + moment;
    if (!beginShutDown()) {
        const bool hasEnded =
            waitFor(latest, [this](Clock::time_point until) { return hasShutDownEnded(until); });
        if (!hasEnded) {
            return resultWith(FlushResult::Outcome::deadline, "another shutdown has not ended yet");
        }
        const MutexLock lock(shutDownMutex_);
        return lastShutDown_;
    }
    const auto result = endWork(deadline, latest);
    const MutexLock lock(shutDownMutex_);
    isShuttingDown_ = false;
    lastShutDown_ = result;
    shutDownEnded_.notify_all();
    return result;
}

bool ClientLifecycle::beginShutDown() {
    const MutexLock lock(shutDownMutex_);
    return !std::exchange(isShuttingDown_, true);
}

bool ClientLifecycle::hasShutDownEnded(Clock::time_point until) {
    const MutexLock lock(shutDownMutex_);
    while (isShuttingDown_) {
        if (shutDownEnded_.wait_until(shutDownMutex_, until) == std::cv_status::timeout)
            return !isShuttingDown_;
    }
    return true;
}

FlushResult ClientLifecycle::endWork(std::chrono::milliseconds deadline, Clock::time_point latest) {
    auto clients = currentClients();
    refuseEvents(clients);
    auto result = resultWith(FlushResult::Outcome::empty);
    // While the process ends, the workers begin nothing.
    const bool hasWorkers = !clients.empty() && !WorkerPool::shared().isEnding();
    if (auto client = ZentaraClient::sharedClient(); client && hasWorkers) {
        const auto flushed = std::make_shared<std::promise<FlushResult>>();
        auto flush = flushed->get_future();
        ZentaraClient::Implementation::flush(
            client, deadline,
            [flushed](const FlushResult& achieved) { flushed->set_value(achieved); });
        const bool isDone = waitFor(latest, [&](Clock::time_point until) {
            return flush.wait_until(until) == std::future_status::ready;
        });
        result = isDone ? flush.get() : resultWith(FlushResult::Outcome::deadline);
    }
    // Before the settings go, which a timer would report as a failure.
    stop(clients);
    std::shared_ptr<ZentaraClient> last;
    {
        auto& state = SharedState::instance();
        const MutexLock building(state.buildMutex);
        last = ZentaraClient::sharedClient();
        ClientSettingsAccess::suspend();
        ZentaraClient::setSharedClient(nullptr);
        ZentaraClient::setIsReady(false);
        const MutexLock lock(mutex_);
        clients = std::exchange(clients_, {});
        if (!clients.empty()) {
            // Fails the requests under way.
            auto& session = ZentaraClientBuilder::session();
            session.close("the library was shut down");
            const auto* const cause = closingCause(consent_);
            cause != nullptr ? session.close(cause) : session.open();
        }
    }
    refuseEvents(clients);
    stop(clients);
    last = nullptr;
    bool hasDrained = true;
    if (hasWorkers) {
        // The observer is told of the last events, and the log sink gets its lines, before both are
        // forgotten.
        for (auto* const strand : {&Strand::forHostCallbacks(), &Strand::forLogLines()}) {
            const auto reached = std::make_shared<std::promise<void>>();
            auto earlierWork = reached->get_future();
            strand->async([reached] { reached->set_value(); });
            const bool isReached = waitFor(latest, [&](Clock::time_point until) {
                return earlierWork.wait_until(until) == std::future_status::ready;
            });
            hasDrained = hasDrained && isReached;
        }
    }
    HostFunctions::forgetAll();
    const bool holdsNone = waitFor(
        latest, [](Clock::time_point until) { return HeldFunctions::shared().waitForNone(until); });
    hasDrained = hasDrained && holdsNone;
    const auto delivered = result.delivered;
    if (!hasDrained) {
        result = {FlushResult::Outcome::deadline, 0, 0, 0, "a callback has not returned"};
    }
    const auto left = resultWith(result.outcome, std::move(result.lastFailure));
    return {left.outcome, delivered, left.waiting, left.heldBack, left.lastFailure};
}

void ClientLifecycle::refuseEvents(const std::vector<BuiltClient>& clients) {
    forEach(clients, &BuiltClient::client,
            [](auto& client) { client.implementation_->isShutDown = true; });
}

void ClientLifecycle::stop(const std::vector<BuiltClient>& clients) {
    forEach(clients, &BuiltClient::schemasProvider, [](auto& provider) { provider.stop(); });
    forEach(clients, &BuiltClient::readiness, [](auto& readiness) { readiness.close(); });
    forEach(clients, &BuiltClient::idManager, [](auto& idManager) { idManager.stop(); });
    forEach(clients, &BuiltClient::eventBus, [](auto& eventBus) { eventBus.stopDispatching(); });
}

bool ZentaraClient::setConsent(Consent consent) {
    // A fatal error for other values, also in a forked child.
    static_cast<void>(consentName(consent));
    return !isForkedChild() && ClientLifecycle::shared().setConsent(consent, systemFiles());
}

Consent ZentaraClient::consent() {
    // In a forked child, a thread of the parent may hold the lock for ever.
    if (isForkedChild()) return ClientLifecycle::consentInForce();
    return ClientLifecycle::shared().consent(systemFiles());
}

bool ZentaraClient::forgetUser() {
    return !isForkedChild() && ClientLifecycle::shared().forgetUser(systemFiles());
}

FlushResult ZentaraClient::shutdown(std::chrono::milliseconds deadline) {
    if (isForkedChild()) {
        return resultWith(FlushResult::Outcome::refused,
                          "this process was forked off from one that uses the library");
    }
    if (CallbackScope::isInside()) {
        return resultWith(FlushResult::Outcome::refused, "shutdown was called by a callback");
    }
    return ClientLifecycle::shared().shutDown(deadline);
}

}  // namespace zentara
