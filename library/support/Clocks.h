#pragma once

#include <chrono>
#include <cstdint>
#include <functional>

namespace zentara {

/// Source of the monotonic counter behind validated timestamps.
class ControlTimeProtocol {
  public:
    virtual ~ControlTimeProtocol() = default;

    /// The counter now, in ticks of 100 nanoseconds. Any thread.
    [[nodiscard]] virtual std::uint64_t currentMonotonicValue() const = 0;
};

/// The platform's monotonic clock. It goes on through suspend, and no change of the wall clock
/// adjusts it.
class ControlTime final : public ControlTimeProtocol {
  public:
    /// The instance of this process; never destroyed.
    [[nodiscard]] static const ControlTime& shared();

    [[nodiscard]] std::uint64_t currentMonotonicValue() const override;
};

/// Source of the current wall-clock date. Any thread.
class ZentaraClock {
  public:
    using Date = std::chrono::system_clock::time_point;

    [[nodiscard]] Date now() const { return std::chrono::system_clock::now(); }
};

/// A function that returns the current date; bound to `ZentaraClock` outside of tests.
using DateSource = std::function<ZentaraClock::Date()>;

}  // namespace zentara
