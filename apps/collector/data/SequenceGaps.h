#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "collector/data/Gap.h"

namespace zentara::collector {

/// Which sequence numbers of which context have arrived, and so which are missing. Takes memory by
/// the runs of numbers that arrived, not by the numbers that are missing; any number will do. One
/// thread at a time.
class SequenceGaps {
  public:
    /// A sequence number arrived; again or out of order is fine. The first client of a context is
    /// the one that its gaps name.
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

    std::map<std::string, Context, std::less<>> contexts_;
    Wide missing_ = 0;
};

}  // namespace zentara::collector
