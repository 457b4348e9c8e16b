#include "dispatch/EventBus.h"

#include <limits>
#include <utility>

#include <zentara/ClientSettings.h>
#include <zentara/ZentaraEndpoints.h>
#include "dispatch/EventBusError.h"
#include "identity/IDManager.h"
#include "model/ZentaraEnvelope.h"
#include "network/RequestFailure.h"
#include "network/RestClient.h"
#include "network/URLRequestBuilder.h"
#include "platform/ProcessExit.h"
#include "support/Ledger.h"

namespace zentara {

namespace {

std::int64_t size(const std::vector<InternalEvent>& events) {
    return static_cast<std::int64_t>(events.size());
}

DispatchResult failure(EventBusError::Case errorCase) {
    return DispatchResult::failure(std::make_shared<EventBusError>(errorCase));
}

std::optional<std::string> entry(const StringMap& user, const std::string& key) {
    const auto found = user.find(key);
    if (found == user.end()) return std::nullopt;
    return found->second;
}

/// An envelope speaks for one user: the one of the oldest event.
bool isOfSameUser(const InternalEvent& oldest, const InternalEvent& event) {
    // Decoding a batch to see this took five times as long as all the rest of its way.
    if (oldest.isOfSameUserText(event)) return true;
    const auto& one = oldest.user();
    const auto& other = event.user();
    return entry(one, "token") == entry(other, "token") &&
           entry(one, "type") == entry(other, "type");
}

/// The cookie that names a user other than the anonymous one.
std::optional<ExtraCookie> userCookie(const StringMap& user) {
    auto type = entry(user, "type");
    auto token = entry(user, "token");
    if (!type || !token || *type == EventBus::anonymousTokenName) return std::nullopt;
    return ExtraCookie{*std::move(type), *std::move(token)};
}

/// The buses that are to stop when the process exits.
class LiveBuses {
  public:
    static void add(std::weak_ptr<EventBus> bus) {
        auto& live = shared();
        const MutexLock lock(live.mutex_);
        std::erase_if(live.buses_, [](const auto& other) { return other.expired(); });
        live.buses_.push_back(std::move(bus));
    }

  private:
    LiveBuses() {
        runAtExit([] { shared().stop(); });
    }

    static LiveBuses& shared() {
        // Never destroyed: workers use their buses until the process is gone.
        static auto* const instance = new LiveBuses;
        return *instance;
    }

    void stop() {
        std::vector<std::weak_ptr<EventBus>> buses;
        {
            const MutexLock lock(mutex_);
            buses.swap(buses_);
        }
        for (const auto& bus : buses) {
            if (const auto alive = bus.lock()) alive->stopDispatching();
        }
    }

    Mutex mutex_;
    std::vector<std::weak_ptr<EventBus>> buses_ ZENTARA_GUARDED_BY(mutex_);
};

ReferenceTime takeReference(UserDefaults& defaults, const EventBus::Clocks& clocks) {
    captureReferenceTime(defaults, clocks.now, *clocks.controlTime);
    return loadReferenceTime(defaults);
}

}  // namespace

std::shared_ptr<EventBus> EventBus::create(std::shared_ptr<EventRepositoryProtocol> repository,
                                           std::shared_ptr<IDManager> idManager,
                                           std::string instanceId,
                                           std::unique_ptr<TickerProtocol> ticker, Clocks clocks) {
    std::shared_ptr<EventBus> bus(new EventBus(std::move(repository), std::move(idManager),
                                               std::move(instanceId), std::move(ticker),
                                               std::move(clocks)));
    LiveBuses::add(bus);
    bus->startTicking();
    return bus;
}

std::shared_ptr<EventBus> EventBus::create(std::shared_ptr<EventRepositoryProtocol> repository,
                                           std::shared_ptr<IDManager> idManager,
                                           std::string instanceId,
                                           std::unique_ptr<TickerProtocol> ticker) {
    return create(std::move(repository), std::move(idManager), std::move(instanceId),
                  std::move(ticker), Clocks());
}

EventBus::EventBus(std::shared_ptr<EventRepositoryProtocol> repository,
                   std::shared_ptr<IDManager> idManager, std::string instanceId,
                   std::unique_ptr<TickerProtocol> ticker, Clocks clocks)
    : repository_(std::move(repository)),
      idManager_(std::move(idManager)),
      instanceId_(std::move(instanceId)),
      ticker_(std::move(ticker)),
      clocks_(std::move(clocks)),
      reference_(takeReference(defaults_, clocks_)) {}

EventBus::~EventBus() {
    ticker_->cancel();
    // A bus that was built after this one has put its own reference there, which is to stay.
    resetReferenceTime(defaults_, reference_);
}

void EventBus::startTicking() {
    const auto settings = ClientSettings::current();
    if (!settings || ticker_->isRunning()) return;
    ticker_->setHandler([weak = weak_from_this()] {
        if (const auto self = weak.lock()) self->dispatch(nullptr);
    });
    ticker_->start(TickerProtocol::Clock::now(), settings->dispatchInterval);
}

void EventBus::enqueue(const InternalEvent& event, const EnqueueCompletion& completion) {
    repository_->add(event, [&](const EventRepositoryResult& result) {
        if (!completion) return;
        completion(result.event() != nullptr
                       ? nullptr
                       : std::make_shared<EventBusError>(EventBusError::Case::enqueueError));
    });
}

void EventBus::dispatch(DispatchCompletion completion) {
    if (!completion)
        completion = [](const DispatchResult&) {
        };
    const auto settings = ClientSettings::current();
    if (!settings) {
        completion(failure(EventBusError::Case::clientNotInitialized));
        return;
    }
    if (!idManager_->isReady()) {
        const auto result = failure(EventBusError::Case::idManagerNotReady);
        // Until the first answer comes there is none, and nothing has failed.
        if (isFailing(Component::identity)) failures_.report(result.error());
        completion(result);
        return;
    }
    auto batch = takeBatch(settings->dispatchBatchSize);
    if (batch.events.empty()) {
        if (Ledger::shared().underWay == 0) failures_.report(nullptr);
        completion(DispatchResult::emptyRepository());
        return;
    }
    auto body = envelopeBody(*settings, batch);
    if (!body) {
        putBack(batch);
        const auto result = failure(EventBusError::Case::invalidJSONFormat);
        failures_.report(result.error());
        completion(result);
        return;
    }
    post(*settings, std::move(batch), *std::move(body), std::move(completion));
}

EventBus::Batch EventBus::takeBatch(std::int64_t count) {
    // In one step, so that the end of the process never finds events that are neither in the queue
    // nor on their way. The repository's lock is taken inside of this one, never the other way
    // round.
    const MutexLock lock(mutex_);
    if (isStopped_) return {};
    auto& events = onTheirWay_[++lastBatch_];
    events = repository_->take(count, isOfSameUser);
    Batch batch{lastBatch_, events};
    if (events.empty()) onTheirWay_.erase(lastBatch_);
    Ledger::shared().underWay += size(batch.events);
    return batch;
}

void EventBus::settle(const Batch& batch) {
    {
        const MutexLock lock(mutex_);
        // At the end of the process it may have been put back already.
        if (onTheirWay_.erase(batch.number) > 0) {
            auto& ledger = Ledger::shared();
            ledger.underWay -= size(batch.events);
            ledger.delivered += size(batch.events);
            ++ledger.batchesDelivered;
        }
    }
    repository_->settle(batch.events);
}

void EventBus::putBack(const Batch& batch) {
    {
        const MutexLock lock(mutex_);
        // As above.
        if (onTheirWay_.erase(batch.number) > 0) {
            // In this order they are at no moment in neither place for who looks at the counts.
            repository_->insert(batch.events);
            Ledger::shared().underWay -= size(batch.events);
            ++Ledger::shared().batchesFailed;
        }
    }
    repository_->save();
}

void EventBus::stopDispatching() {
    ticker_->cancel();
    decltype(onTheirWay_) interrupted;
    {
        const MutexLock lock(mutex_);
        isStopped_ = true;
        interrupted.swap(onTheirWay_);
    }
    // The latest first, so that the oldest ends up in front.
    for (auto entry = interrupted.rbegin(); entry != interrupted.rend(); ++entry) {
        repository_->insert(entry->second);
        Ledger::shared().underWay -= size(entry->second);
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
    envelope.zentaraActionCounter = static_cast<std::int64_t>(batch.events.size());
    envelope.actions = batch.events;
    {
        const MutexLock lock(mutex_);
        validTimestamp_ =
            validatedTimestamp(reference_, clocks_.controlTime->currentMonotonicValue());
        dispatchNumberCounter_ = dispatchNumberCounter_ == std::numeric_limits<std::int64_t>::max()
                                     ? 0
                                     : dispatchNumberCounter_ + 1;
        envelope.zentaraClientTs = validTimestamp_;
        envelope.zentaraDispatchNumber = dispatchNumberCounter_;
    }
    return envelope.requestBody();
}

void EventBus::post(const ClientSettings& settings, Batch batch, std::string body,
                    DispatchCompletion completion) {
    URLRequestBuilder builder(ZentaraEndpoints::collector(settings.environment)
                                  .appendingPathComponent(settings.eventLabel));
    builder.method = "POST";
    const auto headers = idManager_->getHeaders(userCookie(batch.events.front().user()));
    for (const auto& [name, value] : headers) {
        builder.headers[name] = value;
    }
    builder.headers["Content-Type"] = requestContentType;
    builder.body = std::move(body);
    // Holding the bus: a batch that comes back must find its queue.
    RestClient::shared().statusRequest(
        builder.build(), [self = shared_from_this(), batch = std::move(batch), url = builder.url,
                          completion = std::move(completion)](const ErrorRef& error) {
            self->failures_.report(withHost(url, error));
            if (error) {
                self->putBack(batch);
                completion(DispatchResult::failure(error));
            } else {
                self->settle(batch);
                completion(DispatchResult::success());
            }
        });
}

}  // namespace zentara
