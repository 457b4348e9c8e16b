#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>

#include "dispatch/DeliveryListener.h"
#include "dispatch/EventRepositoryProtocol.h"
#include "dispatch/storage/EventList.h"
#include "dispatch/storage/ListText.h"
#include "dispatch/storage/Storage.h"
#include "support/Ledger.h"
#include "support/threads/SerialQueue.h"

namespace zentara {

/// The queue between the moment an event is accepted and the moment it is delivered.
///
/// Promised: an event whose `add` reported success is in the store. Events come out in the order in
/// which they went in, except for events that are put back. A taken event leaves the store with the
/// next `add` or `save`. It is then in the store for events in flight, if there is one, and the
/// next run restores it unless it was settled. Not promised: that it is restored when that store
/// could not be written. The bound is kept by evicting the oldest event, one per `add`; events that
/// are put back may exceed it for a while. An event that is passed over keeps its place, on disk
/// too, until the process ends. Safe for use from any thread.
class EventsRepository final : public EventRepositoryProtocol {
  public:
    /// Starts with the events of the store, and ahead of them those that the last run had in
    /// flight. Counts events in `counts`, which must outlive the repository. `inFlight` and
    /// `listener`, which is told of evicted and dropped events, may be null.
    EventsRepository(std::int64_t maxEvents, std::shared_ptr<InternalEventStorage> storage,
                     Ledger::Queue& counts,
                     std::unique_ptr<Storage<InternalEvent>> inFlight = nullptr,
                     DeliveryListener listener = nullptr);
    ~EventsRepository() override;

    void add(const InternalEvent& event, const AddCompletion& completion) override;
    void save() override;
    void insert(std::span<const InternalEvent> events) override;
    void settle(std::span<const InternalEvent> events) override;
    void load() override;
    [[nodiscard]] std::vector<InternalEvent> take(std::int64_t count) override;
    [[nodiscard]] Status clear(Admission afterwards) override;
    void reopen() override;
    void passOver(std::span<const InternalEvent> events) override;
    void retryPassedOver() override;
    [[nodiscard]] bool hasEventsToTake() const override;

    /// Restores events of an earlier run to the front, saves, and calls `removeSource`, which
    /// removes them from everywhere else. Events that the queue already holds, known by their
    /// action UUID, are left out. After a failure the queue is as it was, though its file may hold
    /// them until the next save.
    Status restore(std::span<const InternalEvent> events,
                   const std::function<Status()>& removeSource);

  private:
    [[nodiscard]] std::vector<InternalEvent> missing(std::span<const InternalEvent> events) const
        ZENTARA_REQUIRES(queue_);
    /// Counts `more` events, which may be negative, as restored and waiting.
    void countRestored(std::ptrdiff_t more) ZENTARA_REQUIRES(queue_);
    /// Appends an event and returns the event that it evicts, if any.
    [[nodiscard]] std::optional<InternalEvent> append(const InternalEvent& event)
        ZENTARA_REQUIRES(queue_);
    /// False when the repository is closed.
    [[nodiscard]] bool putBack(std::span<const InternalEvent> events) ZENTARA_EXCLUDES(queue_);
    /// Removes all, also from the files. Sets `dropped` to what was in the list, for the listener.
    [[nodiscard]] Status removeAll(Admission afterwards, std::vector<InternalEvent>& dropped)
        ZENTARA_EXCLUDES(queue_);
    void tell(DeliveryNotice::Kind kind, std::span<const InternalEvent> events,
              std::string_view reason) const;
    [[nodiscard]] bool isPassedOver(const InternalEvent& event) const ZENTARA_REQUIRES(queue_);
    [[nodiscard]] std::ptrdiff_t countPassedOver(std::span<const InternalEvent> events) const
        ZENTARA_REQUIRES(queue_);
    void forgetPassedOver() ZENTARA_REQUIRES(queue_);
    void saveAll() ZENTARA_REQUIRES(queue_);
    Status saveList() ZENTARA_REQUIRES(queue_);
    void saveInFlight() ZENTARA_REQUIRES(queue_);

    mutable SerialQueue queue_{"com.kavio.ZentaraClient.EventsRepository"};
    const std::int64_t maxEvents_;
    const std::shared_ptr<InternalEventStorage> storage_ ZENTARA_GUARDED_BY(queue_);
    Ledger::Queue& counts_;
    const std::unique_ptr<Storage<InternalEvent>> inFlight_ ZENTARA_GUARDED_BY(queue_);
    const DeliveryListener listener_;
    ListText::Memory texts_ ZENTARA_GUARDED_BY(queue_);
    EventList events_ ZENTARA_GUARDED_BY(queue_);
    // The events in the store of events in flight: those taken, and those that were put back but
    // are not yet in the store of the list.
    std::vector<InternalEvent> taken_ ZENTARA_GUARDED_BY(queue_);
    std::vector<InternalEvent> returned_ ZENTARA_GUARDED_BY(queue_);
    bool isInFlightSaved_ ZENTARA_GUARDED_BY(queue_) = true;
    Admission admission_ ZENTARA_GUARDED_BY(queue_) = Admission::open;
    /// Names of the events that are passed over.
    std::set<std::string, std::less<>> passedOver_ ZENTARA_GUARDED_BY(queue_);
};

}  // namespace zentara
