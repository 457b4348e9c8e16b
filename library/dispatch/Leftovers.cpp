#include "dispatch/Leftovers.h"

#include <algorithm>
#include <string>
#include <system_error>
#include <vector>

#include "dispatch/QueueFiles.h"
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

/// Whether the queue's file is on the device, as what it holds is about to be nowhere else.
bool isFlushed(const std::filesystem::path& queue) {
    File file;
    return !File::open(queue, file) && !file.synchronise() &&
           !synchroniseFolder(queue.parent_path());
}

}  // namespace

void takeInLeftovers(EventsRepository& queue, const std::filesystem::path& file) {
    for (const auto& leftover : filesPutBy(file)) {
        const auto stored = readEvents(leftover);
        if (stored.state == StoredEvents::State::damaged) {
            static_cast<void>(setAside(leftover, file));
        } else if (stored.state == StoredEvents::State::list &&
                   !queue.restore(stored.decoded.events) && isFlushed(file)) {
            removeFile(leftover);
        }
    }
}

}  // namespace zentara
