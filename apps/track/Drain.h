#pragma once

#include <zentara/ZentaraClient.h>

#include <chrono>
#include <cstddef>
#include <functional>

namespace zentara::track {

/// Delivers batch after batch until the queue is empty.
///
/// A fetch that finds nothing is not enough, since a batch that the library dispatches by itself
/// may be in flight. `Settled` must hold too, and both must still hold a moment later. A delivery
/// that fails is repeated after a pause, which doubles with each failure. Failures are normal until
/// the collector has issued an identity.
class Drain {
  public:
    /// Starts the delivery of one batch, as `ZentaraClient::performFetch` does.
    using Fetch = std::function<void(ZentaraClient::FetchCallback)>;
    /// Whether nothing is queued or in flight.
    using Settled = std::function<bool()>;
    /// Gets the number of batches delivered so far.
    using Progress = std::function<void(std::size_t)>;

    struct Patience {
        std::chrono::milliseconds withoutDelivery{30'000};  ///< until it gives up
        std::chrono::milliseconds firstPause{20};
        std::chrono::milliseconds longestPause{500};
        std::chrono::milliseconds moment{200};  ///< between the first look and the second
    };

    struct Result {
        bool complete = false;  ///< the queue is empty
        std::size_t batches = 0;
    };

    Drain(Fetch fetch, Settled settled, Patience patience);

    /// Blocks until everything is delivered or nothing was for `Patience::withoutDelivery`.
    Result run(const Progress& progress = {});

  private:
    Fetch fetch_;
    Settled settled_;
    Patience patience_;
};

}  // namespace zentara::track
