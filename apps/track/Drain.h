#pragma once

#include <zentara/ZentaraClient.h>

#include <chrono>
#include <cstddef>
#include <functional>

namespace zentara::track {

/// Delivers batch after batch until nothing waits any more.
///
/// A fetch that finds nothing waiting does not end it alone, since a batch that the library
/// dispatches by itself may be under way: the file of the queue must be empty too, and a moment
/// later there must still be nothing. A delivery that fails is tried again after a pause, which
/// doubles from failure to failure. Failures are normal at first, until the collector has issued an
/// identity.
class Drain {
  public:
    /// Starts the delivery of one batch, as `ZentaraClient::performFetch` does.
    using Fetch = std::function<void(ZentaraClient::FetchCallback)>;
    /// Tells whether the queue on disk is empty, too.
    using Settled = std::function<bool()>;
    /// Gets the number of batches delivered so far.
    using Progress = std::function<void(std::size_t)>;

    struct Patience {
        std::chrono::milliseconds withoutDelivery{30'000};  ///< then it gives up
        std::chrono::milliseconds firstPause{20};
        std::chrono::milliseconds longestPause{500};
        std::chrono::milliseconds moment{200};  ///< between the first look and the second
    };

    struct Result {
        bool complete = false;  ///< nothing waits any more
        std::size_t batches = 0;
    };

    Drain(Fetch fetch, Settled settled, Patience patience);

    /// Blocks until everything is delivered or the patience is at an end.
    Result run(const Progress& progress = {});

  private:
    Fetch fetch_;
    Settled settled_;
    Patience patience_;
};

}  // namespace zentara::track
