#pragma once

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <string>
#include <vector>

namespace zentara::bench {

/// Times of one operation; their median is not moved by what else the machine does now and then.
class Times {
  public:
    // Making room later would count as the operation's.
    Times() { nanoseconds_.reserve(1 << 14); }

    /// Notes how long one of `count` equal runs took, in nanoseconds.
    template <typename Operation>
    void measure(const Operation& operation, int count = 1) {
        const auto before = std::chrono::steady_clock::now();
        for (int i = 0; i < count; ++i)
            operation();
        const std::chrono::duration<double, std::nano> took =
            std::chrono::steady_clock::now() - before;
        nanoseconds_.push_back(took.count() / count);
    }

    [[nodiscard]] double median() {
        if (nanoseconds_.empty()) return 0;
        const auto middle = nanoseconds_.begin() + static_cast<long>(nanoseconds_.size() / 2);
        std::nth_element(nanoseconds_.begin(), middle, nanoseconds_.end());
        return *middle;
    }

  private:
    std::vector<double> nanoseconds_;
};

/// Two figures of one run, taken in turns, and the ratio that is asked of them; 0 asks for nothing.
/// `unit` is "ns", "bytes" and so on.
inline void report(benchmark::State& state, double ours, double limit, double bar,
                   const std::string& unit = "ns") {
    state.counters["ours"] = ours;
    state.counters["limit"] = limit;
    state.counters["bar"] = bar;
    state.SetLabel(unit);
}

inline void report(benchmark::State& state, Times& ours, Times& limit, double bar) {
    report(state, ours.median(), limit.median(), bar);
}

/// A figure without a limit.
inline void report(benchmark::State& state, double ours, const std::string& unit) {
    report(state, ours, 0, 0, unit);
}

}  // namespace zentara::bench
