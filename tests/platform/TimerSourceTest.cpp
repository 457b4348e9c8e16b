#include "platform/TimerSource.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <memory>
#include <thread>
#include <vector>

#include "platform/GlobalQueue.h"
#include "support/WaitFor.h"

namespace zentara {
namespace {

using test::Mailbox;
using test::Signal;
using Clock = TimerSource::Clock;
using std::chrono::milliseconds;

// A run may be under way when its timer is cancelled, so what handlers touch is shared with them.

/// Occupies every worker of the pool until the end of its life.
class BusyWorkers {
  public:
    BusyWorkers() {
        for (std::size_t i = 0; i < workers; ++i) {
            GlobalQueue::shared().async([arrived = arrived_, released = released_] {
                arrived->notify();
                EXPECT_TRUE(released->waitFor());
            });
        }
        EXPECT_TRUE(arrived_->waitFor(workers));
    }
    ~BusyWorkers() { released_->notify(); }
    BusyWorkers(const BusyWorkers&) = delete;
    BusyWorkers& operator=(const BusyWorkers&) = delete;

  private:
    static constexpr std::size_t workers = 4;
    std::shared_ptr<Signal> arrived_ = std::make_shared<Signal>();
    std::shared_ptr<Signal> released_ = std::make_shared<Signal>();
};

TEST(TimerSourceTest, FiresAtItsDeadlineAndThenOnTheGrid) {
    const auto firings = std::make_shared<Mailbox<Clock::time_point>>();
    constexpr milliseconds interval{10};
    TimerSource timer;
    const auto deadline = Clock::now() + interval;
    timer.start(deadline, interval, [firings] { firings->put(Clock::now()); });
    ASSERT_TRUE(firings->waitFor(9));
    timer.cancel();
    auto times = firings->values();
    times.resize(10);
    std::sort(times.begin(), times.end());
    for (std::size_t k = 0; k < times.size(); ++k) {
        EXPECT_GE(times[k], deadline + static_cast<int>(k) * interval) << k;
    }
}

TEST(TimerSourceTest, ASlowRunDoesNotDelayTheNext) {
    const auto begun = std::make_shared<Signal>();
    const auto overlapped = std::make_shared<Signal>();
    TimerSource timer;
    timer.start(Clock::now(), milliseconds(5), [begun, overlapped] {
        begun->notify();
        if (begun->waitFor(2)) overlapped->notify();
    });
    EXPECT_TRUE(overlapped->waitFor(2, milliseconds(10'000)));
}

TEST(TimerSourceTest, MissedFiringsBecomeOneAndTheGridStays) {
    const auto firings = std::make_shared<Mailbox<Clock::time_point>>();
    constexpr milliseconds interval{40};
    TimerSource timer;
    const auto deadline = Clock::now() - 100 * interval - interval / 2;
    timer.start(deadline, interval, [firings] { firings->put(Clock::now()); });
    ASSERT_TRUE(firings->waitFor(2));
    EXPECT_GE(firings->values()[1], deadline + 101 * interval);
    EXPECT_GE(firings->values()[2], deadline + 102 * interval);
}

TEST(TimerSourceTest, OneFiringWithoutAnIntervalAndNoneWhenCancelledBeforeItsStart) {
    const auto runs = std::make_shared<Signal>();
    const auto probes = std::make_shared<Signal>();
    TimerSource once;
    TimerSource never;
    TimerSource last;
    TimerSource probe;
    never.cancel();
    once.start(Clock::now(), Clock::duration::zero(), [runs] { runs->notify(); });
    never.start(Clock::now(), milliseconds(1), [runs] { runs->notify(); });
    // The longest interval is no overflow.
    last.start(Clock::now(), Clock::duration::max(), [runs] { runs->notify(); });
    ASSERT_TRUE(runs->waitFor(2));
    probe.start(Clock::now(), milliseconds(5), [probes] { probes->notify(); });
    ASSERT_TRUE(probes->waitFor(3));
    EXPECT_EQ(runs->count(), 2U);
}

TEST(TimerSourceTest, AFiringThatIsDueButNotBegunDoesNotRunAfterCancel) {
    const auto runs = std::make_shared<Signal>();
    {
        const BusyWorkers busy;
        TimerSource timer;
        timer.start(Clock::now(), milliseconds(1), [runs] { runs->notify(); });
        timer.cancel();
        EXPECT_TRUE(timer.isCancelled());
    }
    // Every worker has taken up something later by now.
    const BusyWorkers probe;
    EXPECT_EQ(runs->count(), 0U);
}

TEST(TimerSourceTest, CancelledFromItsOwnHandlerItLetsGoOfIt) {
    const auto runs = std::make_shared<Signal>();
    auto timer = std::make_shared<TimerSource>();
    timer->start(Clock::now(), std::chrono::hours(1), [runs, timer] {
        timer->cancel();
        runs->notify();
    });
    ASSERT_TRUE(runs->waitFor());
    const std::weak_ptr<TimerSource> watched = timer;
    timer.reset();
    EXPECT_TRUE(test::eventually([&] { return watched.expired(); }));
    EXPECT_EQ(runs->count(), 1U);
}

TEST(TimerSourceTest, ManyTimersComeAndGoOnManyThreads) {
    const auto runs = std::make_shared<Signal>();
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([runs] {
            for (int j = 0; j < 100; ++j) {
                TimerSource timer;
                timer.start(Clock::now(), std::chrono::microseconds(50),
                            [runs] { runs->notify(); });
                if (j % 10 == 0) {
                    EXPECT_TRUE(runs->waitFor(runs->count() + 1));
                }
            }
        });
    }
    for (auto& thread : threads)
        thread.join();
}

}  // namespace
}  // namespace zentara
