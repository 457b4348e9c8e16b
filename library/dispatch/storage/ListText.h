#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string_view>
#include <vector>

#include "model/InternalEvent.h"
#include "support/Status.h"

namespace zentara {

/// The text of a list of events as a file holds it: one compact JSON array. Nothing else writes the
/// bytes around the text of an event.
///
/// Remembers from save to save which pieces of memory the texts lie in, as few and as long as
/// possible. Finding the pieces means looking at each event, 160 to 200 us for 8,000 events, a
/// fifth of a save that rewrites the whole file. Holds no event, so the list must outlive its use
/// here. Not synchronised.
class ListText {
  public:
    class Memory;

    /// A part of a file, as a caller writes it.
    struct Part {
        std::span<const std::string_view> pieces;  ///< valid until the next call
        std::uint64_t offset = 0;                  ///< in the file
        std::uint64_t end = 0;                     ///< of the part, and of the file
    };

    /// The length of the file that holds `events`.
    [[nodiscard]] static std::uint64_t sizeOf(std::span<const InternalEvent> events);

    /// Moves on to `events`: the list of the last call without its first `left` events, and with
    /// any number appended. Fails when JSON cannot hold an event; this must not be used after that.
    [[nodiscard]] Status follow(std::span<const InternalEvent> events, std::size_t left);

    /// The number of events in the list of the last call.
    [[nodiscard]] std::size_t count() const noexcept { return count_; }

    /// The whole file of `events`, the list of the last call.
    [[nodiscard]] Part whole(std::span<const InternalEvent> events);
    /// The part that is missing in a file of `size` bytes with the first `from` of `events`.
    [[nodiscard]] Part tail(std::span<const InternalEvent> events, std::size_t from,
                            std::uint64_t size);

  private:
    struct Piece {
        /// With commas in between; may begin with events that have left the list.
        std::string_view text;
        const void* owner;
        std::size_t count;  ///< of its events
    };

    void dropFront(std::size_t left);
    [[nodiscard]] bool append(const InternalEvent& event);
    void addFrom(std::span<const InternalEvent> events, std::size_t from);
    [[nodiscard]] Part finished(std::uint64_t offset);

    std::vector<Piece> pieces_;
    std::size_t count_ = 0;
    std::vector<std::string_view> parts_;
};

/// Keeps the texts of queued events one behind the other, as the file holds them.
///
/// A save that rewrites the whole file takes them in a few long pieces. Collecting thousands of
/// short pieces from all over the memory took several times as long as writing them. Memory comes
/// in blocks; each block stays until its last event is destroyed. Not synchronised.
class ListText::Memory {
  public:
    /// The same event without its fields and with its text in this memory. An event without a text,
    /// or with a very long text, keeps its own.
    [[nodiscard]] InternalEvent packed(const InternalEvent& event);

  private:
    static constexpr std::size_t blockSize = std::size_t{256} * 1024;
    /// The unused end of a block is shorter than this.
    static constexpr std::size_t longestText = blockSize / 16;

    std::shared_ptr<char[]> block_;
    std::size_t used_ = 0;
};

}  // namespace zentara
