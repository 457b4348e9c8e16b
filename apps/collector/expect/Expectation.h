#pragma once

#include <zentara/CollectorClient.h>

#include <chrono>
#include <cstddef>
#include <string>

namespace zentara::collector {

/// What is to arrive at a collector.
struct Expectation {
    EventSelection selection;
    std::size_t count = 1;
    bool exactly = false;  ///< otherwise `count` is the least
    std::chrono::milliseconds within{10'000};
};

/// Names the expectation: "at least 3 events with schema=page-view-1&good=true within 10000 ms".
[[nodiscard]] std::string describe(const Expectation& expectation);

struct ExpectationResult {
    bool isMet = false;
    std::string message;  ///< a line; if it is not met, also lines of what arrived instead
};

/// Blocks until enough events have arrived; the whole time if they are to be exactly as many.
/// Throws `CollectorError`.
[[nodiscard]] ExpectationResult await(const CollectorClient& collector,
                                      const Expectation& expectation);

}  // namespace zentara::collector
