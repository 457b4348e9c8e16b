#pragma once

#include <memory>

#include "dispatch/EventList.h"
#include "dispatch/EventRepositoryProtocol.h"
#include "dispatch/EventTexts.h"
#include "dispatch/Storage.h"
#include "platform/SerialQueue.h"
#include "support/Ledger.h"

namespace zentara {

/// The queue between the moment an event is accepted and the moment it is delivered.
///
/// Promised: an event whose `add` reported success is in the store; events come out in the order in
/// which they went in, save those that are put back. Not promised: that a taken event is still in
/// the store, which forgets it with the next `add` or `save`. The bound is kept by dropping the
/// oldest event, one per `add`; putting back may exceed it for a while. Safe for use from any
/// thread.
class EventsRepository final : public EventRepositoryProtocol {
  public:
    /// Starts with what the store holds. What becomes of the events is counted in `counts`, which
    /// must outlive the repository.
    EventsRepository(std::int64_t maxEvents, std::unique_ptr<InternalEventStorage> storage,
                     Ledger::Queue& counts = Ledger::shared().queue);
    ~EventsRepository() override;

    EventsRepository(const EventsRepository&) = delete;
    EventsRepository& operator=(const EventsRepository&) = delete;

    void add(const InternalEvent& event, const AddCompletion& completion) override;
    void save() override;
    void insert(std::span<const InternalEvent> events) override;
    void load() override;
    [[nodiscard]] std::vector<InternalEvent> take(std::int64_t count,
                                                  const Selection& selection) override;
    using EventRepositoryProtocol::take;

  private:
    void replace(EventList events);

    SerialQueue queue_{"com.kavio.ZentaraClient.EventsRepository"};
    const std::int64_t maxEvents_;
    const std::unique_ptr<InternalEventStorage> storage_;  // used inside the queue only
    Ledger::Queue& counts_;
    EventTexts texts_;  // used inside the queue only
    EventList events_;  // used inside the queue only
};

}  // namespace zentara
