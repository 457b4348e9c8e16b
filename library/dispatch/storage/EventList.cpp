#include "dispatch/storage/EventList.h"

#include <algorithm>
#include <atomic>
#include <utility>

namespace zentara {

EventList::EventList(std::vector<InternalEvent> events) : slots_(std::move(events)) {
    changed();
}

void EventList::changed() noexcept {
    static std::atomic<std::uint64_t> last{0};
    position_ = {++last, 0};
}

void EventList::insertAtFront(std::span<const InternalEvent> events) {
    if (events.empty()) return;
    if (events.size() <= first_) {
        first_ -= events.size();
        std::copy(events.begin(), events.end(),
                  slots_.begin() + static_cast<std::ptrdiff_t>(first_));
    } else {
        slots_.erase(slots_.begin(), slots_.begin() + static_cast<std::ptrdiff_t>(first_));
        first_ = 0;
        slots_.insert(slots_.begin(), events.begin(), events.end());
    }
    changed();
}

void EventList::dropFront(std::size_t count) noexcept {
    count = std::min(count, size());
    if (count == 0) return;
    // Destroyed now, not when the gap is closed.
    for (const auto end = first_ + count; first_ < end; ++first_)
        const InternalEvent gone = std::move(slots_[first_]);
    if (first_ > slots_.size() / 2) {
        slots_.erase(slots_.begin(), slots_.begin() + static_cast<std::ptrdiff_t>(first_));
        first_ = 0;
    }
    position_.first += count;
}

void EventList::reserveMore(std::size_t count) {
    const auto needed = slots_.size() + count;
    if (slots_.capacity() < needed) slots_.reserve(std::max(needed, 2 * slots_.capacity()));
}

}  // namespace zentara
