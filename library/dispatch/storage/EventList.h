#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "model/InternalEvent.h"

namespace zentara {

/// Queued events, oldest first.
///
/// The list knows its position: a revision that other changes than appending and taking from the
/// front draw anew, and how many events have left the front within it. Two looks at a list that
/// find one revision therefore tell what has changed in between, so that a store need not compare.
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

    /// Makes room, so that as many more can be appended without asking for memory.
    void reserveMore(std::size_t count);

    /// Puts `events` ahead of all others, in their order.
    void insertAtFront(std::span<const InternalEvent> events);

    /// Removes the first `count` events.
    void dropFront(std::size_t count) noexcept;

  private:
    void changed() noexcept;

    // Taken events leave a gap at the front, so that taking one costs no move of the others.
    std::vector<InternalEvent> slots_;
    std::size_t first_ = 0;
    Position position_;
};

}  // namespace zentara
