#include "support/threads/TimerSource.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "support/WaitFor.h"

namespace zentara {
namespace {

using test::Signal;
using Clock = TimerSource::Clock;
using std::chrono::milliseconds;

// A run may be under way when its timer is cancelled, so what handlers touch is shared with them.

TEST(TimerSourceTest, FiresOnTheGridAndOnceForWhatItMissed) {
    constexpr milliseconds interval{10};
    for (const int missed : {0, 100}) {
        const auto firings = std::make_shared<test::Mailbox<Clock::time_point>>();
        const auto deadline = Clock::now() + (missed == 0 ? 1 : -missed) * interval;
        const auto timer =
            TimerSource::start(deadline, interval, [firings] { firings->put(Clock::now()); });
        ASSERT_TRUE(firings->waitFor(5));
        timer->cancel();
        auto times = firings->values();
        std::sort(times.begin(), times.end());
        for (int k = 0; k < 6; ++k)
            EXPECT_GE(times.at(static_cast<std::size_t>(k)), deadline + (missed + k) * interval);
    }
}

TEST(TimerSourceTest, ASlowRunDoesNotDelayTheNext) {
    const auto begun = std::make_shared<Signal>();
    const auto overlapped = std::make_shared<Signal>();
    const auto timer = TimerSource::start(Clock::now(), milliseconds(5), [begun, overlapped] {
        begun->notify();
        if (begun->waitFor(2)) overlapped->notify();
    });
    EXPECT_TRUE(overlapped->waitFor(2, milliseconds(10'000)));
}

TEST(TimerSourceTest, FiresOnceWithoutIntervalAndNotCancelled) {
    const auto runs = std::make_shared<Signal>();
    const auto probes = std::make_shared<Signal>();
    const auto run = [runs] {
        runs->notify();
    };
    const auto now = Clock::now();
    const auto cancelled = TimerSource::start(now + milliseconds(50), milliseconds(1), run);
    cancelled->cancel();
    EXPECT_TRUE(cancelled->isCancelled());
    const auto once = TimerSource::start(now, Clock::duration::zero(), run);
    // The longest interval is no overflow.
    const auto last = TimerSource::start(now, Clock::duration::max(), run);
    ASSERT_TRUE(runs->waitFor(2));
    const auto probe =
        TimerSource::start(now + milliseconds(50), milliseconds(5), [probes] { probes->notify(); });
    ASSERT_TRUE(probes->waitFor(3));
    EXPECT_EQ(runs->count(), 2U);
}

TEST(TimerSourceTest, CancelledFromItsOwnHandlerItLetsGoOfIt) {
    auto own = std::make_shared<std::shared_ptr<TimerSource>>();
    const auto isSet = std::make_shared<Signal>();
    *own = TimerSource::start(Clock::now(), std::chrono::hours(1), [own, isSet] {
        if (isSet->waitFor(1)) (*own)->cancel();
    });
    const std::weak_ptr<TimerSource> watched = *own;
    isSet->notify();
    own.reset();
    EXPECT_TRUE(test::eventually([&] { return watched.expired(); }));
}

TEST(TimerSourceTest, ManyTimersComeAndGoOnManyThreads) {
    test::inThreads(4, [](int) {
        for (int i = 0; i < 100; ++i) {
            const auto runs = std::make_shared<Signal>();
            const auto timer = TimerSource::start(Clock::now(), std::chrono::microseconds(50),
                                                  [runs] { runs->notify(); });
            EXPECT_TRUE(i % 10 != 0 || runs->waitFor());
        }
    });
}

}  // namespace
}  // namespace zentara
