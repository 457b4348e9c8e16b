#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "model/InternalEvent.h"

namespace zentara {

/// Queued events, oldest first.
///
/// The list has a position: a revision, and the number of events that have left the front within
/// it. Any change but appending and dropping from the front draws a new revision. A store that sees
/// the same revision twice therefore knows what has changed in between without comparing events.
class EventList {
  public:
    struct Position {
        std::uint64_t revision = 0;
        std::size_t first = 0;
    };

    EventList() : EventList(std::vector<InternalEvent>()) {}
    explicit EventList(std::vector<InternalEvent> events);

    EventList(const EventList&) = delete;
    EventList& operator=(const EventList&) = delete;
    EventList(EventList&&) = default;
    EventList& operator=(EventList&&) = default;

    [[nodiscard]] std::span<const InternalEvent> events() const noexcept {
        return std::span(slots_).subspan(first_);
    }
    [[nodiscard]] std::size_t size() const noexcept { return slots_.size() - first_; }
    [[nodiscard]] bool empty() const noexcept { return size() == 0; }
    [[nodiscard]] Position position() const noexcept { return position_; }

    void append(InternalEvent event) { slots_.push_back(std::move(event)); }

    /// Makes room, so that `count` more can be appended without an allocation.
    void reserveMore(std::size_t count);

    /// Puts `events` ahead of all others, in their order.
    void insertAtFront(std::span<const InternalEvent> events);

    /// Removes the first `count` events.
    void dropFront(std::size_t count) noexcept;

  private:
    void changed() noexcept;

    // Dropped events leave a gap at the front, so that dropping an event moves no others.
    std::vector<InternalEvent> slots_;
    std::size_t first_ = 0;
    Position position_;
};

}  // namespace zentara
