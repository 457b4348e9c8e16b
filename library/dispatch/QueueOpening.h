#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "dispatch/EventsRepository.h"
#include "dispatch/InternalEventStorageImpl.h"

namespace zentara {

/// What makes one queue differ from another.
struct QueueOptions {
    /// Where taken events are until they are settled.
    enum class TakenEvents {
        onDisk,
        inMemory,  ///< for one whose owner does not let it be saved before they are somewhere else
    };

    std::int64_t maxEvents = 0;
    double checkpointInterval = 0;  ///< seconds
    TakenEvents takenEvents = TakenEvents::onDisk;
    InternalEventStorageImpl::Scheduler scheduler = InternalEventStorageImpl::defaultScheduler();
};

/// The queue of that name in the documents directory, with all that earlier runs left of it: the
/// list or its checkpoint, what was under way, and lists that could not be read when their time
/// was. A list that still cannot be read stays for the next start. There must be no other queue of
/// that name at work.
[[nodiscard]] std::unique_ptr<EventsRepository> openQueue(const std::string& name,
                                                          const QueueOptions& options,
                                                          Ledger::Queue& counts);

/// Moves all events of the queue named `from`, which nobody uses, to the front of the queue `to`,
/// whose name is `toName`, and removes its files. A kill in between loses and repeats nothing.
/// False when something of it is left.
[[nodiscard]] bool takeInQueue(const std::string& from, EventsRepository& to,
                               const std::string& toName);

}  // namespace zentara
