#include "dispatch/EventBus.h"

#include <algorithm>
#include <iterator>
#include <limits>
#include <random>
#include <utility>

#include "dispatch/BackOff.h"
#include "identity/IDManager.h"
#include "model/ZentaraEnvelope.h"
#include "network/Gzip.h"
#include "network/URLRequestBuilder.h"
#include "support/PlatformError.h"
#include "support/UUID.h"
#include "support/threads/WorkerPool.h"

namespace zentara {

namespace {

Status failure(const EventBusError& error) {
    return std::make_shared<EventBusError>(error);
}

/// The status of an HTTP answer that reports a failure; 0 for other failures.
int statusCodeOf(const Status& status) {
    const auto* const error = dynamic_cast<const RestClientError*>(status.error().get());
    return error == nullptr ? 0 : error->statusCode();
}

/// The collector has refused the contents of the post.
bool isRefusal(int statusCode) {
    return statusCode == 400 || statusCode == 413 || statusCode == 422;
}

/// The collector can take no posts for now.
bool isOverload(int statusCode) {
    return statusCode == 429 || statusCode / 100 == 5;
}

/// The cookie that names a user other than the anonymous one.
std::optional<ExtraCookie> userCookie(const StringMap& user) {
    const auto type = user.find("type");
    const auto token = user.find("token");
    if (type == user.end() || token == user.end()) return std::nullopt;
    if (type->second == EventBus::anonymousTokenName) return std::nullopt;
    return ExtraCookie{type->second, token->second};
}

}  // namespace

std::string EventBusError::description() const {
    constexpr const char* texts[] = {"the client is not initialized",
                                     "there is no identity yet",
                                     "the envelope cannot be turned into JSON",
                                     "the event cannot be stored",
                                     "the queue takes no events",
                                     "delivery is paused",
                                     "no request is made without the user's consent",
                                     "the collector has asked to wait or has failed",
                                     "delivery has ended"};
    return texts[static_cast<std::size_t>(case_)] + detail_;
}

std::shared_ptr<EventBus> EventBus::create(Collaborators collaborators) {
    std::shared_ptr<EventBus> bus(new EventBus(std::move(collaborators)));
    bus->startTicking();
    return bus;
}

EventBus::EventBus(Collaborators collaborators)
    : repository_(std::move(collaborators.repository)),
      idManager_(std::move(collaborators.idManager)),
      ticker_(std::move(collaborators.ticker)),
      collector_(std::move(collaborators.collector)),
      ledger_(collaborators.ledger),
      controlTime_(collaborators.controlTime),
      isPaused_(collaborators.isPaused),
      listener_(std::move(collaborators.listener)),
      random_(std::move(collaborators.random)),
      makeTimer_(std::move(collaborators.makeTimer)),
      flushes_(std::make_shared<Flushes>(ledger_)),
      reference_(captureReferenceTime(defaults_, collaborators.now, controlTime_)),
      instanceId_(std::move(collaborators.instanceId)) {}

EventBus::~EventBus() {
    ticker_->cancel();
    flushes_->endAll(FlushResult::Outcome::failed, EventBusError(Case::stopped).description());
    // Leaves the reference of a later bus.
    resetReferenceTime(defaults_, reference_);
}

double EventBus::randomFraction() {
    return static_cast<double>(std::random_device()()) /
           static_cast<double>(std::random_device::max());
}

void EventBus::startTicking() {
    const auto settings = collector_.settings();
    if (!settings || ticker_->isRunning()) return;
    // A `send` that began before the end must not start the timer again.
    const MutexLock lock(mutex_);
    if (isStopped_) return;
    ticker_->setHandler([weak = weak_from_this()] {
        if (const auto self = weak.lock()) self->dispatch(nullptr);
    });
    ticker_->start(TickerProtocol::Clock::now(), settings->dispatchInterval);
}

void EventBus::enqueue(const InternalEvent& event, const EnqueueCompletion& completion) {
    repository_->add(event, [&](const EventRepositoryResult& result) {
        if (!completion) return;
        if (result.ok()) return completion(Status());
        // Other failures have been reported by the store.
        const auto errorCase = isClosed(result.status()) ? Case::queueClosed : Case::enqueueError;
        completion(failure(EventBusError(errorCase)));
    });
}

std::chrono::milliseconds EventBus::monotonicNow() const {
    constexpr std::uint64_t ticksPerMillisecond = 10'000;
    return std::chrono::milliseconds(controlTime_.currentMonotonicValue() / ticksPerMillisecond);
}

std::optional<EventBusError> EventBus::obstacle(const ClientSettings* settings) {
    if (settings == nullptr) return EventBusError(Case::clientNotInitialized);
    if (isPaused_) return EventBusError(Case::paused);
    if (!collector_.client.isOpen()) return EventBusError(Case::notPermitted);
    if (!idManager_->isReady()) return EventBusError(Case::idManagerNotReady);
    if (!settings->delivery.backOff) return std::nullopt;
    const MutexLock lock(mutex_);
    const auto left = backOffEnd_ - monotonicNow();
    if (left <= std::chrono::milliseconds::zero()) return std::nullopt;
    const auto seconds = std::chrono::ceil<std::chrono::seconds>(left).count();
    return EventBusError(Case::backingOff, ": " + std::to_string(seconds) + " s left");
}

void EventBus::dispatch(DispatchCompletion completion) {
    const auto result =
        begin([self = shared_from_this(), completion](const DispatchResult& outcome, bool goesOn) {
            self->startDraining(goesOn);
            if (!completion) return;
            Strand::forHostCallbacks().async([completion, outcome] { completion(outcome); });
        });
    if (!result) return;
    // The identity may have come with this tick.
    if (result->kind() == DispatchResult::Kind::emptyRepository) startDraining(false);
    if (completion) completion(*result);
}

std::optional<DispatchResult> EventBus::begin(DispatchEnd end) {
    const auto settings = collector_.settings();
    if (const auto reason = obstacle(settings.get())) {
        const auto status = failure(*reason);
        // Before the first answer there is no identity, and nothing has failed. The others are what
        // the host or the collector wants, or follow a failure that was reported.
        const auto errorCase = reason->errorCase();
        const bool isFailure = errorCase == Case::idManagerNotReady
                                   ? isFailing(Component::identity)
                                   : errorCase == Case::clientNotInitialized;
        if (isFailure) failures_.report(status);
        return DispatchResult::failure(status);
    }
    const auto delivery = std::make_shared<Delivery>();
    delivery->settings = settings;
    const auto events = takeEvents(*delivery);
    if (events.empty()) {
        // Without a number nothing was taken, and events may be queued: the process is ending, or
        // the session was closed a moment ago.
        if (delivery->number == 0 && !collector_.client.isOpen())
            return DispatchResult::failure(failure(EventBusError(Case::notPermitted)));
        const bool nothingIsLeft = delivery->number > 0 && ledger_.inFlight == 0;
        if (nothingIsLeft) failures_.report(Status());
        return DispatchResult::emptyRepository();
    }
    delivery->end = std::move(end);
    delivery->plan = PostPlan(events);
    postNext(delivery);
    return std::nullopt;
}

EventBus::Batch EventBus::takeEvents(Delivery& delivery) {
    // In one step, so that the end of the process never finds events that are neither in the queue
    // nor in flight. The lock order is this mutex, then the repository's queue.
    const MutexLock lock(mutex_);
    delivery.closings = collector_.client.closings();
    // Once the session is closed and what is in flight is discarded, nothing can be put back.
    if (isStopped_ || !collector_.client.isOpen()) return {};
    delivery.number = ++lastDispatch_;
    auto& events = inFlight_[delivery.number];
    events = repository_->take(delivery.settings->dispatchBatchSize);
    ledger_.inFlight += std::ssize(events);
    auto taken = events;
    if (events.empty()) inFlight_.erase(delivery.number);
    delivery.wereEventsLeft =
        delivery.settings->delivery.continueAtOnce && repository_->hasEventsToTake();
    return taken;
}

bool EventBus::isInFlight(const Delivery& delivery) {
    const MutexLock lock(mutex_);
    return inFlight_.contains(delivery.number);
}

void EventBus::postNext(const std::shared_ptr<Delivery>& delivery) {
    // The end of the process may have put the events back.
    while (!delivery->plan.empty() && isInFlight(*delivery)) {
        // Again for each post: it may have appeared during the last. That there was an identity for
        // the first is enough.
        const auto reason = obstacle(delivery->settings.get());
        if (reason && reason->errorCase() != Case::idManagerNotReady) {
            if (delivery->firstFailure.ok()) delivery->firstFailure = failure(*reason);
            break;
        }
        auto body = nextBody(*delivery);
        if (body) return post(delivery, *std::move(body));
        const auto status = failure(EventBusError(Case::invalidJSONFormat));
        finishPost(*delivery, status, status);
    }
    finish(*delivery);
}

void EventBus::finishPost(Delivery& delivery, const Status& status, const Status& cause) {
    auto& plan = delivery.plan;
    const auto batch = plan.next();
    const bool isRefused =
        delivery.settings->delivery.isolateRefused && isRefusal(statusCodeOf(status));
    const bool isPassedOver = isRefused && batch.size() == 1;
    if (!countPost(delivery, batch, status, isPassedOver)) return;
    if (status.ok()) {
        delivery.hasDelivered = true;
        plan.removeNext();
        repository_->settle(batch);
        return tell(DeliveryNotice::Kind::delivered, batch, "");
    }
    if (isRefused && !isPassedOver) return plan.halveNext();
    // Only the first failure of a dispatch is reported. Otherwise, when the failures of two users
    // differ, each dispatch would report both anew. A post that the closing of the session has
    // interrupted is what the user wants.
    const bool isFirst = delivery.firstFailure.ok() && !delivery.hasRefused;
    if (isFirst && collector_.client.isOpen()) failures_.report(cause);
    if (isPassedOver) {
        const auto reason = cause.error()->description();
        delivery.hasRefused = true;
        flushes_->noteFailure(reason);
        plan.removeNext();
        return tell(DeliveryNotice::Kind::refused, batch, reason);
    }
    if (delivery.firstFailure.ok()) delivery.firstFailure = status;
    plan.removeUserOfNext();
}

bool EventBus::countPost(const Delivery& delivery, const Batch& batch, const Status& status,
                         bool isPassedOver) {
    const MutexLock lock(mutex_);
    if (status.ok()) {
        failuresInARow_ = 0;
    } else if (delivery.settings->delivery.backOff && isOverload(statusCodeOf(status))) {
        const auto& error = dynamic_cast<const RestClientError&>(*status.error());
        backOffEnd_ = std::max(backOffEnd_, backOffUntil(++failuresInARow_, error.retryAfter(),
                                                         random_(), monotonicNow()));
    }
    const auto events = inFlight_.find(delivery.number);
    if (events == inFlight_.end()) return false;
    if (status.ok()) {
        std::erase_if(events->second, [&](const auto& event) {
            return std::ranges::any_of(
                batch, [&](const auto& delivered) { return event.isCopyOf(delivered); });
        });
        ledger_.inFlight -= std::ssize(batch);
        ledger_.delivered += std::ssize(batch);
        ++ledger_.batchesDelivered;
    } else {
        ++ledger_.batchesFailed;
    }
    if (isPassedOver) repository_->passOver(batch);
    return true;
}

void EventBus::tell(DeliveryNotice::Kind kind, const Batch& events, std::string_view reason) const {
    if (listener_) listener_(kind, events, reason);
}

void EventBus::finish(const Delivery& delivery) {
    bool isInterrupted = false;
    bool isStopped = false;
    {
        const MutexLock lock(mutex_);
        const auto events = inFlight_.find(delivery.number);
        isInterrupted = events == inFlight_.end();
        isStopped = isStopped_;
        if (!isInterrupted) {
            // In this order the counts show each event at every moment.
            repository_->insert(events->second);
            ledger_.inFlight -= std::ssize(events->second);
            inFlight_.erase(events);
        }
    }
    auto result = DispatchResult::success();
    if (isInterrupted) {
        result = isStopped ? DispatchResult::emptyRepository()
                           : DispatchResult::failure(plainError(std::string(userDataRemoved)));
    } else if (!delivery.firstFailure.ok()) {
        repository_->save();
        result = DispatchResult::failure(delivery.firstFailure);
    } else if (delivery.hasRefused) {
        repository_->save();
    } else {
        failures_.report(Status());
    }
    // When all events were refused, the next would most likely be refused, too.
    const bool isSuccess = result.kind() == DispatchResult::Kind::success;
    delivery.end(result, isSuccess && delivery.hasDelivered && delivery.wereEventsLeft);
}

void EventBus::flush(std::chrono::milliseconds deadline, std::function<bool()> releaseHeldBack,
                     FlushCallback completion, AwaitSchemas awaitSchemas) {
    {
        const MutexLock lock(mutex_);
        isIdentityAsked_ = false;
    }
    const auto flush = flushes_->begin(deadline, makeTimer_(), std::move(completion));
    const bool hasTime = deadline.count() > 0;
    auto begin = [self = shared_from_this(), flush, hasTime, release = std::move(releaseHeldBack)] {
        WorkerPool::shared().async([self, flush, hasTime, release] {
            if (!hasTime) return self->endAtOnce(flush);
            while (release && self->flushes_->isUnderWay(flush) && release()) {
            }
            self->flushes_->awaitDelivery(flush);
            self->startDraining(false);
        });
    };
    awaitSchemas&& hasTime ? awaitSchemas(std::move(begin)) : begin();
}

bool EventBus::hasNothingToDeliver() {
    const MutexLock lock(mutex_);
    return inFlight_.empty() && !repository_->hasEventsToTake();
}

void EventBus::endAtOnce(Flushes::Number flush) {
    flushes_->end(flush, hasNothingToDeliver() ? FlushResult::Outcome::empty
                                               : FlushResult::Outcome::deadline);
}

void EventBus::startDraining(bool isWanted) {
    {
        const MutexLock lock(mutex_);
        if (isDraining_ || !(isWanted || flushes_->areAwaitingDelivery())) return;
        isDraining_ = true;
    }
    // On a worker of its own: a session may answer before it returns.
    WorkerPool::shared().async([self = shared_from_this()] { self->drainNext(); });
}

void EventBus::drainNext() {
    // A flush that begins later may have been preceded by a `send` that this dispatch has missed.
    const auto moment = flushes_->now();
    // An empty queue is empty also while nothing can be posted.
    if (hasNothingToDeliver())
        return continueDraining(moment, DispatchResult::emptyRepository(), false);
    const auto result =
        begin([self = shared_from_this(), moment](const DispatchResult& outcome, bool goesOn) {
            self->continueDraining(moment, outcome, goesOn);
        });
    if (result) continueDraining(moment, *result, false);
}

void EventBus::continueDraining(Flushes::Number moment, const DispatchResult& result, bool goesOn) {
    using Kind = DispatchResult::Kind;
    using Outcome = FlushResult::Outcome;
    if (awaitsIdentity(result)) return;
    Flushes::Reports ended;
    {
        const MutexLock lock(mutex_);
        isDraining_ = false;
        // The end of another dispatch starts the drain again.
        const bool awaitsOthers =
            result.kind() == Kind::emptyRepository && !isStopped_ && !inFlight_.empty();
        if (result.kind() == Kind::failure) {
            ended = flushes_->endBefore(moment, Outcome::failed, result.error()->description());
        } else if (isStopped_) {
            ended = flushes_->endBefore(moment, Outcome::failed,
                                        EventBusError(Case::stopped).description());
        } else if (result.kind() == Kind::emptyRepository && !awaitsOthers &&
                   !repository_->hasEventsToTake()) {
            // Events that another dispatch has put back meanwhile are left to the next.
            ended = flushes_->endBefore(moment, Outcome::empty, "");
        }
        if (awaitsOthers) return;
    }
    Flushes::report(ended);
    startDraining(goesOn);
}

bool EventBus::awaitsIdentity(const DispatchResult& result) {
    const auto* const error = dynamic_cast<const EventBusError*>(result.error().get());
    if (error == nullptr || error->errorCase() != Case::idManagerNotReady) return false;
    {
        const MutexLock lock(mutex_);
        if (std::exchange(isIdentityAsked_, true)) return false;
        isDraining_ = false;
    }
    // Shares the fetch that is under way at the start of a process.
    idManager_->fetchIdentity([weak = weak_from_this()] {
        if (const auto self = weak.lock()) self->startDraining(false);
    });
    return true;
}

void EventBus::retryRefused() {
    repository_->retryPassedOver();
}

void EventBus::discardInFlight() {
    Batch events;
    {
        const MutexLock lock(mutex_);
        instanceId_ = lowerCaseUUID();
        for (const auto& [number, inFlight] : inFlight_)
            events.insert(events.end(), inFlight.begin(), inFlight.end());
        inFlight_.clear();
        ledger_.inFlight -= std::ssize(events);
        ledger_.queue.discarded += std::ssize(events);
    }
    if (events.empty()) return;
    repository_->settle(events);
    tell(DeliveryNotice::Kind::dropped, events, userDataRemoved);
}

void EventBus::stopDispatching() {
    {
        const MutexLock lock(mutex_);
        isStopped_ = true;
        // A later flush need not wait for the answer that is ignored.
        isDraining_ = false;
        ticker_->cancel();
        // The latest dispatch first, so that the oldest events end up in front. Under the lock: if
        // the user is forgotten meanwhile, they are discarded.
        for (auto entry = inFlight_.rbegin(); entry != inFlight_.rend(); ++entry) {
            repository_->insert(entry->second);
            ledger_.inFlight -= std::ssize(entry->second);
        }
        inFlight_.clear();
        repository_->save();
    }
    flushes_->endAll(FlushResult::Outcome::failed, EventBusError(Case::stopped).description());
}

std::optional<std::string> EventBus::nextBody(Delivery& delivery) {
    const auto& settings = *delivery.settings;
    ZentaraEnvelope envelope;
    envelope.zentaraClientTenant = settings.tenant;
    envelope.zentaraClientType = settings.clientType;
    envelope.zentaraClientDeviceGroup = settings.deviceGroup;
    envelope.actions = delivery.plan.next();
    {
        const MutexLock lock(mutex_);
        validTimestamp_ = validatedTimestamp(reference_, controlTime_.currentMonotonicValue());
        dispatchNumberCounter_ = dispatchNumberCounter_ == std::numeric_limits<std::int64_t>::max()
                                     ? 0
                                     : dispatchNumberCounter_ + 1;
        envelope.zentaraClientUUID = instanceId_;
        envelope.zentaraClientTs = validTimestamp_;
        envelope.zentaraDispatchNumber = dispatchNumberCounter_;
    }
    const auto limit = settings.delivery.largestBodySize;
    for (;; envelope.actions.pop_back()) {
        envelope.zentaraActionCounter = std::ssize(envelope.actions);
        auto body = envelope.requestBody();
        const bool fits = !body || limit <= 0 || std::ssize(*body) <= limit;
        if (!fits && envelope.actions.size() > 1) continue;
        delivery.plan.splitNext(envelope.actions.size());
        return body;
    }
}

void EventBus::post(const std::shared_ptr<Delivery>& delivery, std::string body) {
    const auto& settings = *delivery->settings;
    const auto& user = delivery->plan.next().front().user();
    URLRequestBuilder builder(
        collector_.baseURL(settings.environment).appendingPathComponent(settings.eventLabel));
    builder.method = "POST";
    for (const auto& [name, value] : idManager_->getHeaders(userCookie(user)))
        builder.headers[name] = value;
    builder.headers["Content-Type"] = requestContentType;
    if (settings.delivery.compressBodies && body.size() <= longestToGzip) {
        builder.headers["Content-Encoding"] = "gzip";
        body = gzip(body);
    }
    builder.body = std::move(body);
    auto request = builder.build();
    request.reusesConnection = settings.delivery.reuseConnections;
    request.closings = delivery->closings;
    // Holds the bus: a failed batch must be put back in its queue.
    collector_.client.statusRequest(std::move(request), [self = shared_from_this(), delivery,
                                                         url = builder.url](const Status& status) {
        self->finishPost(*delivery, status, withHost(url, status));
        self->postNext(delivery);
    });
}

}  // namespace zentara
