#pragma once

#include <functional>
#include <memory>

#include "dispatch/EventRepositoryProtocol.h"
#include "dispatch/storage/EventList.h"
#include "dispatch/storage/ListText.h"
#include "dispatch/storage/Storage.h"
#include "support/Ledger.h"
#include "support/threads/SerialQueue.h"

namespace zentara {

/// The queue between the moment an event is accepted and the moment it is delivered.
///
/// Promised: an event whose `add` reported success is in the store; events come out in the order in
/// which they went in, save those that are put back. A taken event leaves the store with the next
/// `add` or `save`; with a store for events under way it is in there then, and the next run finds
/// it unless it was settled. Not promised: that it is found when that store could not be written.
/// The bound is kept by dropping the oldest event, one per `add`; putting back may exceed it for a
/// while. Safe for use from any thread.
class EventsRepository final : public EventRepositoryProtocol {
  public:
    /// Starts with what the store holds, and ahead of it what the last run had under way. What
    /// becomes of the events is counted in `counts`, which must outlive the repository. `underWay`
    /// may be null.
    EventsRepository(std::int64_t maxEvents, std::unique_ptr<InternalEventStorage> storage,
                     Ledger::Queue& counts,
                     std::unique_ptr<Storage<InternalEvent>> underWay = nullptr);
    ~EventsRepository() override;

    EventsRepository(const EventsRepository&) = delete;
    EventsRepository& operator=(const EventsRepository&) = delete;

    void add(const InternalEvent& event, const AddCompletion& completion) override;
    void save() override;
    void insert(std::span<const InternalEvent> events) override;
    void settle(std::span<const InternalEvent> events) override;
    void load() override;
    [[nodiscard]] std::vector<InternalEvent> take(std::int64_t count) override;

    /// Puts events of an earlier run at the front, saves, and calls `removeSource`, which makes
    /// sure that they are nowhere else. Those that the queue holds already, known by their action
    /// UUID, are left out. After a failure the queue is as it was, though its file may hold them
    /// until the next save.
    Status restore(std::span<const InternalEvent> events,
                   const std::function<Status()>& removeSource);

  private:
    // All of these are used inside the queue only.
    void replace(EventList events);
    [[nodiscard]] std::vector<InternalEvent> missing(std::span<const InternalEvent> events) const;
    void insertRestored(std::span<const InternalEvent> events);
    void saveAll();
    Status saveList();
    void saveUnderWay();

    SerialQueue queue_{"com.kavio.ZentaraClient.EventsRepository"};
    const std::int64_t maxEvents_;
    const std::unique_ptr<InternalEventStorage> storage_;  // used inside the queue only
    Ledger::Queue& counts_;
    const std::unique_ptr<Storage<InternalEvent>> underWay_;  // used inside the queue only
    ListText::Memory texts_;                                  // used inside the queue only
    EventList events_;                                        // used inside the queue only
    // What the store of events under way holds: what was taken, and what has come back to the list
    // but is not yet in its store. Used inside the queue only.
    std::vector<InternalEvent> taken_;
    std::vector<InternalEvent> returned_;
    bool isUnderWaySaved_ = true;
};

}  // namespace zentara
