#pragma once

#include <chrono>
#include <functional>

namespace zentara {

/// Source of the current wall-clock date. Any thread.
class ZentaraClock {
  public:
    using Date = std::chrono::system_clock::time_point;

    [[nodiscard]] Date now() const { return std::chrono::system_clock::now(); }
};

/// A function that returns the current date; bound to `ZentaraClock` outside of tests.
using DateSource = std::function<ZentaraClock::Date()>;

}  // namespace zentara
