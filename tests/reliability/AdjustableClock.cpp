#include "reliability/AdjustableClock.h"

#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>

namespace {

std::atomic<std::int64_t> wallClockAhead = 0;  // milliseconds, as below
std::atomic<std::int64_t> slept = 0;

std::chrono::milliseconds read(clockid_t clock) {
    timespec now{};
    ::clock_gettime(clock, &now);
    return std::chrono::milliseconds(now.tv_sec * 1000 + now.tv_nsec / 1'000'000);
}

}  // namespace

extern "C" __attribute__((visibility("default"))) int clock_gettime(clockid_t clock,
                                                                    timespec* now) noexcept {
    const auto result = static_cast<int>(::syscall(SYS_clock_gettime, clock, now));
    auto ahead = std::int64_t{0};
    if (clock == CLOCK_REALTIME) ahead = wallClockAhead + slept;
    if (clock == CLOCK_BOOTTIME) ahead = slept;
    now->tv_sec += ahead / 1000;
    now->tv_nsec += ahead % 1000 * 1'000'000;
    if (now->tv_nsec < 0 || now->tv_nsec >= 1'000'000'000) {
        const auto carry = now->tv_nsec < 0 ? -1 : 1;
        now->tv_sec += carry;
        now->tv_nsec -= carry * 1'000'000'000;
    }
    return result;
}

namespace zentara::test {

void AdjustableClock::setWallClockBy(Milliseconds ahead) {
    wallClockAhead = ahead.count();
}

void AdjustableClock::suspend(Milliseconds duration) {
    slept += duration.count();
}

AdjustableClock::Milliseconds AdjustableClock::wallClock() {
    return read(CLOCK_REALTIME);
}

AdjustableClock::Milliseconds AdjustableClock::sinceBoot() {
    return read(CLOCK_BOOTTIME);
}

}  // namespace zentara::test
