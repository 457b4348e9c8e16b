#pragma once

#include <memory>
#include <utility>

#include <zentara/Event.h>

namespace zentara {

/// Makes events and shares their properties, for the library only.
struct EventAccess {
    using Values = Event::Values;

    [[nodiscard]] static EventRef make(Values values) {
        return std::make_shared<const Shared>(std::move(values));
    }
    [[nodiscard]] static const Values& values(const Event& event) { return event.values_; }

  private:
    /// Lends the constructor to `std::make_shared`, which allocates the event and its count at
    /// once.
    struct Shared final : Event {
        explicit Shared(Values values) : Event(std::move(values)) {}
    };
};

}  // namespace zentara
