#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace zentara::collector {

/// Sequence numbers that have not arrived, between numbers of the same client that have.
struct Gap {
    std::string context;  ///< of the surrounding numbers; if they differ, of the later one
    std::string clientUUID;
    std::int64_t from = 0;  ///< the first missing number
    std::int64_t to = 0;    ///< the last
    std::uint64_t count = 0;

    friend bool operator==(const Gap&, const Gap&) = default;
};

/// Finds missing sequence numbers. Its memory depends on the runs of numbers that arrived, not on
/// how many are missing. One thread at a time.
///
/// A client continues its numbers from context to context. So numbers can be missing within a
/// context, and between two contexts of a client if the later one starts above the next number. If
/// it starts below, one of the contexts belongs to an earlier run of the application, which had
/// numbers of its own, and nothing is missing between them.
class SequenceGaps {
  public:
    /// Adds a sequence number, in any order and any number of times. A context belongs to the
    /// client that it first arrived with. Numbers may be added context by context instead of in
    /// order of arrival if the contexts are in order of their first arrivals.
    void add(std::string_view context, std::string_view clientUUID, std::int64_t sequence);

    /// The sum of all gaps, at most the largest number.
    [[nodiscard]] std::uint64_t missing() const noexcept;

    /// By the name of the context, then by number.
    [[nodiscard]] std::vector<Gap> gaps() const;

  private:
    /// Enough for the sum over any number of contexts.
    __extension__ using Wide = unsigned __int128;

    struct Context {
        std::string clientUUID;
        std::map<std::int64_t, std::int64_t> runs;  ///< first to last number, never adjacent
    };

    /// Missing numbers between contexts.
    struct Hole {
        std::int64_t last = 0;
        std::string context;  ///< that arrived after them
    };

    struct Client {
        std::int64_t highest = 0;
        std::map<std::int64_t, Hole> holes;  ///< by the first number; apart, and in no context
    };

    void begin(std::string_view context, std::string_view clientUUID, std::int64_t sequence);
    void cover(Client& client, std::int64_t from, std::int64_t to);

    std::map<std::string, Context, std::less<>> contexts_;
    std::map<std::string, Client, std::less<>> clients_;
    Wide missing_ = 0;
};

}  // namespace zentara::collector
