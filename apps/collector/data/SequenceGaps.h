#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "collector/data/Gap.h"

namespace zentara::collector {

/// Which sequence numbers have arrived, and so which are missing. Takes memory by the runs of
/// numbers that arrived, not by the numbers that are missing; any number will do. One thread at a
/// time.
///
/// A client counts on from context to context. So numbers are missing within a context, and between
/// the contexts of a client when one arrives for the first time with a number further up than the
/// next. When it arrives with a lower one, either of them is left from an earlier run of the
/// application, which counted for itself, and nothing is known of what lies between.
class SequenceGaps {
  public:
    /// A sequence number arrived; again or out of order is fine. A context belongs to the client
    /// that it first arrived with. Contexts may be added one after the other instead of as their
    /// numbers arrived, if they go by their first arrivals.
    void add(std::string_view context, std::string_view clientUUID, std::int64_t sequence);

    /// The size of all gaps together, or the largest number when it is larger than that.
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
        std::string context;  ///< the one that arrived after them
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
