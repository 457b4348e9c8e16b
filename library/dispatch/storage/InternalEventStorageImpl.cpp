#include "dispatch/storage/InternalEventStorageImpl.h"

#include <algorithm>
#include <array>
#include <new>
#include <span>
#include <unordered_map>
#include <unordered_set>

#include "support/PlatformError.h"
#include "support/threads/WorkerPool.h"

namespace zentara {

namespace {

using Clock = std::chrono::steady_clock;
using State = StoredEvents::State;

/// Appends follow each other closely; the spare is prepared when they pause.
constexpr Clock::duration sparePreparationDelay = std::chrono::milliseconds(50);

/// How many events have left the front of `older` if `newer` is the rest of it with more appended;
/// otherwise all of them.
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
/// putting back and appending: it has the last event of `flushed` that is not `inFlight`, or none
/// of `flushed`; each event once and unchanged; and new events behind. Nothing if `list` is a
/// mixture of two lists.
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
        const bool isFlushed = text != texts.end();
        if (isFlushed && (isAnyNew || text->second != event.text().json)) return std::nullopt;
        (isFlushed ? isAnyFlushed : isAnyNew) = true;
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

/// Adds the events of the checkpoint that a list lacks after a loss of power, or marks the list as
/// damaged. True when events were added.
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

InternalEventStorageImpl::InternalEventStorageImpl(QueueFiles queue,
                                                   std::chrono::duration<double> checkpointInterval,
                                                   Scheduler scheduler)
    : fileURL(queue.list),
      queue_(std::move(queue)),
      checkpointInterval_(std::chrono::duration_cast<Clock::duration>(checkpointInterval)),
      scheduler_(std::move(scheduler)),
      failures_(Component::storage, queue_.list.filename().string()),
      checkpointFailures_(Component::storage, queue_.checkpoint.filename().string()),
      current_(queue_.files, queue_.list, queue_.spare, SwappedFile::Durability::process),
      checkpoint_(queue_.files, queue_.checkpoint, queue_.checkpointSpare,
                  SwappedFile::Durability::flushed) {}

InternalEventStorageImpl::Scheduler InternalEventStorageImpl::defaultScheduler() {
    return [](Clock::duration delay, std::function<void()> work) {
        WorkerPool::shared().asyncAfter(delay, std::move(work));
    };
}

void InternalEventStorageImpl::recover() {
    const MutexLock lock(mutex_);
    const std::string unreadable = "could not be read";
    const auto boot = queue_.files.bootIdentity();
    const auto lastBoot = queue_.files.read(queue_.boot);
    const bool isSameBoot = boot.empty() || (lastBoot.ok() && *lastBoot == boot);
    auto stored = queue_.read(queue_.list);
    StoredEvents flushed;
    // The checkpoint has events that were delivered since, so it is read only when needed.
    if (stored.state != State::unread && !(stored.state == State::list && isSameBoot)) {
        flushed = queue_.read(queue_.checkpoint);
        clearCheckpoint_ = moveOf(flushed, queue_.checkpoint, unreadable);
        checkpointFailures_.report(clear(clearCheckpoint_));
    }
    bool isChanged = false;
    std::string fault = unreadable;
    if (stored.state == State::list && flushed.state == State::list) {
        isChanged = complete(stored, flushed.events, queue_.read(queue_.inFlight).events);
        fault = "has parts of two lists";
    }
    clearList_ = moveOf(stored, queue_.list, fault);
    failures_.report(clear(clearList_));
    if (stored.state != State::list && stored.state != State::unread &&
        flushed.state == State::list) {
        recovered_ = std::move(flushed);
        isChanged = true;
    } else if (stored.state == State::list || clearList_) {
        recovered_ = std::move(stored);
    }
    // The next save that can move the file away writes the whole list.
    if (clearList_) {
        recovered_->isCanonical = false;
        return;
    }
    // A copy, which the next saves may overwrite: until there is a newer checkpoint, another loss
    // of power would leave only this one. If copying fails, the next save writes the whole list.
    if (isChanged) {
        const auto copied = current_.write(recovered_->events, 0);
        failures_.report(copied);
        if (!copied.ok()) {
            recovered_->isCanonical = false;
            return;
        }
    }
    if (!isSameBoot) noteBoot(boot);
}

void InternalEventStorageImpl::noteBoot(const std::string& boot) const {
    // If this fails, the next start compares again. Not flushed: a loss of power means a new boot.
    reportLeft(queue_.boot, queue_.files.writeAtomically(queue_.boot, boot));
}

InternalEventStorageImpl::Move InternalEventStorageImpl::moveOf(const StoredEvents& stored,
                                                                const QueueFiles::Path& file,
                                                                const std::string& fault) const {
    if (stored.state != State::unread && stored.state != State::damaged) return nullptr;
    return [this, state = stored.state, file, fault, cause = stored.status] {
        return state == State::unread ? queue_.postpone(file, cause) : queue_.setAside(file, fault);
    };
}

Status InternalEventStorageImpl::clear(Move& move) {
    if (!move) return {};
    auto status = move();
    if (status.ok()) move = nullptr;
    return status;
}

Result<std::vector<InternalEvent>> InternalEventStorageImpl::load() {
    const MutexLock lock(mutex_);
    auto loaded = read();
    // While a file is still in the way, each save fails.
    if (!loaded.ok() || !clearList_) failures_.report(loaded.status());
    return loaded;
}

Result<std::vector<InternalEvent>> InternalEventStorageImpl::read() {
    StoredEvents stored;
    if (recovered_) {
        stored = *std::exchange(recovered_, std::nullopt);
    } else {
        stored = queue_.read(queue_.list);
        if (stored.state == State::list) clearList_ = nullptr;
    }
    savedPosition_.reset();
    saved_ = EventList();
    current_.forget();
    if (stored.isCanonical) {
        saved_ = EventList(stored.events);
        current_.holds(saved_.events());
        if (!saved_.empty()) scheduleSpare();
        // The events of an old checkpoint were delivered; the next boot would restore them.
        if (!saved_.empty() || !isCheckpointEmpty()) scheduleCheckpoint();
    }
    if (!stored.status.ok()) return stored.status;
    return std::move(stored.events);
}

Status InternalEventStorageImpl::save(const EventList& events) {
    const MutexLock lock(mutex_);
    auto status = write(events);
    failures_.report(status);
    return status;
}

Status InternalEventStorageImpl::write(const EventList& list) {
    if (auto status = clear(clearList_); !status.ok()) return status;
    const auto events = list.events();
    const auto position = list.position();
    const auto left = savedPosition_ && savedPosition_->revision == position.revision
                          ? std::min(position.first - savedPosition_->first, saved_.size())
                          : leftFront(saved_.events(), events);
    const bool isSame = left == 0 && events.size() == saved_.size();
    // Reserved before the write, so that nothing after it can fail. Applying the changes costs a
    // fraction of copying thousands of references.
    saved_.reserveMore(events.size() - (saved_.size() - left));
    if (auto status = current_.write(events, left); !status.ok()) return status;
    isAtRest_ = false;
    // Otherwise the next start would take delivered events back from the checkpoint.
    if (std::exchange(isBootErased_, false)) noteBoot(queue_.files.bootIdentity());
    savedPosition_ = position;
    if (isSame) return {};
    isFull_ = left == 1 && events.size() == saved_.size();
    saved_.dropFront(left);
    for (const auto& event : events.subspan(saved_.size()))
        saved_.append(event);
    if (left > 0) scheduleSpare();
    scheduleCheckpoint();
    return {};
}

bool InternalEventStorageImpl::isCheckpointEmpty() const {
    const auto state = queue_.files.state(queue_.checkpoint);
    return !state || state->size <= ListText::sizeOf({});
}

Status InternalEventStorageImpl::erase() {
    // A checkpoint is written under the first of these.
    const MutexLock checkpointLock(checkpointMutex_);
    const MutexLock lock(mutex_);
    recovered_.reset();
    clearList_ = clearCheckpoint_ = nullptr;
    saved_ = EventList();
    savedPosition_.reset();
    inFlight_.clear();
    isInFlightFlushed_ = isFull_ = false;
    isAtRest_ = isBootErased_ = true;
    checkpointed_.clear();
    current_.reset();
    checkpoint_.reset();
    auto status = queue_.files.removeAllOf(queue_.list);
    failures_.report(status);
    if (status.ok()) checkpointFailures_.report(status);
    return status;
}

void InternalEventStorageImpl::stop() {
    const MutexLock checkpointLock(checkpointMutex_);
    const MutexLock lock(mutex_);
    isAtRest_ = true;
}

void InternalEventStorageImpl::setInFlight(std::span<const InternalEvent> events) {
    const MutexLock lock(mutex_);
    isAtRest_ = isAtRest_ && events.empty();
    inFlight_.assign(events.begin(), events.end());
    if (isInFlightFlushed_) scheduleCheckpoint();
    if (!inFlight_.empty() || !saved_.empty() || clearCheckpoint_ || isCheckpointEmpty()) return;
    // All events are delivered; the next boot would restore them from the checkpoint.
    const auto removed = queue_.files.remove(queue_.checkpoint);
    checkpointFailures_.report(removed);
    if (!removed.ok()) scheduleCheckpoint();
}

void InternalEventStorageImpl::scheduleSpare() {
    if (spareScheduled_) return;
    scheduler_(sparePreparationDelay, [weak = weak_from_this()] {
        const auto self = weak.lock();
        if (!self) return;
        const MutexLock lock(self->mutex_);
        self->spareScheduled_ = false;
        if (!self->isFull_ && !self->isAtRest_) self->current_.prepareSpare(self->saved_.events());
    });
    spareScheduled_ = true;
}

void InternalEventStorageImpl::scheduleCheckpoint() {
    if (checkpointScheduled_) return;
    auto delay = Clock::duration::zero();
    if (lastCheckpoint_) {
        delay = std::max(delay, *lastCheckpoint_ + checkpointInterval_ - Clock::now());
    }
    scheduler_(delay, [weak = weak_from_this()] {
        if (const auto self = weak.lock()) self->writeCheckpoint();
    });
    checkpointScheduled_ = true;
}

void InternalEventStorageImpl::writeCheckpoint() {
    const MutexLock checkpointLock(checkpointMutex_);
    Status status;
    try {
        std::vector<InternalEvent> events;
        std::array<std::shared_ptr<File>, 2> files;
        {
            const MutexLock lock(mutex_);
            checkpointScheduled_ = false;
            if (isAtRest_) return;
            lastCheckpoint_ = Clock::now();
            status = clear(clearCheckpoint_);
            // Without the events in flight, a loss of power would lose them.
            const auto list = saved_.events();
            for (const auto& event : inFlight_) {
                if (std::none_of(list.begin(), list.end(),
                                 [&event](const auto& other) { return other.isCopyOf(event); })) {
                    events.push_back(event);
                }
            }
            isInFlightFlushed_ = !events.empty();
            events.insert(events.end(), list.begin(), list.end());
            current_.prepareSpare(saved_.events());
            files = current_.openFiles();
        }
        // Both files that trade names: with an old list still on the device, a loss of power could
        // leave a whole list that is older than the checkpoint.
        for (const auto& file : files) {
            if (file && status.ok()) status = file->flush();
        }
        if (status.ok()) status = checkpoint_.write(events, leftFront(checkpointed_, events));
        if (status.ok()) checkpointed_ = std::move(events);
    } catch (const std::bad_alloc&) {
        status = outOfMemory("write the checkpoint");
    }
    checkpointFailures_.report(status);
    if (status.ok()) return;
    // The last checkpoint is as it was.
    const MutexLock lock(mutex_);
    scheduleCheckpoint();
}

}  // namespace zentara
