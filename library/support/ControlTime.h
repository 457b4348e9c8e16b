#pragma once

#include <cstdint>

#include "support/NoDestructor.h"

namespace zentara {

/// Source of the monotonic counter behind validated timestamps.
class ControlTimeProtocol {
  public:
    virtual ~ControlTimeProtocol() = default;

    /// The counter now, in ticks of 100 nanoseconds. Any thread.
    [[nodiscard]] virtual std::uint64_t currentMonotonicValue() const = 0;
};

/// The platform's monotonic clock.
class ControlTime final : public ControlTimeProtocol {
  public:
    /// The one instance of the process; never destroyed.
    [[nodiscard]] static const ControlTime& shared();

    [[nodiscard]] std::uint64_t currentMonotonicValue() const override;

  private:
    friend class NoDestructor<ControlTime>;
    ControlTime() = default;
};

}  // namespace zentara
