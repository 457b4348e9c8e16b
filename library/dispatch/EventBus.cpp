#include "dispatch/EventBus.h"

#include <algorithm>
#include <iterator>
#include <limits>
#include <utility>

#include "identity/IDManager.h"
#include "model/ZentaraEnvelope.h"
#include "network/URLRequestBuilder.h"
#include "support/threads/WorkerPool.h"

namespace zentara {

namespace {

Status failure(EventBusError::Case errorCase) {
    return std::make_shared<EventBusError>(errorCase);
}

std::optional<std::string> entry(const StringMap& user, const std::string& key) {
    const auto found = user.find(key);
    if (found == user.end()) return std::nullopt;
    return found->second;
}

bool isOfSameUser(const InternalEvent& left, const InternalEvent& right) {
    // Decoding a batch for this took five times as long as the rest of its delivery.
    if (left.isOfSameUserText(right)) return true;
    const auto& one = left.user();
    const auto& other = right.user();
    return entry(one, "token") == entry(other, "token") &&
           entry(one, "type") == entry(other, "type");
}

/// An envelope is for one user. The batches are in the order of their oldest events.
std::vector<std::vector<InternalEvent>> batchesByUser(const std::vector<InternalEvent>& events) {
    std::vector<std::vector<InternalEvent>> batches;
    for (const auto& event : events) {
        const auto batch = std::ranges::find_if(
            batches, [&](const auto& other) { return isOfSameUser(other.front(), event); });
        if (batch == batches.end()) {
            batches.push_back({event});
        } else {
            batch->push_back(event);
        }
    }
    return batches;
}

/// The cookie that names a user other than the anonymous one.
std::optional<ExtraCookie> userCookie(const StringMap& user) {
    auto type = entry(user, "type");
    auto token = entry(user, "token");
    if (!type || !token || *type == EventBus::anonymousTokenName) return std::nullopt;
    return ExtraCookie{*std::move(type), *std::move(token)};
}

}  // namespace

std::string EventBusError::description() const {
    constexpr const char* texts[] = {"the client is not initialized", "there is no identity yet",
                                     "the envelope cannot be turned into JSON",
                                     "the event cannot be stored", "the queue takes no events"};
    return texts[static_cast<std::size_t>(case_)];
}

std::shared_ptr<EventBus> EventBus::create(Collaborators collaborators) {
    std::shared_ptr<EventBus> bus(new EventBus(std::move(collaborators)));
    bus->startTicking();
    return bus;
}

EventBus::EventBus(Collaborators collaborators)
    : repository_(std::move(collaborators.repository)),
      idManager_(std::move(collaborators.idManager)),
      instanceId_(std::move(collaborators.instanceId)),
      ticker_(std::move(collaborators.ticker)),
      collector_(std::move(collaborators.collector)),
      ledger_(collaborators.ledger),
      controlTime_(collaborators.controlTime),
      reference_(captureReferenceTime(defaults_, collaborators.now, controlTime_)) {}

EventBus::~EventBus() {
    ticker_->cancel();
    // Leaves the reference of a later bus.
    resetReferenceTime(defaults_, reference_);
}

void EventBus::startTicking() {
    const auto settings = collector_.settings();
    if (!settings || ticker_->isRunning()) return;
    ticker_->setHandler([weak = weak_from_this()] {
        if (const auto self = weak.lock()) self->dispatch(nullptr);
    });
    ticker_->start(TickerProtocol::Clock::now(), settings->dispatchInterval);
}

void EventBus::enqueue(const InternalEvent& event, const EnqueueCompletion& completion) {
    repository_->add(event, [&](const EventRepositoryResult& result) {
        if (!completion) return;
        if (result.ok()) return completion(Status());
        const bool isClosed =
            dynamic_cast<const RepositoryClosedError*>(result.error().get()) != nullptr;
        // For other failures, the store has reported why.
        completion(failure(isClosed ? EventBusError::Case::queueClosed
                                    : EventBusError::Case::enqueueError));
    });
}

void EventBus::dispatch(DispatchCompletion completion) {
    if (!completion)
        completion = [](const auto&) {
        };
    const auto settings = collector_.settings();
    if (!settings || !idManager_->isReady()) {
        const auto status = failure(settings ? EventBusError::Case::idManagerNotReady
                                             : EventBusError::Case::clientNotInitialized);
        // Before the first answer there is no identity, and nothing has failed.
        if (!settings || isFailing(Component::identity)) failures_.report(status);
        return completion(DispatchResult::failure(status));
    }
    const auto delivery = std::make_shared<Delivery>();
    delivery->settings = settings;
    const auto events = takeEvents(*delivery);
    if (events.empty()) {
        // Without a number nothing was taken: the process is ending, and events may be queued.
        const bool nothingIsLeft = delivery->number > 0 && ledger_.inFlight == 0;
        if (nothingIsLeft) failures_.report(Status());
        completion(DispatchResult::emptyRepository());
        return;
    }
    delivery->completion = std::move(completion);
    delivery->batches = batchesByUser(events);
    postNext(delivery);
}

EventBus::Batch EventBus::takeEvents(Delivery& delivery) {
    // In one step, so that the end of the process never finds events that are neither in the queue
    // nor in flight. The lock order is this mutex, then the repository's queue.
    const MutexLock lock(mutex_);
    if (isStopped_) return {};
    delivery.number = ++lastDispatch_;
    auto& events = inFlight_[delivery.number];
    events = repository_->take(delivery.settings->dispatchBatchSize);
    ledger_.inFlight += std::ssize(events);
    auto taken = events;
    if (events.empty()) inFlight_.erase(delivery.number);
    return taken;
}

bool EventBus::isInFlight(const Delivery& delivery) {
    const MutexLock lock(mutex_);
    return inFlight_.contains(delivery.number);
}

void EventBus::postNext(const std::shared_ptr<Delivery>& delivery) {
    // The end of the process may have put the events back.
    while (delivery->next < delivery->batches.size() && isInFlight(*delivery)) {
        auto body = envelopeBody(*delivery->settings, delivery->batches[delivery->next]);
        if (body) return post(delivery, *std::move(body));
        const auto status = failure(EventBusError::Case::invalidJSONFormat);
        finishBatch(*delivery, status, status);
    }
    finish(*delivery);
}

void EventBus::finishBatch(Delivery& delivery, const Status& status, const Status& cause) {
    const auto& batch = delivery.batches[delivery.next++];
    // Only the first failure of a dispatch is reported. Otherwise, when the failures of two users
    // differ, each dispatch would report both anew.
    if (!status.ok() && delivery.firstFailure.ok()) {
        delivery.firstFailure = status;
        failures_.report(cause);
    }
    {
        const MutexLock lock(mutex_);
        const auto events = inFlight_.find(delivery.number);
        // The end of the process may have put the events back.
        if (events != inFlight_.end()) {
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
        }
    }
    if (status.ok()) repository_->settle(batch);
}

void EventBus::finish(const Delivery& delivery) {
    {
        const MutexLock lock(mutex_);
        const auto events = inFlight_.find(delivery.number);
        if (events != inFlight_.end()) {
            // In this order the counts show each event at every moment.
            repository_->insert(events->second);
            ledger_.inFlight -= std::ssize(events->second);
            inFlight_.erase(events);
        }
    }
    auto result = DispatchResult::success();
    if (!delivery.firstFailure.ok()) {
        repository_->save();
        result = DispatchResult::failure(delivery.firstFailure);
    } else if (delivery.next < delivery.batches.size()) {
        result = DispatchResult::emptyRepository();
    } else {
        failures_.report(Status());
    }
    Strand::forHostCallbacks().async(
        [completion = delivery.completion, result] { completion(result); });
}

void EventBus::stopDispatching() {
    ticker_->cancel();
    decltype(inFlight_) interrupted;
    {
        const MutexLock lock(mutex_);
        isStopped_ = true;
        interrupted.swap(inFlight_);
    }
    // The latest dispatch first, so that the oldest events end up in front.
    for (auto entry = interrupted.rbegin(); entry != interrupted.rend(); ++entry) {
        repository_->insert(entry->second);
        ledger_.inFlight -= std::ssize(entry->second);
    }
    repository_->save();
}

std::optional<std::string> EventBus::envelopeBody(const ClientSettings& settings,
                                                  const Batch& batch) {
    ZentaraEnvelope envelope;
    envelope.zentaraClientUUID = instanceId_;
    envelope.zentaraClientTenant = settings.tenant;
    envelope.zentaraClientType = settings.clientType;
    envelope.zentaraClientDeviceGroup = settings.deviceGroup;
    envelope.zentaraActionCounter = std::ssize(batch);
    envelope.actions = batch;
    {
        const MutexLock lock(mutex_);
        validTimestamp_ = validatedTimestamp(reference_, controlTime_.currentMonotonicValue());
        dispatchNumberCounter_ = dispatchNumberCounter_ == std::numeric_limits<std::int64_t>::max()
                                     ? 0
                                     : dispatchNumberCounter_ + 1;
        envelope.zentaraClientTs = validTimestamp_;
        envelope.zentaraDispatchNumber = dispatchNumberCounter_;
    }
    return envelope.requestBody();
}

void EventBus::post(const std::shared_ptr<Delivery>& delivery, std::string body) {
    const auto& settings = *delivery->settings;
    const auto& user = delivery->batches[delivery->next].front().user();
    URLRequestBuilder builder(
        collector_.baseURL(settings.environment).appendingPathComponent(settings.eventLabel));
    builder.method = "POST";
    for (const auto& [name, value] : idManager_->getHeaders(userCookie(user)))
        builder.headers[name] = value;
    builder.headers["Content-Type"] = requestContentType;
    builder.body = std::move(body);
    // Holds the bus: a failed batch must be put back in its queue.
    collector_.client.statusRequest(builder.build(), [self = shared_from_this(), delivery,
                                                      url = builder.url](const Status& status) {
        self->finishBatch(*delivery, status, withHost(url, status));
        self->postNext(delivery);
    });
}

}  // namespace zentara
