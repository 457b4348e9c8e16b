#include "dispatch/InternalEventStorageImpl.h"

#include <algorithm>
#include <optional>
#include <span>
#include <utility>
#include <vector>

#include "dispatch/SwappedFile.h"
#include "model/EventDecoder.h"
#include "platform/Diagnostics.h"
#include "platform/File.h"
#include "platform/GlobalQueue.h"
#include "support/Mutex.h"
#include "support/ZentaraClock.h"

namespace zentara {

namespace {

using Clock = std::chrono::steady_clock;

/// Appends follow each other closely; the spare is put right when they pause.
constexpr Clock::duration sparePreparationDelay = std::chrono::milliseconds(50);

std::filesystem::path sibling(const std::filesystem::path& path, std::string_view prefix,
                              std::string_view suffix) {
    auto result = path;
    std::string name(prefix);
    name += path.filename().string();
    name += suffix;
    result.replace_filename(name);
    return result;
}

std::size_t commonPrefix(std::span<const InternalEvent> one, std::span<const InternalEvent> other) {
    const auto count = std::min(one.size(), other.size());
    std::size_t same = 0;
    while (same < count && one[same].isCopyOf(other[same]))
        ++same;
    return same;
}

DecodedEvents readEvents(const std::filesystem::path& path, bool& exists) {
    auto contents = readFile(path);
    exists = contents.bytes.has_value() || contents.error;
    if (!contents.bytes) return {{}, contents.error};
    return decodeEvents(*std::move(contents.bytes));
}

}  // namespace

/// What the storage and its background tasks share, so that a task may outlive the storage.
struct InternalEventStorageImpl::Shared : std::enable_shared_from_this<Shared> {
    Shared(const std::filesystem::path& file, std::chrono::duration<double> interval, Scheduler run)
        : path(file),
          checkpointPath(sibling(file, ".", ".checkpoint")),
          checkpointInterval(std::chrono::duration_cast<Clock::duration>(interval)),
          scheduler(std::move(run)),
          current(file, sibling(file, ".", ".spare"), SwappedFile::Durability::process),
          checkpoint(checkpointPath, sibling(file, ".", ".checkpoint-spare"),
                     SwappedFile::Durability::flushed) {}

    const std::filesystem::path path;
    const std::filesystem::path checkpointPath;
    const Clock::duration checkpointInterval;
    const Scheduler scheduler;

    Mutex mutex;
    SwappedFile current ZENTARA_GUARDED_BY(mutex);
    /// The events in the file, and the revision of the list that they came from.
    std::vector<InternalEvent> saved ZENTARA_GUARDED_BY(mutex);
    std::optional<std::uint64_t> savedRevision ZENTARA_GUARDED_BY(mutex);
    /// What `recover` read, for the first `load`.
    std::optional<DecodedEvents> recovered ZENTARA_GUARDED_BY(mutex);
    /// A file that cannot be read is still there: saving now would destroy it.
    bool unreadableFileInPlace ZENTARA_GUARDED_BY(mutex) = false;
    bool spareScheduled ZENTARA_GUARDED_BY(mutex) = false;
    bool checkpointScheduled ZENTARA_GUARDED_BY(mutex) = false;
    std::optional<Clock::time_point> lastCheckpoint ZENTARA_GUARDED_BY(mutex);

    Mutex checkpointMutex;
    SwappedFile checkpoint ZENTARA_GUARDED_BY(checkpointMutex);
    std::vector<InternalEvent> checkpointed ZENTARA_GUARDED_BY(checkpointMutex);

    ErrorRef setAside() ZENTARA_REQUIRES(mutex);
    void recover() ZENTARA_REQUIRES(mutex);
    Loaded<InternalEvent> load() ZENTARA_REQUIRES(mutex);
    ErrorRef save(const EventList& events) ZENTARA_REQUIRES(mutex);
    void scheduleSpare() ZENTARA_REQUIRES(mutex);
    void scheduleCheckpoint() ZENTARA_REQUIRES(mutex);
    void writeCheckpoint();
};

ErrorRef InternalEventStorageImpl::Shared::setAside() {
    const auto now = ZentaraClock().now().time_since_epoch();
    const auto stamp = std::chrono::duration_cast<std::chrono::microseconds>(now).count();
    const auto aside = sibling(path, "", ".unreadable-" + std::to_string(stamp));
    auto error = renameFile(path, aside);
    unreadableFileInPlace = error != nullptr;
    if (!error) {
        printWarning("ZentaraClient: '" + path.string() +
                     "' could not be read and was set aside as '" + aside.filename().string() +
                     "'");
    }
    return error;
}

void InternalEventStorageImpl::Shared::recover() {
    bool exists = false;
    auto events = readEvents(path, exists);
    if (events.isList) {
        recovered = std::move(events);
        return;
    }
    if (exists && setAside()) return;
    bool checkpointExists = false;
    auto flushed = readEvents(checkpointPath, checkpointExists);
    if (!flushed.isList || renameFile(checkpointPath, path)) return;
    static_cast<void>(synchroniseFolder(path.parent_path()));
    recovered = std::move(flushed);
}

Loaded<InternalEvent> InternalEventStorageImpl::Shared::load() {
    DecodedEvents events;
    bool exists = true;
    if (recovered) {
        events = *std::exchange(recovered, std::nullopt);
    } else {
        events = readEvents(path, exists);
    }
    savedRevision.reset();
    saved.clear();
    if (events.isCanonical) {
        saved = events.events;
        current.holds(saved);
        if (!saved.empty()) scheduleSpare();
    }
    return {std::move(events.events), events.error, exists};
}

ErrorRef InternalEventStorageImpl::Shared::save(const EventList& list) {
    if (unreadableFileInPlace) {
        if (auto error = setAside()) return error;
    }
    const auto events = list.events();
    const auto unchanged =
        savedRevision == list.revision() ? saved.size() : commonPrefix(saved, events);
    const bool isSame = unchanged == saved.size() && unchanged == events.size();
    const bool onlyAppended = unchanged == saved.size();
    if (auto error = current.write(events, unchanged)) return error;
    savedRevision = list.revision();
    if (isSame) return nullptr;
    if (onlyAppended) {
        saved.insert(saved.end(), events.begin() + static_cast<std::ptrdiff_t>(unchanged),
                     events.end());
    } else {
        saved.assign(events.begin(), events.end());
        scheduleSpare();
    }
    scheduleCheckpoint();
    return nullptr;
}

void InternalEventStorageImpl::Shared::scheduleSpare() {
    if (std::exchange(spareScheduled, true)) return;
    scheduler(sparePreparationDelay, [weak = weak_from_this()] {
        const auto self = weak.lock();
        if (!self) return;
        const MutexLock lock(self->mutex);
        self->spareScheduled = false;
        self->current.prepareSpare(self->saved);
    });
}

void InternalEventStorageImpl::Shared::scheduleCheckpoint() {
    if (std::exchange(checkpointScheduled, true)) return;
    auto delay = Clock::duration::zero();
    if (lastCheckpoint) {
        delay = std::max(delay, *lastCheckpoint + checkpointInterval - Clock::now());
    }
    scheduler(delay, [weak = weak_from_this()] {
        if (const auto self = weak.lock()) self->writeCheckpoint();
    });
}

void InternalEventStorageImpl::Shared::writeCheckpoint() {
    const MutexLock checkpointLock(checkpointMutex);
    std::vector<InternalEvent> events;
    {
        const MutexLock lock(mutex);
        checkpointScheduled = false;
        lastCheckpoint = Clock::now();
        events = saved;
    }
    // A failure leaves the last checkpoint as it was; the next change brings the next try.
    if (!checkpoint.write(events, commonPrefix(checkpointed, events))) {
        checkpointed = std::move(events);
    }
}

InternalEventStorageImpl::InternalEventStorageImpl(std::string_view fileName,
                                                   std::chrono::duration<double> checkpointInterval,
                                                   Scheduler scheduler)
    : fileURL(documentsFile(fileName)),
      shared_(std::make_shared<Shared>(fileURL, checkpointInterval, std::move(scheduler))) {}

InternalEventStorageImpl::Scheduler InternalEventStorageImpl::defaultScheduler() {
    return [](Clock::duration delay, std::function<void()> work) {
        GlobalQueue::shared().asyncAfter(delay, std::move(work));
    };
}

void InternalEventStorageImpl::recover() {
    const MutexLock lock(shared_->mutex);
    shared_->recover();
}

ErrorRef InternalEventStorageImpl::save(const EventList& events) {
    const MutexLock lock(shared_->mutex);
    return shared_->save(events);
}

Loaded<InternalEvent> InternalEventStorageImpl::load() {
    const MutexLock lock(shared_->mutex);
    return shared_->load();
}

}  // namespace zentara
