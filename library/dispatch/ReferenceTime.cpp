#include "dispatch/ReferenceTime.h"

#include <cmath>

#include "support/Diagnostics.h"
#include "support/Mutex.h"

namespace zentara {

namespace {

/// Held while a reference is stored, so that a reset cannot overwrite a newer one.
constinit Mutex storing;

}  // namespace

std::int64_t millisecondsSince1970(double seconds) {
    const double milliseconds = seconds * 1000.0;
    constexpr double bound = 9223372036854775808.0;  // 2^63
    if (!std::isfinite(milliseconds) || milliseconds < -bound || milliseconds >= bound) {
        fatalError("the wall clock does not fit a 64-bit count of milliseconds");
    }
    return static_cast<std::int64_t>(milliseconds);
}

ReferenceTime captureReferenceTime(UserDefaults& defaults, const DateSource& now,
                                   const ControlTimeProtocol& controlTime) {
    // Nothing in between: the time between the two calls would be missing in every timestamp.
    const auto date = now();
    const auto monotonicValue = controlTime.currentMonotonicValue();
    const std::chrono::duration<double> sinceEpoch = date.time_since_epoch();
    const MutexLock lock(storing);
    defaults.set({{inicialTimeStampKey, millisecondsSince1970(sinceEpoch.count())},
                  {inicialMonotonicValueKey, monotonicValue}});
    return loadReferenceTime(defaults);
}

ReferenceTime loadReferenceTime(const UserDefaults& defaults) {
    const auto [timestamp, monotonicValue] =
        defaults.integers(inicialTimeStampKey, inicialMonotonicValueKey);
    if (monotonicValue < 0) fatalError("the stored inicialMonotonicValue is negative");
    return {timestamp, static_cast<std::uint64_t>(monotonicValue)};
}

void resetReferenceTime(UserDefaults& defaults, const ReferenceTime& reference) {
    const MutexLock lock(storing);
    if (loadReferenceTime(defaults) != reference) return;
    defaults.set({{inicialTimeStampKey, 0}, {inicialMonotonicValueKey, 0}});
}

std::int64_t validatedTimestamp(const ReferenceTime& reference, std::uint64_t monotonicNow) {
    constexpr std::int64_t ticksPerMillisecond = 10'000;
    std::int64_t elapsed = 0;
    std::int64_t timestamp = 0;
    if (__builtin_sub_overflow(monotonicNow, reference.monotonicValue, &elapsed)) {
        fatalError("the time since inicialMonotonicValue overflows");
    }
    if (__builtin_add_overflow(reference.timestamp, elapsed / ticksPerMillisecond, &timestamp)) {
        fatalError("the validated timestamp overflows");
    }
    return timestamp;
}

}  // namespace zentara
