#include "dispatch/ReferenceTime.h"

#include <gtest/gtest.h>

#include <atomic>
#include <limits>
#include <thread>
#include <utility>

#include "platform/UserDefaults.h"
#include "support/TestHost.h"

namespace zentara {
namespace {

using Limits = std::numeric_limits<std::int64_t>;

TEST(ReferenceTime, TimestampsTruncateTowardZero) {
    const std::pair<std::int64_t, std::int64_t> cases[] = {
        {9'999, 0}, {25'000'000, 2'500}, {-9'999, 0}, {-10'000, -1}, {-25'009'999, -2'500}};
    const ReferenceTime reference{1'700'000'000'000, 100'000'000};
    for (const auto& [ticks, milliseconds] : cases) {
        const auto now = static_cast<std::uint64_t>(100'000'000 + ticks);
        EXPECT_EQ(validatedTimestamp(reference, now), 1'700'000'000'000 + milliseconds) << ticks;
    }
    EXPECT_EQ(validatedTimestamp({}, 20'000), 2) << "without a reference, time since the origin";
    EXPECT_EQ(millisecondsSince1970(-0.0019), -1);
}

TEST(ReferenceTime, OverflowIsFatal) {
    EXPECT_DEATH(static_cast<void>(validatedTimestamp({0, 0}, std::uint64_t{1} << 63U)),
                 "inicialMonotonicValue");
    EXPECT_DEATH(static_cast<void>(validatedTimestamp({Limits::max(), 0}, 10'000)),
                 "timestamp overflows");
    EXPECT_DEATH(static_cast<void>(validatedTimestamp({Limits::min(), 10'000}, 0)),
                 "timestamp overflows");
    for (const double seconds : {1e300, std::numeric_limits<double>::quiet_NaN()})
        EXPECT_DEATH(static_cast<void>(millisecondsSince1970(seconds)), "wall clock");
    const test::TestHost host;
    UserDefaults::current().set(
        {{inicialMonotonicValueKey, std::numeric_limits<std::uint64_t>::max()}});
    EXPECT_DEATH(static_cast<void>(loadReferenceTime(UserDefaults::current())),
                 "inicialMonotonicValue is negative");
}

TEST(ReferenceTime, BothValuesAreStoredTogether) {
    const test::TestHost host;
    auto& defaults = UserDefaults::current();
    struct Ticks final : ControlTimeProtocol {
        std::atomic<std::int64_t> moment = 0;
        std::uint64_t currentMonotonicValue() const override {
            EXPECT_EQ(loadReferenceTime(UserDefaults::current()).timestamp, moment - 1)
                << "stored early";
            return static_cast<std::uint64_t>(moment * 7);
        }
    } ticks;
    std::jthread reader([&] {
        while (ticks.moment < 200) {
            const auto [timestamp, monotonicValue] = loadReferenceTime(defaults);
            EXPECT_EQ(monotonicValue, static_cast<std::uint64_t>(timestamp * 7));
        }
    });
    while (++ticks.moment < 200) {
        const auto now = [&] {
            return ZentaraClock::Date(std::chrono::milliseconds(ticks.moment));
        };
        captureReferenceTime(defaults, now, ticks);
    }
}

}  // namespace
}  // namespace zentara
