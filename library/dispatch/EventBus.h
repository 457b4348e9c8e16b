#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "dispatch/DeliveryListener.h"
#include "dispatch/EventBusProtocol.h"
#include "dispatch/EventRepositoryProtocol.h"
#include "dispatch/Flushes.h"
#include "dispatch/PostPlan.h"
#include "dispatch/ReferenceTime.h"
#include "network/RestClient.h"
#include "support/FailureReporter.h"
#include "support/Ledger.h"
#include "support/Mutex.h"
#include "support/threads/Ticker.h"

namespace zentara {

class IDManager;

/// Takes a few queued events on every tick and posts them: one envelope for each user, one after
/// the other, in the order of their oldest events. After the last answer, events that were not
/// delivered are put back at the front of the queue, in its order. Dispatches may overlap: a slow
/// post does not delay the next tick.
///
/// `DeliveryPolicy` changes that. A batch may then take several posts, and one more sequence of
/// dispatches, the drain, may run beside the ticks, each dispatch after the end of the one before.
/// Flushes use the same drain, at most one for all of them.
///
/// Events in flight are neither in the queue nor, after the next save, in its file; the repository
/// keeps them in a file of their own. When the process exits they are put back, so that the next
/// run sends them again.
///
/// While a bus exists, the reference time that it took at its creation is in the user defaults.
class EventBus final : public EventBusProtocol, public std::enable_shared_from_this<EventBus> {
  public:
    static constexpr std::string_view requestContentType = "application/json";
    static constexpr std::string_view anonymousTokenName = "Anonymous";
    static constexpr std::string_view typeName = "EventBus";

    struct Collaborators {
        std::shared_ptr<EventRepositoryProtocol> repository;
        std::shared_ptr<IDManager> idManager;
        std::string instanceId;
        std::unique_ptr<TickerProtocol> ticker;
        RemoteService collector;
        Ledger& ledger;  ///< counts what becomes of the events
        DateSource now;
        const ControlTimeProtocol& controlTime;
        /// While it is true nothing is posted.
        const std::atomic<bool>& isPaused = neverPaused;
        DeliveryListener listener = nullptr;
        /// A number from 0 to 1.
        std::function<double()> random = randomFraction;
        /// A new timer for the deadline of a flush.
        std::function<std::unique_ptr<TickerProtocol>()> makeTimer = [] {
            return std::make_unique<Ticker>();
        };
    };

    /// A bus that has taken its reference time and started its timer, which fires at once. What the
    /// references refer to must outlive the bus and its requests.
    [[nodiscard]] static std::shared_ptr<EventBus> create(Collaborators collaborators);

    ~EventBus() override;

    void enqueue(const InternalEvent& event, const EnqueueCompletion& completion) override;
    void dispatch(DispatchCompletion completion) override;
    void flush(std::chrono::milliseconds deadline, std::function<bool()> releaseHeldBack,
               FlushCallback completion, AwaitSchemas awaitSchemas = nullptr) override;
    void retryRefused() override;
    void discardInFlight() override;
    void stopDispatching() override;
    void startTicking() override;

  private:
    explicit EventBus(Collaborators collaborators);

    using Batch = PostPlan::Batch;
    using Case = EventBusError::Case;
    /// Called on a worker after the last answer of a dispatch. `goesOn`: events were left in the
    /// queue, and the policy is to continue at once.
    using DispatchEnd = std::function<void(const DispatchResult& result, bool goesOn)>;

    /// One dispatch, from the events that it took to their last answer.
    struct Delivery {
        std::uint64_t number = 0;
        std::shared_ptr<const ClientSettings> settings;
        DispatchEnd end;
        PostPlan plan;
        std::uint64_t closings = 0;   ///< of the session, when it took its events
        bool wereEventsLeft = false;  ///< in the queue, when it took its own
        bool hasDelivered = false;
        bool hasRefused = false;  ///< an event is passed over
        Status firstFailure;
    };

    static inline const std::atomic<bool> neverPaused = false;
    [[nodiscard]] static double randomFraction();

    /// Why nothing can be posted now.
    [[nodiscard]] std::optional<EventBusError> obstacle(const ClientSettings* settings);
    /// Starts a dispatch. The result, if nothing was posted; `end` is not called then.
    [[nodiscard]] std::optional<DispatchResult> begin(DispatchEnd end);
    /// The next events of the queue, in flight from now on; none when the queue is empty or the
    /// process is ending.
    [[nodiscard]] Batch takeEvents(Delivery& delivery);
    [[nodiscard]] bool isInFlight(const Delivery& delivery);
    /// Makes the next post, or ends the dispatch after the last one.
    void postNext(const std::shared_ptr<Delivery>& delivery);
    void post(const std::shared_ptr<Delivery>& delivery, std::string body);
    /// The body of the next post, which takes no more events than fit.
    [[nodiscard]] std::optional<std::string> nextBody(Delivery& delivery);
    /// Ends the post that was made last, or that has no JSON form. A failure is reported with
    /// `cause`, which may say more than `status`.
    void finishPost(Delivery& delivery, const Status& status, const Status& cause);
    /// Counts the end of a post of `batch`, and marks a refused event. False when the events are
    /// not in flight any more.
    [[nodiscard]] bool countPost(const Delivery& delivery, const Batch& batch, const Status& status,
                                 bool isPassedOver);
    /// Puts undelivered events back at the front, and saves the queue.
    void finish(const Delivery& delivery);
    void tell(DeliveryNotice::Kind kind, const Batch& events, std::string_view reason) const;

    /// Neither in the queue nor in flight.
    [[nodiscard]] bool hasNothingToDeliver();
    /// Ends a flush whose deadline leaves no time.
    void endAtOnce(Flushes::Number flush);
    /// Starts the drain for flushes that await delivery, or if it `isWanted`, unless it runs.
    void startDraining(bool isWanted);
    /// One dispatch of the drain.
    void drainNext();
    /// `moment` is when that dispatch began.
    void continueDraining(Flushes::Number moment, const DispatchResult& result, bool goesOn);
    /// Whether the drain failed for want of an identity, and starts again after a fetch.
    [[nodiscard]] bool awaitsIdentity(const DispatchResult& result);

    [[nodiscard]] std::chrono::milliseconds monotonicNow() const;

    const std::shared_ptr<EventRepositoryProtocol> repository_;
    const std::shared_ptr<IDManager> idManager_;
    const std::unique_ptr<TickerProtocol> ticker_;
    const RemoteService collector_;
    Ledger& ledger_;
    const ControlTimeProtocol& controlTime_;
    const std::atomic<bool>& isPaused_;
    const DeliveryListener listener_;
    const std::function<double()> random_;
    const std::function<std::unique_ptr<TickerProtocol>()> makeTimer_;
    const std::shared_ptr<Flushes> flushes_;         // synchronises itself
    FailureReporter failures_{Component::delivery};  // synchronises itself
    UserDefaults& defaults_ = UserDefaults::current();
    const ReferenceTime reference_;  // inicialTimestamp and inicialMonotonicValue

    // Taken before the mutexes of the repository and of the flushes.
    Mutex mutex_;
    std::string instanceId_ ZENTARA_GUARDED_BY(mutex_);
    std::int64_t dispatchNumberCounter_ ZENTARA_GUARDED_BY(mutex_) = 0;
    std::int64_t validTimestamp_ ZENTARA_GUARDED_BY(mutex_) = 0;
    /// By the number of their dispatch, in the order of the queue.
    std::map<std::uint64_t, Batch> inFlight_ ZENTARA_GUARDED_BY(mutex_);
    std::uint64_t lastDispatch_ ZENTARA_GUARDED_BY(mutex_) = 0;
    bool isStopped_ ZENTARA_GUARDED_BY(mutex_) = false;
    bool isDraining_ ZENTARA_GUARDED_BY(mutex_) = false;
    /// The drain has asked for an identity since the last flush began.
    bool isIdentityAsked_ ZENTARA_GUARDED_BY(mutex_) = false;
    std::int64_t failuresInARow_ ZENTARA_GUARDED_BY(mutex_) = 0;         ///< of the collector
    std::chrono::milliseconds backOffEnd_ ZENTARA_GUARDED_BY(mutex_){};  ///< on `monotonicNow`
};

}  // namespace zentara
