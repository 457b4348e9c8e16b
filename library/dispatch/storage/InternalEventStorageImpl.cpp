#include "dispatch/storage/InternalEventStorageImpl.h"

#include <algorithm>
#include <array>
#include <new>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

#include "dispatch/storage/QueueFiles.h"
#include "dispatch/storage/SwappedFile.h"
#include "support/FailureReporter.h"
#include "support/Mutex.h"
#include "support/PlatformError.h"
#include "support/threads/WorkerPool.h"

namespace zentara {

namespace {

using Clock = std::chrono::steady_clock;
using State = StoredEvents::State;

/// Appends follow each other closely; the spare is put right when they pause.
constexpr Clock::duration sparePreparationDelay = std::chrono::milliseconds(50);

/// How many events have left the front of `older`, when nothing else but appending has happened to
/// it since; otherwise all of them.
std::size_t leftFront(std::span<const InternalEvent> older, std::span<const InternalEvent> newer) {
    if (newer.empty()) return older.size();
    const auto isCopy = [](const auto& one, const auto& other) {
        return one.isCopyOf(other);
    };
    const auto first = std::find_if(older.begin(), older.end(), [&](const auto& event) {
        return isCopy(event, newer.front());
    });
    const auto kept = older.subspan(static_cast<std::size_t>(first - older.begin()));
    const bool isKept =
        kept.size() <= newer.size() && std::equal(kept.begin(), kept.end(), newer.begin(), isCopy);
    return isKept ? older.size() - kept.size() : older.size();
}

/// The events of `flushed` that `list` lacks, if `list` can have come from `flushed` by taking,
/// putting back and appending: it has the end of it, those `inFlight` apart, or nothing of it, each
/// event once and as it was, and new ones behind. Nothing if it is a mixture of two lists.
std::optional<std::vector<InternalEvent>> lacking(std::span<const InternalEvent> list,
                                                  std::span<const InternalEvent> flushed,
                                                  std::span<const InternalEvent> inFlight) {
    const auto nameOf = [](const InternalEvent& event) {
        const auto uuid = event.actionUUIDText();
        return uuid.empty() ? event.text().json : uuid;
    };
    std::unordered_map<std::string_view, std::string_view> texts;
    for (const auto& event : flushed)
        texts.emplace(nameOf(event), event.text().json);
    std::unordered_set<std::string_view> names;
    bool isAnyFlushed = false;
    bool isAnyNew = false;
    for (const auto& event : list) {
        const auto name = nameOf(event);
        if (!names.insert(name).second) return std::nullopt;
        const auto text = texts.find(name);
        if (text == texts.end()) {
            isAnyNew = true;
        } else if (isAnyNew || text->second != event.text().json) {
            return std::nullopt;
        } else {
            isAnyFlushed = true;
        }
    }
    const auto isInFlight = [&](const InternalEvent& event) {
        return std::ranges::find(inFlight, nameOf(event), nameOf) != inFlight.end();
    };
    const auto last = std::find_if_not(flushed.rbegin(), flushed.rend(), isInFlight);
    if (isAnyFlushed && last != flushed.rend() && !names.contains(nameOf(*last))) {
        return std::nullopt;
    }
    std::vector<InternalEvent> others;
    for (const auto& event : flushed) {
        if (!names.contains(nameOf(event))) others.push_back(event);
    }
    return others;
}

/// Gives a list that a loss of power may have left what it lacks of the checkpoint, or takes it for
/// damaged. Whether it has changed.
bool complete(StoredEvents& stored, std::span<const InternalEvent> flushed,
              std::span<const InternalEvent> inFlight) {
    try {
        const auto others = lacking(stored.events, flushed, inFlight);
        if (!others) {
            stored = {.state = State::damaged};
            return false;
        }
        stored.events.insert(stored.events.begin(), others->begin(), others->end());
        return !others->empty();
    } catch (const std::bad_alloc&) {
        stored = {.state = State::unread, .status = outOfMemory("check the events")};
        return false;
    }
}

}  // namespace

/// What the storage and its background tasks share, so that a task may outlive the storage.
struct InternalEventStorageImpl::Shared : std::enable_shared_from_this<Shared> {
    /// Moves away a file that is still there and cannot be read; null when there is none.
    using Move = std::function<Status()>;

    Shared(QueueFiles queueFiles, std::chrono::duration<double> interval, Scheduler run)
        : queue(std::move(queueFiles)),
          checkpointInterval(std::chrono::duration_cast<Clock::duration>(interval)),
          scheduler(std::move(run)),
          current(queue.files, queue.list, queue.spare, SwappedFile::Durability::process),
          checkpoint(queue.files, queue.checkpoint, queue.checkpointSpare,
                     SwappedFile::Durability::flushed),
          failures(Component::storage, queue.list.filename().string()),
          checkpointFailures(Component::storage, queue.checkpoint.filename().string()) {}

    const QueueFiles queue;
    const Clock::duration checkpointInterval;
    const Scheduler scheduler;

    Mutex mutex;
    SwappedFile current ZENTARA_GUARDED_BY(mutex);
    /// The events in the file, and where in the list that they came from.
    EventList saved ZENTARA_GUARDED_BY(mutex);
    std::optional<EventList::Position> savedPosition ZENTARA_GUARDED_BY(mutex);
    /// What `recover` read, for the first `load`.
    std::optional<StoredEvents> recovered ZENTARA_GUARDED_BY(mutex);
    // Saving would destroy these files.
    Move clearList ZENTARA_GUARDED_BY(mutex);
    Move clearCheckpoint ZENTARA_GUARDED_BY(mutex);
    std::vector<InternalEvent> inFlight ZENTARA_GUARDED_BY(mutex);
    /// Whether the checkpoint has events that the list did not have.
    bool isInFlightFlushed ZENTARA_GUARDED_BY(mutex) = false;
    bool spareScheduled ZENTARA_GUARDED_BY(mutex) = false;
    bool checkpointScheduled ZENTARA_GUARDED_BY(mutex) = false;
    std::optional<Clock::time_point> lastCheckpoint ZENTARA_GUARDED_BY(mutex);

    Mutex checkpointMutex;
    SwappedFile checkpoint ZENTARA_GUARDED_BY(checkpointMutex);
    std::vector<InternalEvent> checkpointed ZENTARA_GUARDED_BY(checkpointMutex);

    FailureReporter failures;            // synchronises itself
    FailureReporter checkpointFailures;  // likewise

    void recover() ZENTARA_REQUIRES(mutex);
    [[nodiscard]] Move moveOf(const StoredEvents& stored, const QueueFiles::Path& file,
                              const std::string& fault) const;
    [[nodiscard]] static Status clear(Move& move);
    void setInFlight(std::span<const InternalEvent> events) ZENTARA_REQUIRES(mutex);
    [[nodiscard]] bool isCheckpointEmpty() const;
    Result<std::vector<InternalEvent>> load() ZENTARA_REQUIRES(mutex);
    [[nodiscard]] Status save(const EventList& events) ZENTARA_REQUIRES(mutex);
    void scheduleSpare() ZENTARA_REQUIRES(mutex);
    void scheduleCheckpoint() ZENTARA_REQUIRES(mutex);
    void writeCheckpoint();
};

void InternalEventStorageImpl::Shared::recover() {
    const std::string unreadable = "could not be read";
    const auto boot = queue.files.bootIdentity();
    const auto lastBoot = queue.files.read(queue.boot);
    const bool isSameBoot = boot.empty() || (lastBoot.ok() && *lastBoot == boot);
    auto stored = queue.read(queue.list);
    StoredEvents flushed;
    // It has events that were delivered since, so it is left alone without need.
    if (stored.state != State::unread && !(stored.state == State::list && isSameBoot)) {
        flushed = queue.read(queue.checkpoint);
        clearCheckpoint = moveOf(flushed, queue.checkpoint, unreadable);
        checkpointFailures.report(clear(clearCheckpoint).error());
    }
    bool isChanged = false;
    std::string fault = unreadable;
    if (stored.state == State::list && flushed.state == State::list) {
        isChanged = complete(stored, flushed.events, queue.read(queue.inFlight).events);
        fault = "has parts of two lists";
    }
    clearList = moveOf(stored, queue.list, fault);
    failures.report(clear(clearList).error());
    if (stored.state != State::list && stored.state != State::unread &&
        flushed.state == State::list) {
        recovered = std::move(flushed);
        isChanged = true;
    } else if (stored.state == State::list || clearList) {
        recovered = std::move(stored);
    }
    // The next save that can clear the way writes it all.
    if (clearList) {
        recovered->isCanonical = false;
        return;
    }
    // A copy, which the next saves may overwrite: until there is a newer checkpoint, this one is
    // all that the next loss of power would leave. Without a copy the next save writes it all.
    if (isChanged) {
        const auto copied = current.write(recovered->events, 0);
        failures.report(copied.error());
        if (!copied.ok()) {
            recovered->isCanonical = false;
            return;
        }
    }
    if (isSameBoot) return;
    // Failing it, the next start looks again. Not flushed, as a loss of power means another boot.
    reportLeft(queue.boot, queue.files.writeAtomically(queue.boot, boot));
}

InternalEventStorageImpl::Shared::Move InternalEventStorageImpl::Shared::moveOf(
    const StoredEvents& stored, const QueueFiles::Path& file, const std::string& fault) const {
    if (stored.state == State::unread)
        return [this, file, cause = stored.status] {
            return queue.postpone(file, cause);
        };
    if (stored.state == State::damaged)
        return [this, file, fault] {
            return queue.setAside(file, fault);
        };
    return nullptr;
}

Status InternalEventStorageImpl::Shared::clear(Move& move) {
    if (!move) return {};
    auto status = move();
    if (status.ok()) move = nullptr;
    return status;
}

Result<std::vector<InternalEvent>> InternalEventStorageImpl::Shared::load() {
    StoredEvents stored;
    if (recovered) {
        stored = *std::exchange(recovered, std::nullopt);
    } else {
        stored = queue.read(queue.list);
        if (stored.state == State::list) clearList = nullptr;
    }
    savedPosition.reset();
    saved = EventList();
    current.forget();
    if (stored.isCanonical) {
        saved = EventList(stored.events);
        current.holds(saved.events());
        if (!saved.empty()) scheduleSpare();
        // The events of a checkpoint were delivered, and would come back with the next boot.
        if (!saved.empty() || !isCheckpointEmpty()) scheduleCheckpoint();
    }
    if (!stored.status.ok()) return stored.status;
    return std::move(stored.events);
}

Status InternalEventStorageImpl::Shared::save(const EventList& list) {
    if (auto status = clear(clearList); !status.ok()) return status;
    const auto events = list.events();
    const auto position = list.position();
    const auto left = savedPosition && savedPosition->revision == position.revision
                          ? std::min(position.first - savedPosition->first, saved.size())
                          : leftFront(saved.events(), events);
    const bool isSame = left == 0 && events.size() == saved.size();
    // Before anything is written, so that what follows the write cannot fail. Taking over what has
    // changed is a fraction of copying thousands of references.
    saved.reserveMore(events.size() - (saved.size() - left));
    if (auto status = current.write(events, left); !status.ok()) return status;
    savedPosition = position;
    if (isSame) return {};
    saved.dropFront(left);
    for (const auto& event : events.subspan(saved.size()))
        saved.append(event);
    if (left > 0) scheduleSpare();
    scheduleCheckpoint();
    return {};
}

bool InternalEventStorageImpl::Shared::isCheckpointEmpty() const {
    const auto state = queue.files.state(queue.checkpoint);
    return !state || state->size <= ListText::sizeOf({});
}

void InternalEventStorageImpl::Shared::setInFlight(std::span<const InternalEvent> events) {
    inFlight.assign(events.begin(), events.end());
    if (isInFlightFlushed) scheduleCheckpoint();
    if (!inFlight.empty() || !saved.empty() || clearCheckpoint || isCheckpointEmpty()) return;
    // All is delivered, and would come back with it when the system has started anew.
    const auto removed = queue.files.remove(queue.checkpoint);
    checkpointFailures.report(removed.error());
    if (!removed.ok()) scheduleCheckpoint();
}

void InternalEventStorageImpl::Shared::scheduleSpare() {
    if (spareScheduled) return;
    scheduler(sparePreparationDelay, [weak = weak_from_this()] {
        const auto self = weak.lock();
        if (!self) return;
        const MutexLock lock(self->mutex);
        self->spareScheduled = false;
        self->current.pause(self->saved.events());
    });
    spareScheduled = true;
}

void InternalEventStorageImpl::Shared::scheduleCheckpoint() {
    if (checkpointScheduled) return;
    auto delay = Clock::duration::zero();
    if (lastCheckpoint) {
        delay = std::max(delay, *lastCheckpoint + checkpointInterval - Clock::now());
    }
    scheduler(delay, [weak = weak_from_this()] {
        if (const auto self = weak.lock()) self->writeCheckpoint();
    });
    checkpointScheduled = true;
}

void InternalEventStorageImpl::Shared::writeCheckpoint() {
    const MutexLock checkpointLock(checkpointMutex);
    Status status;
    try {
        std::vector<InternalEvent> events;
        std::array<std::shared_ptr<File>, 2> files;
        {
            const MutexLock lock(mutex);
            checkpointScheduled = false;
            lastCheckpoint = Clock::now();
            status = clear(clearCheckpoint);
            // The list alone would be the end of what was on the device until it was taken.
            const auto list = saved.events();
            for (const auto& event : inFlight) {
                if (std::none_of(list.begin(), list.end(),
                                 [&event](const auto& other) { return other.isCopyOf(event); })) {
                    events.push_back(event);
                }
            }
            isInFlightFlushed = !events.empty();
            events.insert(events.end(), list.begin(), list.end());
            current.prepareSpare(saved.events());
            files = current.openFiles();
        }
        // Both files that trade names: with an old list still on the device, a loss of power could
        // bring back one that is whole and yet older than the checkpoint.
        for (const auto& file : files) {
            if (file && status.ok()) status = file->flush();
        }
        if (status.ok()) status = checkpoint.write(events, leftFront(checkpointed, events));
        if (status.ok()) checkpointed = std::move(events);
    } catch (const std::bad_alloc&) {
        status = outOfMemory("write the checkpoint");
    }
    checkpointFailures.report(status.error());
    if (status.ok()) return;
    // The last checkpoint is as it was.
    const MutexLock lock(mutex);
    scheduleCheckpoint();
}

InternalEventStorageImpl::InternalEventStorageImpl(FileSystem& files, std::string_view fileName,
                                                   std::chrono::duration<double> checkpointInterval,
                                                   Scheduler scheduler)
    : fileURL(documentsFile(fileName)),
      shared_(std::make_shared<Shared>(QueueFiles(files, fileName), checkpointInterval,
                                       std::move(scheduler))) {}

InternalEventStorageImpl::Scheduler InternalEventStorageImpl::defaultScheduler() {
    return [](Clock::duration delay, std::function<void()> work) {
        WorkerPool::shared().asyncAfter(delay, std::move(work));
    };
}

void InternalEventStorageImpl::recover() {
    const MutexLock lock(shared_->mutex);
    shared_->recover();
}

Status InternalEventStorageImpl::save(const EventList& events) {
    const MutexLock lock(shared_->mutex);
    auto status = shared_->save(events);
    shared_->failures.report(status.error());
    return status;
}

void InternalEventStorageImpl::setInFlight(std::span<const InternalEvent> events) {
    const MutexLock lock(shared_->mutex);
    shared_->setInFlight(events);
}

Result<std::vector<InternalEvent>> InternalEventStorageImpl::load() {
    const MutexLock lock(shared_->mutex);
    auto loaded = shared_->load();
    // A file that is still in the way makes each save fail.
    if (!loaded.ok() || !shared_->clearList) shared_->failures.report(loaded.error());
    return loaded;
}

}  // namespace zentara
