#pragma once

#include <chrono>

namespace zentara::test {

/// Changes what the clocks of the system show to this program, by defining the call that reads
/// them. Any thread.
class AdjustableClock {
  public:
    using Milliseconds = std::chrono::milliseconds;

    ~AdjustableClock() { setWallClockBy({}); }

    /// Sets the wall clock ahead of the true time, or behind it.
    void setWallClockBy(Milliseconds ahead);

    /// Lets the device sleep: the clocks that count it go on, the others stand.
    void suspend(Milliseconds duration);

    [[nodiscard]] static Milliseconds wallClock();
    /// Time since the device was started, sleep included.
    [[nodiscard]] static Milliseconds sinceBoot();
};

}  // namespace zentara::test
