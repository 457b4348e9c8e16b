#include "dispatch/EventsRepository.h"

#include <algorithm>
#include <iterator>
#include <new>
#include <string_view>
#include <unordered_set>
#include <utility>

#include "support/PlatformError.h"

namespace zentara {

namespace {

/// False when there was no copy.
bool removeCopies(std::vector<InternalEvent>& events, const InternalEvent& event) {
    return std::erase_if(events, [&event](const auto& other) { return other.isCopyOf(event); }) > 0;
}

}  // namespace

EventsRepository::EventsRepository(std::int64_t maxEvents,
                                   std::shared_ptr<InternalEventStorage> storage,
                                   Ledger::Queue& counts,
                                   std::unique_ptr<Storage<InternalEvent>> inFlight)
    : maxEvents_(maxEvents),
      storage_(std::move(storage)),
      counts_(counts),
      inFlight_(std::move(inFlight)) {
    load();
    if (!inFlight_) return;
    const MutexLock entry(queue_);
    auto returned = inFlight_->load();
    if (!returned.ok() || returned->empty()) return;
    returned_ = *std::move(returned);
    const auto restored = missing(returned_);
    events_.insertAtFront(restored);
    countRestored(std::ssize(restored));
    saveAll();
}

EventsRepository::~EventsRepository() {
    const MutexLock entry(queue_);
    countRestored(-std::ssize(events_.events()));
    // The next queue of this name must find nothing else writing its files.
    storage_->stop();
}

void EventsRepository::countRestored(std::ptrdiff_t more) {
    counts_.restored += more;
    counts_.waiting += more;
}

void EventsRepository::add(const InternalEvent& event, const AddCompletion& completion) {
    const auto report = [&](const EventRepositoryResult& result) {
        if (completion) completion(result);
    };
    const MutexLock entry(queue_);
    if (!event.jsonText()) return report(plainError("JSON cannot hold the event"));
    if (admission_ == Admission::closed) return report(std::make_shared<RepositoryClosedError>());
    // Without its fields a queued event takes little more memory than its text.
    events_.append(texts_.packed(event));
    ++counts_.waiting;
    if (std::ssize(events_.events()) > maxEvents_) {
        events_.dropFront(1);
        --counts_.waiting;
        ++counts_.evicted;
    }
    const auto status = saveList();
    report(status.ok() ? EventRepositoryResult(event) : EventRepositoryResult(status));
}

void EventsRepository::save() {
    const MutexLock entry(queue_);
    saveAll();
}

void EventsRepository::saveAll() {
    if (admission_ == Admission::closed) return;
    if (!saveList().ok() || returned_.empty()) return;
    returned_.clear();
    saveInFlight();
}

void EventsRepository::saveInFlight() {
    if (!inFlight_) return;
    auto all = returned_;
    all.insert(all.end(), taken_.begin(), taken_.end());
    storage_->setInFlight(all);
    // If this fails, the end of the process may lose a batch. Not sending would be no better.
    isInFlightSaved_ = inFlight_->save(all).ok();
}

Status EventsRepository::saveList() {
    // First: the save of the list may remove those events from its file.
    if (!isInFlightSaved_) saveInFlight();
    return storage_->save(events_);
}

void EventsRepository::insert(std::span<const InternalEvent> events) {
    const MutexLock entry(queue_);
    if (admission_ == Admission::closed) {
        counts_.discarded += std::ssize(events);
        return;
    }
    events_.insertAtFront(events);
    counts_.waiting += std::ssize(events);
    for (const auto& event : events) {
        if (removeCopies(taken_, event)) returned_.push_back(event);
    }
}

void EventsRepository::settle(std::span<const InternalEvent> events) {
    const MutexLock entry(queue_);
    if (admission_ == Admission::closed) return;
    for (const auto& event : events)
        removeCopies(taken_, event);
    // Also when the save fails: these events were delivered.
    if (saveList().ok()) returned_.clear();
    saveInFlight();
}

Status EventsRepository::restore(std::span<const InternalEvent> events,
                                 const std::function<Status()>& removeSource) {
    const MutexLock entry(queue_);
    if (admission_ == Admission::closed) return std::make_shared<RepositoryClosedError>();
    std::ptrdiff_t count = 0;
    Status status;
    try {
        const auto restored = missing(events);
        events_.insertAtFront(restored);
        count = std::ssize(restored);
        countRestored(count);
        status = saveList();
        if (status.ok()) status = removeSource();
    } catch (const std::bad_alloc&) {
        status = outOfMemory("restore events");
    }
    if (!status.ok()) {
        events_.dropFront(static_cast<std::size_t>(count));
        countRestored(-count);
    }
    return status;
}

std::vector<InternalEvent> EventsRepository::missing(std::span<const InternalEvent> events) const {
    std::unordered_set<std::string_view> known;
    for (const auto& event : events_.events())
        known.insert(event.actionUUIDText());
    std::vector<InternalEvent> others;
    for (const auto& event : events) {
        const auto uuid = event.actionUUIDText();
        if (known.insert(uuid).second || uuid.empty()) others.push_back(event);
    }
    return others;
}

void EventsRepository::load() {
    const MutexLock entry(queue_);
    if (admission_ == Admission::closed) return;
    countRestored(-std::ssize(events_.events()));
    auto events = storage_->load();
    events_ = events.ok() ? EventList(*std::move(events)) : EventList();
    countRestored(std::ssize(events_.events()));
}

std::vector<InternalEvent> EventsRepository::take(std::int64_t count) {
    if (count < 1) return {};
    const MutexLock entry(queue_);
    const auto front =
        events_.events().first(std::min(static_cast<std::size_t>(count), events_.size()));
    const std::vector<InternalEvent> taken(front.begin(), front.end());
    if (inFlight_ && !taken.empty()) {
        for (const auto& event : taken)
            removeCopies(returned_, event);
        taken_.insert(taken_.end(), taken.begin(), taken.end());
        saveInFlight();
    }
    events_.dropFront(taken.size());
    counts_.waiting -= std::ssize(taken);
    return taken;
}

Status EventsRepository::clear(Admission afterwards) {
    const MutexLock entry(queue_);
    admission_ = afterwards;
    const auto count = std::ssize(events_.events());
    counts_.waiting -= count;
    counts_.discarded += count;
    // The texts lie in the memory, so the events go first.
    events_ = EventList();
    taken_.clear();
    returned_.clear();
    texts_ = {};
    isInFlightSaved_ = true;
    auto status = storage_->erase();
    if (!inFlight_) return status;
    auto erased = inFlight_->erase();
    return status.ok() ? erased : status;
}

void EventsRepository::reopen() {
    const MutexLock entry(queue_);
    admission_ = Admission::open;
}

}  // namespace zentara
