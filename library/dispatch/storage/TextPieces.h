#pragma once

#include <cstddef>
#include <span>
#include <string_view>
#include <vector>

#include "model/InternalEvent.h"

namespace zentara {

/// The memory that the texts of a list lie in, in as few and as long pieces as it allows.
///
/// Kept from one save to the next, since finding the pieces means looking at each event: 160 to
/// 200 us for 8,000 of them, a fifth of what a save takes that rewrites the whole file. Holds no
/// event, so the list has to outlive its use here. Not synchronised.
class TextPieces {
  public:
    /// Goes on to `events`: the list of the last call, which has lost its first `left` and may have
    /// grown at its end. False when JSON cannot hold an event; this is then of no further use.
    [[nodiscard]] bool follow(std::span<const InternalEvent> events, std::size_t left);

    /// Appends the texts of `events`, the list of the last call, beginning with number `from`, a
    /// comma before each but number 0.
    void appendTo(std::vector<std::string_view>& parts, std::span<const InternalEvent> events,
                  std::size_t from) const;

    /// The number of events in the list of the last call.
    [[nodiscard]] std::size_t count() const noexcept { return count_; }

  private:
    struct Piece {
        std::string_view
            text;  ///< with commas in between; the front may be of events that are gone
        const void* owner;
        std::size_t count;  ///< of its events
    };

    void dropFront(std::size_t left);
    [[nodiscard]] bool append(const InternalEvent& event);

    std::vector<Piece> pieces_;
    std::size_t count_ = 0;
};

}  // namespace zentara
