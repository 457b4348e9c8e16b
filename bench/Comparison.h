#pragma once

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <numeric>
#include <string>
#include <vector>

namespace zentara::bench {

/// Times of one operation.
class Times {
  public:
    // Reserved now, so that growth is not measured.
    Times() { nanoseconds_.reserve(1 << 14); }

    /// Adds the duration of one of `count` equal runs, in nanoseconds.
    template <typename Operation>
    void measure(const Operation& operation, int count = 1) {
        const auto before = std::chrono::steady_clock::now();
        for (int i = 0; i < count; ++i)
            operation();
        const std::chrono::duration<double, std::nano> took =
            std::chrono::steady_clock::now() - before;
        nanoseconds_.push_back(took.count() / count);
    }

    /// The mean without the slowest quarter, which other processes have slowed down.
    ///
    /// Not the median: every second append of the library, and every fourth of the minimum, begins
    /// a new page of its file, which takes 3 us. The median would include that in one figure only.
    [[nodiscard]] double mean() {
        const auto count = nanoseconds_.size() - nanoseconds_.size() / 4;
        if (count == 0) return 0;
        std::sort(nanoseconds_.begin(), nanoseconds_.end());
        const auto end = nanoseconds_.begin() + static_cast<long>(count);
        return std::accumulate(nanoseconds_.begin(), end, 0.0) / static_cast<double>(count);
    }

  private:
    std::vector<double> nanoseconds_;
};

/// Two figures of one run, measured in turns, and the required ratio; 0 for none. `unit` is "ns",
/// "bytes" and so on.
inline void report(benchmark::State& state, double ours, double limit, double bar,
                   const std::string& unit = "ns") {
    state.counters["ours"] = ours;
    state.counters["limit"] = limit;
    state.counters["bar"] = bar;
    state.SetLabel(unit);
}

inline void report(benchmark::State& state, Times& ours, Times& limit, double bar) {
    report(state, ours.mean(), limit.mean(), bar);
}

/// A figure without a limit.
inline void report(benchmark::State& state, double ours, const std::string& unit) {
    report(state, ours, 0, 0, unit);
}

}  // namespace zentara::bench
