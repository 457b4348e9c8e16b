#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "dispatch/EventsRepository.h"
#include "dispatch/storage/InternalEventStorageImpl.h"

namespace zentara {

/// What makes one queue differ from another.
struct QueueOptions {
    /// Where taken events are until they are settled.
    enum class TakenEvents {
        onDisk,
        inMemory,  ///< for a queue that its owner saves only when they are somewhere else
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

/// Takes the lists that were put by for the queue of that name, or handed over to it, to its front.
/// A list goes when its events are on the device in the queue's own; where it cannot go, they are
/// left to a later start.
void takeInFilesPutBy(EventsRepository& queue, const std::string& name);

/// Moves the list of the queue named `from`, which nothing uses, into the folder of the queue named
/// `to`, for `takeInFilesPutBy`, and removes the other files of `from`. At each moment an event is
/// in one of the two folders only, so a kill in between loses nothing, and repeats nothing even if
/// both queues are opened at once after it. False when something of `from` is left.
[[nodiscard]] bool handOverQueue(const std::string& from, const std::string& to);

}  // namespace zentara
