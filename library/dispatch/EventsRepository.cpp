#include "dispatch/EventsRepository.h"

#include <algorithm>
#include <utility>

#include "platform/PlatformError.h"

namespace zentara {

EventsRepository::EventsRepository(std::int64_t maxEvents,
                                   std::unique_ptr<InternalEventStorage> storage,
                                   Ledger::Queue& counts)
    : maxEvents_(maxEvents), storage_(std::move(storage)), counts_(counts) {
    load();
}

EventsRepository::~EventsRepository() {
    replace({});
}

void EventsRepository::replace(EventList events) {
    const auto more =
        static_cast<std::int64_t>(events.size()) - static_cast<std::int64_t>(events_.size());
    counts_.restored += more;
    counts_.waiting += more;
    events_ = std::move(events);
}

void EventsRepository::add(const InternalEvent& event, const AddCompletion& completion) {
    const auto report = [&](const EventRepositoryResult& result) {
        if (completion) completion(result);
    };
    queue_.sync([&] {
        if (!event.jsonText()) {
            report(EventRepositoryResult::failure(std::make_shared<PlatformError>(
                PlatformError::Domain::json, 0, "JSON cannot hold the event")));
            return;
        }
        // Without its fields a queued event takes little more memory than its text.
        events_.append(texts_.packed(event));
        ++counts_.waiting;
        if (static_cast<std::int64_t>(events_.size()) > maxEvents_) {
            static_cast<void>(events_.takeFront(1));
            --counts_.waiting;
            ++counts_.evicted;
        }
        if (const auto error = storage_->save(events_)) {
            report(EventRepositoryResult::failure(error));
        } else {
            report(EventRepositoryResult::success(event));
        }
    });
}

void EventsRepository::save() {
    queue_.sync([&] { static_cast<void>(storage_->save(events_)); });
}

void EventsRepository::insert(std::span<const InternalEvent> events) {
    queue_.sync([&] {
        events_.insertAtFront(events);
        counts_.waiting += static_cast<std::int64_t>(events.size());
    });
}

void EventsRepository::load() {
    queue_.sync([&] { replace(EventList(storage_->load().records)); });
}

std::vector<InternalEvent> EventsRepository::take(std::int64_t count, const Selection& selection) {
    if (count < 1) return {};
    return queue_.sync([&] {
        const auto candidates =
            events_.events().first(std::min(static_cast<std::size_t>(count), events_.size()));
        // Decided before anything moves: looking into an event may fail for lack of memory.
        std::vector<InternalEvent> others;
        if (selection) {
            for (const auto& event : candidates) {
                if (!selection(candidates.front(), event)) others.push_back(event);
            }
        }
        auto taken = events_.takeFront(candidates.size());
        std::erase_if(taken, [&others](const InternalEvent& event) {
            return std::any_of(others.begin(), others.end(), [&event](const InternalEvent& other) {
                return other.isCopyOf(event);
            });
        });
        events_.insertAtFront(others);
        counts_.waiting -= static_cast<std::int64_t>(taken.size());
        return taken;
    });
}

}  // namespace zentara
