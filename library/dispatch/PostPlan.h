#pragma once

#include <cstddef>
#include <deque>
#include <span>
#include <vector>

#include "model/InternalEvent.h"

namespace zentara {

/// The posts that one dispatch has still to make, in order. A value; holds no lock.
class PostPlan {
  public:
    using Batch = std::vector<InternalEvent>;

    PostPlan() = default;
    /// One post for each user, in the order of their oldest events.
    explicit PostPlan(std::span<const InternalEvent> events);

    [[nodiscard]] bool empty() const noexcept { return posts_.empty(); }
    /// The events of the next post. The plan is not empty.
    [[nodiscard]] const Batch& next() const { return posts_.front(); }

    /// The next post was delivered, or its only event is passed over.
    void removeNext() { posts_.pop_front(); }
    /// The next post has failed, and its user has to wait: events of a user stay in order.
    void removeUserOfNext();

    /// The next post takes `count` of its events, at least one; the others follow right behind.
    void splitNext(std::size_t count);
    /// Splits the next post, of more than one event, in the middle.
    void halveNext() { splitNext((next().size() + 1) / 2); }

  private:
    std::deque<Batch> posts_;
};

}  // namespace zentara
