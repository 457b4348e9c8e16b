#include "dispatch/QueueOpening.h"

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <functional>
#include <string_view>

#include "dispatch/storage/QueueFiles.h"
#include "support/UUID.h"

namespace zentara {

namespace {

using State = StoredEvents::State;

constexpr std::string_view folderPrefix = "process-";

/// Waits until the list is on the device.
Status flush(const QueueFiles& queue) {
    const auto file = queue.files.open(queue.list);
    auto status = file.status();
    if (status.ok()) status = (*file)->flush();
    return status.ok() ? queue.files.flushFolder(queue.list.parent_path()) : status;
}

/// Restores the postponed file `file`, which is removed when its events are on the device in the
/// list. If it cannot be removed, its events are left to a later start: that start would repeat
/// those delivered until then.
Status restore(EventsRepository& events, const QueueFiles& queue,
               const std::filesystem::path& file) {
    const auto stored = queue.read(file);
    if (stored.state == State::unread) return stored.status;
    if (stored.state == State::damaged) return queue.setAside(file);
    if (stored.state == State::missing) return queue.files.remove(file);
    return events.restore(stored.events, [&] {
        auto flushed = flush(queue);
        return flushed.ok() ? queue.files.remove(file) : flushed;
    });
}

void restorePostponed(EventsRepository& events, const QueueFiles& queue) {
    const auto postponed = queue.postponed();
    if (!postponed.ok()) return reportLeft(queue.list, postponed.status());
    for (const auto& file : *postponed)
        reportLeft(file, restore(events, queue, file));
}

/// Moves the list of the queue named `from`, which nothing uses, to where `restorePostponed` finds
/// it for the queue named `to`, and removes the other files of `from`. False when something of
/// `from` is left.
bool handOverQueue(FileSystem& files, const std::string& from, const std::string& to) {
    const QueueFiles queue(files, from);
    Ledger::Queue counts;
    QueueOptions options;
    options.scheduler = [](std::chrono::steady_clock::duration, const std::function<void()>&) {
    };
    std::int64_t waiting = 0;
    {
        // Collects all its events in the list.
        const auto events = openQueue(files, from, options, counts);
        waiting = counts.waiting;
    }
    const auto list = queue.read(queue.list);
    const auto postponed = queue.postponed();
    const bool isList = list.state == State::list || (list.state == State::missing && waiting == 0);
    if (!isList || queue.read(queue.inFlight).state != State::missing || !postponed.ok() ||
        !postponed->empty()) {
        return false;
    }
    const bool isEmpty = list.events.empty();
    auto status = isEmpty ? Status() : flush(queue);
    // The checkpoint first: without a list, a start would restore the checkpoint.
    for (const auto* const file :
         {&queue.checkpoint, &queue.checkpointSpare, &queue.spare, &queue.inFlight, &queue.boot}) {
        if (status.ok()) status = files.remove(*file);
    }
    if (status.ok())
        status = isEmpty ? files.remove(queue.list) : queue.handOver(QueueFiles(files, to));
    reportLeft(queue.list, status);
    return status.ok();
}

Result<std::vector<std::string>> processFolders(FileSystem& files) {
    auto names = files.names(documentsFile(""));
    if (!names.ok()) return names;
    std::erase_if(*names, [&](const std::string& name) {
        // No links: the folder is removed in the end.
        const auto state = files.state(documentsFile(name));
        return !name.starts_with(folderPrefix) || !state || state->kind != FileState::Kind::folder;
    });
    std::ranges::sort(*names);
    return names;
}

std::string claimFolder(FileSystem& files) {
    // If the lock state is unknown, assume that no other process exists.
    if (files.claim(documentsFile("")) != FolderClaim::heldElsewhere) return "";
    // Far more than the processes of one application.
    for (int number = 2; number < 100; ++number) {
        auto folder = std::string(folderPrefix) + std::to_string(number);
        const auto answer = files.claim(documentsFile(folder));
        if (answer == FolderClaim::held) return folder + "/";
        if (answer == FolderClaim::unknown) break;
    }
    // No folder can be claimed: there are no descriptors, or the disk is full. A folder without a
    // claim is better than two processes in one folder.
    static const auto own = std::string(folderPrefix) + lowerCaseUUID() + "/";
    return own;
}

}  // namespace

std::unique_ptr<EventsRepository> openQueue(FileSystem& files, const std::string& name,
                                            const QueueOptions& options, Ledger::Queue& counts) {
    const QueueFiles queue(files, name);
    auto storage = InternalEventStorageImpl::create(
        files, name, std::chrono::duration<double>(options.checkpointInterval), options.scheduler);
    storage->recover();
    std::unique_ptr<InFlightFile> inFlight;
    if (options.takenEvents == QueueOptions::TakenEvents::onDisk)
        inFlight = std::make_unique<InFlightFile>(queue);
    auto events = std::make_unique<EventsRepository>(options.maxEvents, std::move(storage), counts,
                                                     std::move(inFlight), options.listener);
    restorePostponed(*events, queue);
    return events;
}

std::string claimProcessFolder(FileSystem& files, const std::string& tokenName) {
    auto folder = claimFolder(files);
    if (folder.empty()) return folder;
    // Without it, the collector gives this process an identity of its own.
    const auto token = files.read(documentsFile(tokenName));
    if (token.ok()) {
        const auto copy = documentsFile(folder + tokenName);
        reportLeft(copy, files.writeAtomically(copy, *token));
    } else if (!isMissing(token.status())) {
        reportLeft(documentsFile(tokenName), token.status());
    }
    return folder;
}

void restoreProcessFolders(FileSystem& files, const std::vector<MainQueue>& queues,
                           const std::string& tokenName) {
    const auto folders = processFolders(files);
    if (!folders.ok()) return reportLeft(documentsFile(folderPrefix), folders.status());
    bool isAnyFree = false;
    for (const auto& folder : *folders) {
        const auto path = documentsFile(folder);
        if (files.claim(path) != FolderClaim::held) continue;
        isAnyFree = true;
        bool isTaken = true;
        for (const auto& queue : queues) {
            isTaken = handOverQueue(files, folder + "/" + queue.name, queue.name) && isTaken;
        }
        const auto token = documentsFile(folder + "/" + tokenName);
        if (isTaken) reportLeft(token, files.remove(token));
        files.release(path);
    }
    if (!isAnyFree) return;
    for (const auto& queue : queues)
        restorePostponed(queue.events, QueueFiles(files, queue.name));
}

Status eraseProcessFolders(FileSystem& files, const std::string& ownFolder,
                           const std::vector<std::string>& names) {
    const auto folders = processFolders(files);
    if (!folders.ok()) return folders.status();
    Status firstFailure;
    for (const auto& folder : *folders) {
        const auto path = documentsFile(folder);
        if (folder + '/' == ownFolder || files.claim(path) != FolderClaim::held) continue;
        for (const auto& name : names) {
            auto status = files.removeAllOf(path / name);
            if (firstFailure.ok()) firstFailure = std::move(status);
        }
        files.release(path);
    }
    return firstFailure;
}

}  // namespace zentara
