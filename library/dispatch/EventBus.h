#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "dispatch/EventBusProtocol.h"
#include "dispatch/EventRepositoryProtocol.h"
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
    };

    /// A bus that has taken its reference time and started its timer, which fires at once. The
    /// ledger and `controlTime` must outlive the bus and its requests.
    [[nodiscard]] static std::shared_ptr<EventBus> create(Collaborators collaborators);

    ~EventBus() override;

    void enqueue(const InternalEvent& event, const EnqueueCompletion& completion) override;
    void dispatch(DispatchCompletion completion) override;

    /// Puts the events in flight back into the queue and takes no more; their answers are ignored.
    /// For the end of the process.
    void stopDispatching();

    void startTicking() override;

  private:
    explicit EventBus(Collaborators collaborators);

    using Batch = std::vector<InternalEvent>;
    /// One dispatch, from the events that it took to their last answer.
    struct Delivery {
        std::uint64_t number = 0;
        std::shared_ptr<const ClientSettings> settings;
        DispatchCompletion completion;
        std::vector<Batch> batches;  ///< one for each user
        std::size_t next = 0;        ///< of the batches
        Status firstFailure;
    };

    /// The next events of the queue, in flight from now on; none when the queue is empty or the
    /// process is ending.
    [[nodiscard]] Batch takeEvents(Delivery& delivery);
    [[nodiscard]] bool isInFlight(const Delivery& delivery);
    /// Posts the next batch, or ends the dispatch after the last one.
    void postNext(const std::shared_ptr<Delivery>& delivery);
    void post(const std::shared_ptr<Delivery>& delivery, std::string body);
    [[nodiscard]] std::optional<std::string> envelopeBody(const ClientSettings& settings,
                                                          const Batch& batch);
    /// Ends the batch that was posted last, or that has no JSON form. A failure is reported with
    /// `cause`, which may say more than `status`.
    void finishBatch(Delivery& delivery, const Status& status, const Status& cause);
    /// Puts undelivered events back at the front, and saves the queue.
    void finish(const Delivery& delivery);

    const std::shared_ptr<EventRepositoryProtocol> repository_;
    const std::shared_ptr<IDManager> idManager_;
    const std::string instanceId_;
    const std::unique_ptr<TickerProtocol> ticker_;
    const RemoteService collector_;
    Ledger& ledger_;
    const ControlTimeProtocol& controlTime_;
    FailureReporter failures_{Component::delivery};  // synchronises itself
    UserDefaults& defaults_ = UserDefaults::current();
    const ReferenceTime reference_;  // inicialTimestamp and inicialMonotonicValue

    Mutex mutex_;
    std::int64_t dispatchNumberCounter_ ZENTARA_GUARDED_BY(mutex_) = 0;
    std::int64_t validTimestamp_ ZENTARA_GUARDED_BY(mutex_) = 0;
    /// By the number of their dispatch, in the order of the queue.
    std::map<std::uint64_t, Batch> inFlight_ ZENTARA_GUARDED_BY(mutex_);
    std::uint64_t lastDispatch_ ZENTARA_GUARDED_BY(mutex_) = 0;
    bool isStopped_ ZENTARA_GUARDED_BY(mutex_) = false;
};

}  // namespace zentara
