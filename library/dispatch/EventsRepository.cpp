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

/// By which an event is passed over: its action UUID, or its text if it has none.
std::string_view nameOf(const InternalEvent& event) {
    const auto uuid = event.actionUUIDText();
    return uuid.empty() ? event.text().json : uuid;
}

}  // namespace

EventsRepository::EventsRepository(std::int64_t maxEvents,
                                   std::shared_ptr<InternalEventStorage> storage,
                                   Ledger::Queue& counts,
                                   std::unique_ptr<Storage<InternalEvent>> inFlight,
                                   DeliveryListener listener)
    : maxEvents_(maxEvents),
      storage_(std::move(storage)),
      counts_(counts),
      inFlight_(std::move(inFlight)),
      listener_(std::move(listener)) {
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
    forgetPassedOver();
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
    std::optional<InternalEvent> evicted;
    {
        const MutexLock entry(queue_);
        if (!event.jsonText()) return report(plainError("JSON cannot hold the event"));
        if (admission_ == Admission::closed)
            return report(std::make_shared<RepositoryClosedError>());
        evicted = append(event);
        const auto status = saveList();
        report(status.ok() ? EventRepositoryResult(event) : EventRepositoryResult(status));
    }
    if (evicted) tell(DeliveryNotice::Kind::evicted, std::span(&*evicted, 1), queueIsFull);
}

void EventsRepository::tell(DeliveryNotice::Kind kind, std::span<const InternalEvent> events,
                            std::string_view reason) const {
    if (listener_ && !events.empty()) listener_(kind, events, reason);
}

std::optional<InternalEvent> EventsRepository::append(const InternalEvent& event) {
    // Without its fields a queued event takes little more memory than its text.
    events_.append(texts_.packed(event));
    ++counts_.waiting;
    if (std::ssize(events_.events()) <= maxEvents_) return std::nullopt;
    auto oldest = events_.events().front();
    events_.dropFront(1);
    --counts_.waiting;
    ++counts_.evicted;
    if (isPassedOver(oldest)) {
        --counts_.passedOver;
        passedOver_.erase(passedOver_.find(nameOf(oldest)));
    }
    return oldest;
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
    if (putBack(events)) return;
    tell(DeliveryNotice::Kind::dropped, events, userDataRemoved);
}

bool EventsRepository::putBack(std::span<const InternalEvent> events) {
    const MutexLock entry(queue_);
    if (admission_ == Admission::closed) {
        counts_.discarded += std::ssize(events);
        return false;
    }
    // Events that are passed over at the front were there before these were taken.
    std::vector<InternalEvent> front;
    for (const auto& event : events_.events()) {
        if (!isPassedOver(event)) break;
        front.push_back(event);
    }
    events_.dropFront(front.size());
    events_.insertAtFront(events);
    events_.insertAtFront(front);
    counts_.waiting += std::ssize(events);
    counts_.passedOver += countPassedOver(events);
    for (const auto& event : events) {
        if (removeCopies(taken_, event)) returned_.push_back(event);
    }
    return true;
}

void EventsRepository::settle(std::span<const InternalEvent> events) {
    const MutexLock entry(queue_);
    if (admission_ == Admission::closed) return;
    bool isAnyTaken = false;
    for (const auto& event : events)
        isAnyTaken = removeCopies(taken_, event) || isAnyTaken;
    // Events that were cleared are in no file.
    if (inFlight_ && !isAnyTaken) return;
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
    forgetPassedOver();
    countRestored(-std::ssize(events_.events()));
    auto events = storage_->load();
    events_ = events.ok() ? EventList(*std::move(events)) : EventList();
    countRestored(std::ssize(events_.events()));
}

std::vector<InternalEvent> EventsRepository::take(std::int64_t count) {
    if (count < 1) return {};
    const MutexLock entry(queue_);
    std::vector<InternalEvent> taken;
    std::vector<InternalEvent> left;
    for (const auto& event : events_.events()) {
        if (std::ssize(taken) == count) break;
        (isPassedOver(event) ? left : taken).push_back(event);
    }
    if (taken.empty()) return taken;
    if (inFlight_) {
        for (const auto& event : taken)
            removeCopies(returned_, event);
        taken_.insert(taken_.end(), taken.begin(), taken.end());
        saveInFlight();
    }
    events_.dropFront(taken.size() + left.size());
    events_.insertAtFront(left);
    counts_.waiting -= std::ssize(taken);
    return taken;
}

Status EventsRepository::clear(Admission afterwards) {
    std::vector<InternalEvent> dropped;
    const auto status = removeAll(afterwards, dropped);
    tell(DeliveryNotice::Kind::dropped, dropped, userDataRemoved);
    return status;
}

Status EventsRepository::removeAll(Admission afterwards, std::vector<InternalEvent>& dropped) {
    const MutexLock entry(queue_);
    admission_ = afterwards;
    forgetPassedOver();
    const auto events = events_.events();
    if (listener_) dropped.assign(events.begin(), events.end());
    counts_.waiting -= std::ssize(events);
    counts_.discarded += std::ssize(events);
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

void EventsRepository::passOver(std::span<const InternalEvent> events) {
    const MutexLock entry(queue_);
    for (const auto& event : events)
        passedOver_.emplace(nameOf(event));
}

void EventsRepository::retryPassedOver() {
    const MutexLock entry(queue_);
    forgetPassedOver();
}

bool EventsRepository::hasEventsToTake() const {
    const MutexLock entry(queue_);
    return std::ssize(events_.events()) > countPassedOver(events_.events());
}

bool EventsRepository::isPassedOver(const InternalEvent& event) const {
    return !passedOver_.empty() && passedOver_.contains(nameOf(event));
}

std::ptrdiff_t EventsRepository::countPassedOver(std::span<const InternalEvent> events) const {
    if (passedOver_.empty()) return 0;
    std::ptrdiff_t count = 0;
    for (const auto& event : events)
        count += isPassedOver(event) ? 1 : 0;
    return count;
}

void EventsRepository::forgetPassedOver() {
    counts_.passedOver -= countPassedOver(events_.events());
    passedOver_.clear();
}

}  // namespace zentara
