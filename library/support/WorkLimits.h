#pragma once

#include <cstddef>
#include <cstdint>

namespace zentara {

/// The work that is still allowed, in units of about a nanosecond. Work is counted rather than
/// measured where possible, so that the same input ends the same way on every machine.
class WorkAllowance {
  public:
    explicit WorkAllowance(std::int64_t units) noexcept : remaining_(units) {}

    /// Takes `units` away. False when nothing is left.
    bool spend(std::int64_t units) noexcept {
        remaining_ -= units;
        return remaining_ > 0;
    }

    [[nodiscard]] std::int64_t remaining() const noexcept { return remaining_; }
    [[nodiscard]] bool exhausted() const noexcept { return remaining_ <= 0; }

  private:
    std::int64_t remaining_;
};

/// How many bytes of the calling thread's stack are left, roughly. The largest number when that
/// cannot be known: the system does not say, or the host runs on a stack of its own making.
///
/// Costs a few nanoseconds, except for the first call on a thread.
[[nodiscard]] std::size_t remainingStackSpace() noexcept;

/// Whether a recursion into a value must end at `depth`: at 1024 levels, which is deeper than any
/// value that is read, or where the stack is small. A host can build deeper values.
[[nodiscard]] inline bool isTooDeep(int depth) noexcept {
    constexpr int levelsPerStackCheck = 16;
    return depth == 1024 || (depth % levelsPerStackCheck == levelsPerStackCheck - 1 &&
                             remainingStackSpace() < std::size_t{64} * 1024);
}

}  // namespace zentara
