#include "dispatch/QueueOpening.h"

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <functional>
#include <limits>
#include <system_error>
#include <vector>

#include "dispatch/FileStorage.h"
#include "dispatch/QueueFiles.h"
#include "dispatch/UnderWayFile.h"
#include "platform/File.h"

namespace zentara {

namespace {

/// The files put by for a queue, the latest first, so that the oldest events end up in front.
std::vector<std::filesystem::path> filesPutBy(const std::filesystem::path& queue) {
    const auto beginning = queue.filename().string() + std::string(unreadSuffix);
    std::vector<std::filesystem::path> found;
    std::error_code error;
    for (std::filesystem::directory_iterator entry(queue.parent_path(), error), end;
         !error && entry != end; entry.increment(error)) {
        if (entry->path().filename().string().starts_with(beginning)) found.push_back(*entry);
    }
    std::sort(found.begin(), found.end(), std::greater<>());
    return found;
}

/// Puts events that are somewhere else into a queue and waits until they are on the device, as they
/// are about to be nowhere else.
bool isTakenIn(std::span<const InternalEvent> events, EventsRepository& queue,
               const std::filesystem::path& queueFile) {
    File file;
    return !queue.restore(events) && !File::open(queueFile, file) && !file.synchronise() &&
           !synchroniseFolder(queueFile.parent_path());
}

void takeInFilesPutBy(EventsRepository& queue, const std::filesystem::path& queueFile) {
    for (const auto& leftover : filesPutBy(queueFile)) {
        const auto stored = readEvents(leftover);
        if (stored.state == StoredEvents::State::damaged) {
            static_cast<void>(setAside(leftover, queueFile));
        } else if (stored.state == StoredEvents::State::missing ||
                   (stored.state == StoredEvents::State::list &&
                    isTakenIn(stored.decoded.events, queue, queueFile))) {
            removeFile(leftover);
        }
    }
}

}  // namespace

std::unique_ptr<EventsRepository> openQueue(const std::string& name, const QueueOptions& options,
                                            Ledger::Queue& counts) {
    auto storage = std::make_unique<InternalEventStorageImpl>(
        name, std::chrono::duration<double>(options.checkpointInterval), options.scheduler);
    storage->recover();
    std::unique_ptr<UnderWayFile> underWay;
    if (options.takenEvents == QueueOptions::TakenEvents::onDisk) {
        underWay = std::make_unique<UnderWayFile>(name);
    }
    auto queue = std::make_unique<EventsRepository>(options.maxEvents, std::move(storage), counts,
                                                    std::move(underWay));
    takeInFilesPutBy(*queue, documentsFile(name));
    return queue;
}

bool takeInQueue(const std::string& from, EventsRepository& to, const std::string& toName) {
    const auto file = documentsFile(from);
    Ledger::Queue counts;
    QueueOptions options;
    options.scheduler = [](std::chrono::steady_clock::duration, const std::function<void()>&) {
    };
    const auto queue = openQueue(from, options, counts);
    const auto events = queue->take(std::numeric_limits<std::int64_t>::max());
    if (!events.empty()) {
        // Until they are settled they are in the old queue's files.
        if (!isTakenIn(events, to, documentsFile(toName))) return false;
        queue->settle(events);
    }
    const auto left = readEvents(file);
    const bool isEmpty = left.state == StoredEvents::State::missing ||
                         (left.state == StoredEvents::State::list && left.decoded.events.empty());
    if (!isEmpty || !filesPutBy(file).empty()) return false;
    // The checkpoint first: without the list it would be taken for it.
    for (const auto* const suffix : {".checkpoint", ".checkpoint-spare", ".spare"})
        removeFile(sibling(file, ".", suffix));
    removeFile(file);
    return true;
}

}  // namespace zentara
