#include "dispatch/storage/QueueOpening.h"

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <functional>
#include <system_error>
#include <vector>

#include "dispatch/storage/FileStorage.h"
#include "dispatch/storage/QueueFiles.h"
#include "dispatch/storage/UnderWayFile.h"
#include "platform/File.h"
#include "support/FailureReporter.h"

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

/// Waits until the list is on the device.
ErrorRef flush(const std::filesystem::path& queueFile) {
    File file;
    auto error = File::open(queueFile, file);
    if (!error) error = file.synchronise();
    if (!error) error = synchroniseFolder(queueFile.parent_path());
    return error;
}

/// Says why something stays where it is until the next start.
void report(const std::filesystem::path& left, const ErrorRef& error) {
    FailureReporter(Component::storage, left.filename().string()).report(error);
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
    takeInFilesPutBy(*queue, name);
    return queue;
}

void takeInFilesPutBy(EventsRepository& queue, const std::string& name) {
    using State = StoredEvents::State;
    const auto queueFile = documentsFile(name);
    for (const auto& leftover : filesPutBy(queueFile)) {
        const auto stored = readEvents(leftover);
        if (stored.state == State::unread) report(leftover, stored.decoded.error);
        if (stored.state == State::damaged) static_cast<void>(setAside(leftover, queueFile));
        if (stored.state == State::missing) removeFile(leftover);
        if (stored.state != State::list) continue;
        // Undone if the file stays, as the next start would repeat what is delivered until then.
        report(leftover, queue
                             .restore(stored.decoded.events,
                                      [&] {
                                          auto error = flush(queueFile);
                                          return error ? error : removeQueueFile(leftover);
                                      })
                             .error());
    }
}

bool handOverQueue(const std::string& from, const std::string& to) {
    using State = StoredEvents::State;
    const auto file = documentsFile(from);
    Ledger::Queue counts;
    QueueOptions options;
    options.scheduler = [](std::chrono::steady_clock::duration, const std::function<void()>&) {
    };
    std::int64_t waiting = 0;
    {
        // Brings all that is left of it into the list.
        const auto queue = openQueue(from, options, counts);
        waiting = counts.waiting;
    }
    const auto list = readEvents(file);
    const auto underWay = sibling(file, ".", ".under-way");
    const bool isList = list.state == State::list || (list.state == State::missing && waiting == 0);
    if (!isList || readEvents(underWay).state != State::missing || !filesPutBy(file).empty())
        return false;
    const bool isEmpty = list.decoded.events.empty();
    auto error = isEmpty ? nullptr : flush(file);
    if (!error) {
        // The checkpoint first: without the list it would be taken for it.
        for (const auto* const suffix :
             {".checkpoint", ".checkpoint-spare", ".spare", ".under-way", ".boot"})
            removeFile(sibling(file, ".", suffix));
        error = isEmpty ? removeQueueFile(file) : handOver(file, documentsFile(to));
    }
    report(file, error);
    return !error;
}

}  // namespace zentara
