#pragma once

#include <zentara/ZentaraClient.h>

#include <chrono>
#include <cstdint>
#include <functional>

namespace zentara::track {

/// Delivers everything that is queued, by flushes with short deadlines, between which it shows the
/// progress. A flush that fails is repeated after a pause, which doubles with each failure.
class Drain {
  public:
    /// `ZentaraClient::flush`.
    using Flush = std::function<void(std::chrono::milliseconds deadline, FlushCallback)>;
    /// Gets the number of events delivered so far.
    using Progress = std::function<void(std::int64_t)>;

    struct Patience {
        std::chrono::milliseconds withoutDelivery{30'000};  ///< until it gives up
        std::chrono::milliseconds firstPause{20};
        std::chrono::milliseconds longestPause{500};
        std::chrono::milliseconds flush{200};  ///< the deadline of one flush
    };

    Drain(Flush flush, Patience patience);

    /// Blocks until everything is delivered or nothing was for `Patience::withoutDelivery`. Whether
    /// everything is delivered.
    bool run(const Progress& progress = {});

  private:
    Flush flush_;
    Patience patience_;
};

}  // namespace zentara::track
