#pragma once

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace zentara::fleet {

/// A fast generator whose numbers depend on the seed alone.
class Random {
  public:
    explicit Random(std::uint64_t seed) : state_(seed) {}

    std::uint64_t next() {
        auto bits = state_ += 0x9e3779b97f4a7c15;
        bits = (bits ^ (bits >> 30)) * 0xbf58476d1ce4e5b9;
        bits = (bits ^ (bits >> 27)) * 0x94d049bb133111eb;
        return bits ^ (bits >> 31);
    }

    /// From 0 to less than 1.
    double fraction() { return std::ldexp(static_cast<double>(next() >> 11), -53); }

  private:
    std::uint64_t state_;
};

/// How many independent happenings fall into an interval in which `mean` are expected.
class Poisson {
  public:
    explicit Poisson(double mean) {
        double probability = std::exp(-mean);
        double sum = probability;
        for (int count = 1; sum < 1 - 1e-12 && count < 1000; ++count) {
            upTo_.push_back(static_cast<std::uint64_t>(std::ldexp(sum, 64)));
            probability *= mean / count;
            sum += probability;
        }
    }

    std::uint32_t operator()(Random& random) const {
        const auto drawn = random.next();
        std::uint32_t count = 0;
        while (count < upTo_.size() && drawn >= upTo_[count])
            ++count;
        return count;
    }

  private:
    std::vector<std::uint64_t> upTo_;  ///< probability of at most as many, of 2^64
};

}  // namespace zentara::fleet
