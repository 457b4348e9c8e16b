#pragma once

#include <cstdint>
#include <string_view>

#include "platform/UserDefaults.h"
#include "support/Clocks.h"

namespace zentara {

/// A moment on both clocks. Later timestamps are derived from it with the monotonic clock alone, so
/// that they do not jump when the wall clock is changed.
struct ReferenceTime {
    std::int64_t timestamp = 0;        ///< milliseconds since 1970-01-01 UTC
    std::uint64_t monotonicValue = 0;  ///< `ControlTime` ticks of 100 nanoseconds

    friend bool operator==(const ReferenceTime&, const ReferenceTime&) = default;
};

/// The keys of the pair in the user defaults, spelled as earlier versions wrote them.
inline constexpr std::string_view inicialTimeStampKey = "inicialTimeStamp";
inline constexpr std::string_view inicialMonotonicValueKey = "inicialMonotonicValue";

/// Milliseconds since 1970-01-01 UTC of a time in seconds, truncated toward zero. A value that is
/// not finite or does not fit is a fatal error.
[[nodiscard]] std::int64_t millisecondsSince1970(double seconds);

/// Takes a new reference from the two clocks, stores it, both values in one step, and loads it.
ReferenceTime captureReferenceTime(UserDefaults& defaults, const DateSource& now,
                                   const ControlTimeProtocol& controlTime);

/// The stored reference; zero where nothing is stored. A negative monotonic value is a fatal error.
[[nodiscard]] ReferenceTime loadReferenceTime(const UserDefaults& defaults);

/// Stores zeros in place of `reference`. A newer reference stays.
void resetReferenceTime(UserDefaults& defaults, const ReferenceTime& reference);

/// The timestamp at `monotonicNow`: milliseconds since 1970-01-01 UTC. An overflow is a fatal
/// error.
[[nodiscard]] std::int64_t validatedTimestamp(const ReferenceTime& reference,
                                              std::uint64_t monotonicNow);

}  // namespace zentara
