#pragma once

#include <chrono>
#include <string>
#include <vector>

namespace zentara::bench {

/// Posts envelopes of ten events from eight threads, each on a connection of its own as the library
/// does by default.
struct LoadGenerator {
    static constexpr int eventsPerRequest = 10;

    struct Result {
        long requests = 0;
        long errors = 0;  ///< that were not answered with 200
        std::chrono::duration<double> took{0};
        std::chrono::duration<double> processorTime{0};   ///< of all threads that post
        std::vector<std::chrono::nanoseconds> latencies;  ///< ascending

        [[nodiscard]] long events() const { return requests * eventsPerRequest; }
        [[nodiscard]] double percentile(double part) const;  ///< in milliseconds
    };

    /// With 0 requests a second each thread posts again as soon as it is answered.
    [[nodiscard]] static Result run(const std::string& url, long requestsPerSecond,
                                    std::chrono::seconds duration);
};

}  // namespace zentara::bench
