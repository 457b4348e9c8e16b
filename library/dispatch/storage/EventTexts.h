#pragma once

#include <cstddef>
#include <memory>

#include "model/InternalEvent.h"

namespace zentara {

/// Keeps the texts of queued events one behind the other, as the file holds them.
///
/// A save that rewrites the whole file takes them in a few long pieces. Collecting thousands of
/// short ones from all over the memory took several times as long as writing them. Memory comes in
/// blocks; each stays until the last event in it is gone. Not synchronised.
class EventTexts {
  public:
    /// The same event without its fields in memory and with its text in here. An event without a
    /// text, or with a very long one, keeps its own.
    [[nodiscard]] InternalEvent packed(const InternalEvent& event);

  private:
    static constexpr std::size_t blockSize = std::size_t{256} * 1024;
    /// What is left unused at the end of a block is less than this.
    static constexpr std::size_t longestText = blockSize / 16;

    std::shared_ptr<char[]> block_;
    std::size_t used_ = 0;
};

}  // namespace zentara
