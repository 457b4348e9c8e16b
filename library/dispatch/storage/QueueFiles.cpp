#include "dispatch/storage/QueueFiles.h"

#include <algorithm>
#include <chrono>
#include <functional>
#include <new>
#include <utility>

#include "dispatch/storage/ListText.h"
#include "model/EventDecoder.h"
#include "support/Clocks.h"
#include "support/Diagnostics.h"
#include "support/PlatformError.h"

namespace zentara {

namespace {

using Path = QueueFiles::Path;
using State = StoredEvents::State;

constexpr std::string_view postponedSuffix = ".unread-";

/// The file beside `list` whose name has `prefix` before and `suffix` behind it.
Path sibling(const Path& list, std::string_view prefix, std::string_view suffix) {
    auto result = list;
    std::string name(prefix);
    name += list.filename().string();
    name += suffix;
    result.replace_filename(name);
    return result;
}

/// A free name that begins like the queue's and ends in the time.
Path stamped(const QueueFiles& queue, std::string_view suffix) {
    const auto now = ZentaraClock().now().time_since_epoch();
    auto stamp = std::chrono::duration_cast<std::chrono::microseconds>(now).count();
    const auto next = [&] {
        return sibling(queue.list, "", std::string(suffix) + std::to_string(stamp++));
    };
    auto path = next();
    while (queue.files.state(path))
        path = next();
    return path;
}

Status moveAway(FileSystem& files, const Path& from, const Path& to, const std::string& fault) {
    auto status = files.rename(from, to);
    if (status.ok()) {
        printWarning(
            "ZentaraClient: '" + from.string() + "' " + fault + " '" + to.filename().string() + "'",
            "storage");
    }
    // A file that is already gone is no failure.
    return isMissing(status) ? Status() : status;
}

StoredEvents readContents(FileSystem& files, const Path& file) {
    auto bytes = files.read(file);
    const auto& status = bytes.status();
    if (isMissing(status)) return {};
    if (!bytes.ok()) return {isUnfit(status) ? State::damaged : State::unread, {}, status};
    if (bytes->empty()) return {};
    auto decoded = decodeEvents(*std::move(bytes));
    return {decoded.isList ? State::list : State::damaged, std::move(decoded.events),
            std::move(decoded.status), decoded.isCanonical};
}

}  // namespace

QueueFiles::QueueFiles(FileSystem& fileSystem, std::string_view name)
    : files(fileSystem),
      list(documentsFile(name)),
      spare(sibling(list, ".", ".spare")),
      checkpoint(sibling(list, ".", ".checkpoint")),
      checkpointSpare(sibling(list, ".", ".checkpoint-spare")),
      boot(sibling(list, ".", ".boot")),
      inFlight(sibling(list, ".", ".under-way")) {}

StoredEvents QueueFiles::read(const Path& file) const {
    // A file of 0 bytes holds nothing, also when it cannot be read.
    const auto state = files.state(file);
    if (state && state->kind == FileState::Kind::regular && state->size == 0) return {};
    try {
        return readContents(files, file);
    } catch (const std::bad_alloc&) {
        return {State::unread, {}, outOfMemory("read the events")};
    }
}

Status QueueFiles::setAside(const Path& file, const std::string& fault) const {
    return moveAway(files, file, stamped(*this, ".unreadable-"), fault + " and was set aside as");
}

Status QueueFiles::postpone(const Path& file, const Status& cause) const {
    return moveAway(files, file, stamped(*this, postponedSuffix),
                    "could not be read for now (" + cause.error()->description() +
                        ") and waits for the next start as");
}

Status QueueFiles::handOver(const QueueFiles& other) const {
    return files.rename(list, stamped(other, postponedSuffix));
}

Result<std::vector<Path>> QueueFiles::postponed() const {
    const auto folder = list.parent_path();
    const auto names = files.names(folder);
    if (!names.ok()) return names.status();
    const auto beginning = list.filename().string() + std::string(postponedSuffix);
    std::vector<Path> found;
    for (const auto& name : *names) {
        if (name.starts_with(beginning)) found.push_back(folder / name);
    }
    // Each is put in front of the others, so the oldest comes last.
    std::ranges::sort(found, std::greater<>());
    return found;
}

InFlightFile::InFlightFile(QueueFiles queue)
    : queue_(std::move(queue)),
      failures_(Component::storage, queue_.inFlight.filename().string()) {}

Status InFlightFile::save(std::span<const InternalEvent> events) {
    ListText text;
    auto status = inTheWay_;
    if (status.ok()) status = text.follow(events, 0);
    if (status.ok()) {
        status = events.empty()
                     ? queue_.files.remove(queue_.inFlight)
                     : queue_.files.writeAtomically(queue_.inFlight, text.whole(events).pieces);
    }
    failures_.report(status);
    return status;
}

Result<std::vector<InternalEvent>> InFlightFile::load() {
    auto stored = queue_.read(queue_.inFlight);
    if (stored.state == State::damaged) inTheWay_ = queue_.setAside(queue_.inFlight);
    if (stored.state == State::unread) inTheWay_ = queue_.postpone(queue_.inFlight, stored.status);
    failures_.report(inTheWay_);
    if (!stored.status.ok()) return stored.status;
    return std::move(stored.events);
}

void reportLeft(const Path& file, const Status& status) {
    FailureReporter(Component::storage, file.filename().string()).report(status.error());
}

}  // namespace zentara
