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
#include "model/EventDecoder.h"
#include "platform/BootIdentity.h"
#include "platform/File.h"
#include "support/FailureReporter.h"
#include "support/Mutex.h"
#include "support/PlatformError.h"
#include "support/threads/WorkerPool.h"

namespace zentara {

namespace {

using Clock = std::chrono::steady_clock;

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
    auto& list = stored.decoded;
    try {
        const auto others = lacking(list.events, flushed, inFlight);
        if (!others) {
            stored = {StoredEvents::State::damaged, {}};
            return false;
        }
        list.events.insert(list.events.begin(), others->begin(), others->end());
        return !others->empty();
    } catch (const std::bad_alloc&) {
        stored = {StoredEvents::State::unread, {{}, outOfMemory("check the events")}};
        return false;
    }
}

}  // namespace

/// What the storage and its background tasks share, so that a task may outlive the storage.
struct InternalEventStorageImpl::Shared : std::enable_shared_from_this<Shared> {
    Shared(const std::filesystem::path& file, std::chrono::duration<double> interval, Scheduler run)
        : path(file),
          checkpointPath(sibling(file, ".", ".checkpoint")),
          bootPath(sibling(file, ".", ".boot")),
          checkpointInterval(std::chrono::duration_cast<Clock::duration>(interval)),
          scheduler(std::move(run)),
          current(file, sibling(file, ".", ".spare"), SwappedFile::Durability::process),
          checkpoint(checkpointPath, sibling(file, ".", ".checkpoint-spare"),
                     SwappedFile::Durability::flushed),
          failures(Component::storage, file.filename().string()),
          checkpointFailures(Component::storage, checkpointPath.filename().string()) {}

    const std::filesystem::path path;
    const std::filesystem::path checkpointPath;
    const std::filesystem::path bootPath;
    const Clock::duration checkpointInterval;
    const Scheduler scheduler;

    Mutex mutex;
    SwappedFile current ZENTARA_GUARDED_BY(mutex);
    /// The events in the file, and where in the list that they came from.
    EventList saved ZENTARA_GUARDED_BY(mutex);
    std::optional<EventList::Position> savedPosition ZENTARA_GUARDED_BY(mutex);
    /// What `recover` read, for the first `load`.
    std::optional<DecodedEvents> recovered ZENTARA_GUARDED_BY(mutex);
    /// What moves away a file that is still there and cannot be read: saving would destroy it.
    std::function<ErrorRef()> clearTheWay ZENTARA_GUARDED_BY(mutex);
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
    [[nodiscard]] StoredEvents readCheckpoint() const;
    void setInFlight(std::span<const InternalEvent> events) ZENTARA_REQUIRES(mutex);
    Loaded<InternalEvent> load() ZENTARA_REQUIRES(mutex);
    ErrorRef save(const EventList& events) ZENTARA_REQUIRES(mutex);
    void scheduleSpare() ZENTARA_REQUIRES(mutex);
    void scheduleCheckpoint() ZENTARA_REQUIRES(mutex);
    void writeCheckpoint();
};

void InternalEventStorageImpl::Shared::recover() {
    using State = StoredEvents::State;
    const auto boot = bootIdentity();
    const bool isSameBoot = boot.empty() || readFile(bootPath).bytes == boot;
    auto stored = readEvents(path);
    StoredEvents flushed;
    // It has events that were delivered since, so it is left alone without need.
    if (stored.state != State::unread && !(stored.state == State::list && isSameBoot))
        flushed = readCheckpoint();
    bool isChanged = false;
    std::string fault = "could not be read";
    if (stored.state == State::list && flushed.state == State::list) {
        const auto inFlightNow = readEvents(sibling(path, ".", ".under-way"));
        isChanged = complete(stored, flushed.decoded.events, inFlightNow.decoded.events);
        fault = "has parts of two lists";
    }
    if (stored.state == State::unread) {
        clearTheWay = [this, cause = stored.decoded.error] {
            return putBy(path, path, *cause);
        };
    } else if (stored.state == State::damaged) {
        clearTheWay = [this, fault] {
            return setAside(path, path, fault);
        };
    }
    if (clearTheWay && !clearTheWay()) clearTheWay = nullptr;
    if (stored.state != State::list && stored.state != State::unread &&
        flushed.state == State::list) {
        recovered = std::move(flushed.decoded);
        isChanged = true;
    } else if (stored.state == State::list || clearTheWay) {
        recovered = std::move(stored.decoded);
    }
    // The next save that can clear the way writes it all.
    if (clearTheWay) {
        recovered->isCanonical = false;
        return;
    }
    // A copy, which the next saves may overwrite: until there is a newer checkpoint, this one is
    // all that the next loss of power would leave. Without a copy the next save writes it all.
    if (isChanged && current.write(recovered->events, 0)) {
        recovered->isCanonical = false;
        return;
    }
    // Failing it, the next start looks again. Not flushed, as a loss of power means another boot.
    if (!isSameBoot) static_cast<void>(writeFileAtomically(bootPath, boot));
}

StoredEvents InternalEventStorageImpl::Shared::readCheckpoint() const {
    auto flushed = readEvents(checkpointPath);
    if (flushed.state == StoredEvents::State::damaged)
        static_cast<void>(setAside(checkpointPath, path));
    if (flushed.state == StoredEvents::State::unread) {
        static_cast<void>(putBy(checkpointPath, path, *flushed.decoded.error));
    }
    return flushed;
}

Loaded<InternalEvent> InternalEventStorageImpl::Shared::load() {
    StoredEvents stored;
    if (recovered) {
        stored = {StoredEvents::State::list, *std::exchange(recovered, std::nullopt)};
    } else {
        stored = readEvents(path);
        if (stored.decoded.isList) clearTheWay = nullptr;
    }
    auto& events = stored.decoded;
    savedPosition.reset();
    saved = EventList();
    current.forget();
    if (events.isCanonical) {
        saved = EventList(events.events);
        current.holds(saved.events());
        if (!saved.empty()) {
            scheduleSpare();
            scheduleCheckpoint();
        } else if (const auto old = fileState(checkpointPath); old && old->size > 2) {
            // Its events were delivered, and would come back with the next boot.
            scheduleCheckpoint();
        }
    }
    return {std::move(events.events), events.error, stored.state != StoredEvents::State::missing};
}

ErrorRef InternalEventStorageImpl::Shared::save(const EventList& list) {
    if (clearTheWay) {
        if (auto error = clearTheWay()) return error;
        clearTheWay = nullptr;
    }
    const auto events = list.events();
    const auto position = list.position();
    const auto left = savedPosition && savedPosition->revision == position.revision
                          ? std::min(position.first - savedPosition->first, saved.size())
                          : leftFront(saved.events(), events);
    const bool isSame = left == 0 && events.size() == saved.size();
    // Before anything is written, so that what follows the write cannot fail. Taking over what has
    // changed is a fraction of copying thousands of references.
    saved.reserveMore(events.size() - (saved.size() - left));
    if (auto error = current.write(events, left)) return error;
    savedPosition = position;
    if (isSame) return nullptr;
    saved.dropFront(left);
    for (const auto& event : events.subspan(saved.size()))
        saved.append(event);
    if (left > 0) scheduleSpare();
    scheduleCheckpoint();
    return nullptr;
}

void InternalEventStorageImpl::Shared::setInFlight(std::span<const InternalEvent> events) {
    inFlight.assign(events.begin(), events.end());
    if (isInFlightFlushed) scheduleCheckpoint();
    if (!inFlight.empty() || !saved.empty()) return;
    // All is delivered, and would come back with it when the system has started anew.
    if (const auto old = fileState(checkpointPath); old && old->size > 2)
        removeFile(checkpointPath);
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
    ErrorRef error;
    try {
        std::vector<InternalEvent> events;
        std::array<File, 2> files;
        {
            const MutexLock lock(mutex);
            checkpointScheduled = false;
            lastCheckpoint = Clock::now();
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
            error = current.duplicate(files);
        }
        // Both files that trade names: with an old list still on the device, a loss of power could
        // bring back one that is whole and yet older than the checkpoint.
        for (auto& file : files) {
            if (file.isOpen() && !error) error = file.synchronise();
        }
        if (!error) error = checkpoint.write(events, leftFront(checkpointed, events));
        if (!error) checkpointed = std::move(events);
    } catch (const std::bad_alloc&) {
        error = outOfMemory("write the checkpoint");
    }
    checkpointFailures.report(error);
    if (!error) return;
    // The last checkpoint is as it was.
    const MutexLock lock(mutex);
    scheduleCheckpoint();
}

InternalEventStorageImpl::InternalEventStorageImpl(std::string_view fileName,
                                                   std::chrono::duration<double> checkpointInterval,
                                                   Scheduler scheduler)
    : fileURL(documentsFile(fileName)),
      shared_(std::make_shared<Shared>(fileURL, checkpointInterval, std::move(scheduler))) {}

InternalEventStorageImpl::Scheduler InternalEventStorageImpl::defaultScheduler() {
    return [](Clock::duration delay, std::function<void()> work) {
        WorkerPool::shared().asyncAfter(delay, std::move(work));
    };
}

void InternalEventStorageImpl::recover() {
    const MutexLock lock(shared_->mutex);
    shared_->recover();
}

ErrorRef InternalEventStorageImpl::save(const EventList& events) {
    const MutexLock lock(shared_->mutex);
    auto error = shared_->save(events);
    shared_->failures.report(error);
    return error;
}

void InternalEventStorageImpl::setInFlight(std::span<const InternalEvent> events) {
    const MutexLock lock(shared_->mutex);
    shared_->setInFlight(events);
}

Loaded<InternalEvent> InternalEventStorageImpl::load() {
    const MutexLock lock(shared_->mutex);
    auto loaded = shared_->load();
    shared_->failures.report(loaded.error);
    return loaded;
}

}  // namespace zentara
