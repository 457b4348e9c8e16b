#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "dispatch/EventsRepository.h"
#include "dispatch/storage/InternalEventStorageImpl.h"
#include "platform/FileSystem.h"

namespace zentara {

/// How queues differ from each other.
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
    DeliveryListener listener = nullptr;  ///< of evicted and dropped events
};

/// Opens the queue of that name in the documents directory and restores what earlier runs left: the
/// list or its checkpoint, the events in flight, and lists that were postponed because they could
/// not be read. A list that still cannot be read stays for the next start. No other queue of that
/// name may be open. `files` must outlive the queue and its background work.
[[nodiscard]] std::unique_ptr<EventsRepository> openQueue(FileSystem& files,
                                                          const std::string& name,
                                                          const QueueOptions& options,
                                                          Ledger::Queue& counts);

/// Where this process keeps its queues and its token, as a prefix of their names in the documents
/// directory: empty in the first process that works there. Another process gets a folder of its
/// own, such as "process-2/", with a copy of the first process's token, so that both send for the
/// same user. The answer stays the same as long as the process lives.
[[nodiscard]] std::string claimProcessFolder(FileSystem& files, const std::string& tokenName);

/// A queue of the documents directory itself.
struct MainQueue {
    std::string name;
    EventsRepository& events;
};

/// Restores what ended processes have left in folders of their own to the queues of the documents
/// directory, and removes those folders. Only for the process that works in that directory.
///
/// A list moves in one step, after the other files of its queue were removed. At each moment an
/// event is in one of the two folders only, so a kill in between loses nothing, and repeats nothing
/// even if both queues are opened after it.
void restoreProcessFolders(FileSystem& files, const std::vector<MainQueue>& queues,
                           const std::string& tokenName);

/// Removes the files that are named after `names`, from all folders of processes but `ownFolder`,
/// the answer of `claimProcessFolder`, and those of running processes.
[[nodiscard]] Status eraseProcessFolders(FileSystem& files, const std::string& ownFolder,
                                         const std::vector<std::string>& names);

}  // namespace zentara
