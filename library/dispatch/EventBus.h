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
#include "dispatch/TickerProtocol.h"
#include "support/ControlTime.h"
#include "support/FailureReporter.h"
#include "support/Mutex.h"
#include "support/ReferenceTime.h"
#include "support/ZentaraClock.h"

namespace zentara {

struct ClientSettings;

/// Posts a batch of queued events on every tick, and puts it back at the front of the queue when
/// the post fails. Batches may overlap: a slow post does not hold up the next tick.
///
/// A batch under way is neither in the queue nor, after the next save, in its file; the repository
/// keeps it in another one. When the process exits the batches under way go back into the queue, so
/// that the next run sends them again.
///
/// While a bus exists, the reference time that it took at its creation is in the user defaults.
class EventBus final : public EventBusProtocol, public std::enable_shared_from_this<EventBus> {
  public:
    static constexpr std::string_view requestContentType = "application/json";
    static constexpr std::string_view anonymousTokenName = "Anonymous";
    static constexpr std::string_view typeName = "EventBus";

    /// The clocks behind the timestamps.
    struct Clocks {
        DateSource now = [] {
            return ZentaraClock().now();
        };
        const ControlTimeProtocol* controlTime = &ControlTime::shared();
    };

    /// A bus that has taken its reference time and started its timer, which fires at once.
    [[nodiscard]] static std::shared_ptr<EventBus> create(
        std::shared_ptr<EventRepositoryProtocol> repository, std::shared_ptr<IDManager> idManager,
        std::string instanceId, std::unique_ptr<TickerProtocol> ticker, Clocks clocks);
    [[nodiscard]] static std::shared_ptr<EventBus> create(
        std::shared_ptr<EventRepositoryProtocol> repository, std::shared_ptr<IDManager> idManager,
        std::string instanceId, std::unique_ptr<TickerProtocol> ticker);

    ~EventBus() override;
    EventBus(const EventBus&) = delete;
    EventBus& operator=(const EventBus&) = delete;

    void enqueue(const InternalEvent& event, const EnqueueCompletion& completion) override;
    void dispatch(DispatchCompletion completion) override;

    /// Puts the batches under way back into the queue and takes no more out; their answers no
    /// longer count. For the end of the process.
    void stopDispatching();

    void startTicking() override;
    [[nodiscard]] IDManager& idManager() const override { return *idManager_; }

  private:
    EventBus(std::shared_ptr<EventRepositoryProtocol> repository,
             std::shared_ptr<IDManager> idManager, std::string instanceId,
             std::unique_ptr<TickerProtocol> ticker, Clocks clocks);

    /// Events that have left the queue and are not delivered yet.
    struct Batch {
        std::uint64_t number = 0;
        std::vector<InternalEvent> events;
    };

    /// The next batch, on its way from now on; empty when nothing waits or the process is ending.
    [[nodiscard]] Batch takeBatch(std::int64_t count);
    /// Forgets a batch that was delivered, and saves the queue without it.
    void settle(const Batch& batch);
    /// Puts a batch that was not delivered back at the front, and saves the queue with it.
    void putBack(const Batch& batch);
    [[nodiscard]] std::optional<std::string> envelopeBody(const ClientSettings& settings,
                                                          const Batch& batch);
    void post(const ClientSettings& settings, Batch batch, std::string body,
              DispatchCompletion completion);

    const std::shared_ptr<EventRepositoryProtocol> repository_;
    const std::shared_ptr<IDManager> idManager_;
    const std::string instanceId_;
    const std::unique_ptr<TickerProtocol> ticker_;
    const Clocks clocks_;
    FailureReporter failures_{Component::delivery};  // synchronises itself
    UserDefaults defaults_;                          // synchronises itself
    const ReferenceTime reference_;                  // inicialTimestamp and inicialMonotonicValue

    Mutex mutex_;
    std::int64_t dispatchNumberCounter_ ZENTARA_GUARDED_BY(mutex_) = 0;
    std::int64_t validTimestamp_ ZENTARA_GUARDED_BY(mutex_) = 0;
    std::map<std::uint64_t, std::vector<InternalEvent>> onTheirWay_ ZENTARA_GUARDED_BY(mutex_);
    std::uint64_t lastBatch_ ZENTARA_GUARDED_BY(mutex_) = 0;
    bool isStopped_ ZENTARA_GUARDED_BY(mutex_) = false;
};

}  // namespace zentara
