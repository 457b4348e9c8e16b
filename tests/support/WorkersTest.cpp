#include "support/threads/WorkerPool.h"

#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>
#include <sys/resource.h>

#include <algorithm>
#include <cstdlib>
#include <stdexcept>

#include "support/WaitFor.h"
#include "support/threads/SerialQueue.h"
#include "support/threads/Ticker.h"
#include "support/threads/TimerSource.h"

namespace zentara {
namespace {

using test::Signal;
using Clock = TimerSource::Clock;
using std::chrono::milliseconds;

TEST(SerialQueueTest, LetsOneThreadInAtATime) {
    SerialQueue queue("test");
    int inside = 0;
    int highest = 0;
    test::inThreads(4, [&](int) {
        for (int i = 0; i < 2000; ++i) {
            const MutexLock entry(queue);
            highest = std::max(highest, ++inside);
            std::this_thread::yield();
            --inside;
        }
    });
    EXPECT_EQ(highest, 1);
}

TEST(SerialQueueDeathTest, SecondEntryOfAThreadNamesTheLabel) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    SerialQueue queue("com.example.label");
    const auto enter = [&](const auto& inside) {
        const MutexLock entry(queue);
        inside();
    };
    EXPECT_DEATH(enter([&] { enter([] {}); }),
                 "fatal error: serial queue \"com.example.label\" entered again");
}

TEST(WorkerPoolTest, DelayedWorkDoesNotRunEarly) {
    const auto due = Clock::now() + milliseconds(30);
    test::Mailbox<bool> isDue;
    WorkerPool::shared().asyncAfter(due - Clock::now(), [&] { isDue.put(Clock::now() >= due); });
    EXPECT_EQ(isDue.waitFor(), true);
}

TEST(WorkerPoolTest, WorkersBlockSignalsExceptFaults) {
    sigset_t mask;
    Signal done;
    WorkerPool::shared().async([&] {
        ::pthread_sigmask(SIG_SETMASK, nullptr, &mask);
        done.notify();
    });
    ASSERT_TRUE(done.waitFor());
    for (const int signal : {SIGTERM, SIGINT, SIGHUP, SIGCHLD, SIGPIPE, SIGUSR1, SIGALRM})
        EXPECT_EQ(::sigismember(&mask, signal), 1) << signal;
    for (const int signal : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGABRT})
        EXPECT_EQ(::sigismember(&mask, signal), 0) << signal;
}

TEST(WorkerPoolDeathTest, EscapedExceptionIsFatalAndNamed) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    Signal never;
    EXPECT_DEATH(
        {
            WorkerPool::shared().async([] { throw std::runtime_error("what the host did"); });
            static_cast<void>(never.waitFor());
        },
        "fatal error: .*what the host did");
}

#ifndef __has_feature
#define __has_feature(feature) 0
#endif
// The address sanitizer's type check needs a pipe.
#if !__has_feature(address_sanitizer)
TEST(WorkerPoolDeathTest, WorksWithoutFreeDescriptors) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto run = [] {
        const rlimit none{};
        ::setrlimit(RLIMIT_NOFILE, &none);
        Signal done;
        WorkerPool::shared().async([&] { done.notify(); });
        std::_Exit(done.waitFor() ? 0 : 1);
    };
    EXPECT_EXIT(run(), testing::ExitedWithCode(0), "");
}
#endif

// A handler may still run when its timer is cancelled, so handlers share what they use.

TEST(TimerSourceTest, FiresOnItsGridAndOnceForMissedTimes) {
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

TEST(TimerSourceTest, SlowHandlerDoesNotDelayTheNextFiring) {
    const auto begun = std::make_shared<Signal>();
    const auto overlapped = std::make_shared<Signal>();
    const auto timer = TimerSource::start(Clock::now(), milliseconds(5), [begun, overlapped] {
        begun->notify();
        if (begun->waitFor(2)) overlapped->notify();
    });
    EXPECT_TRUE(overlapped->waitFor(2));
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
    // The longest interval must not overflow.
    const auto last = TimerSource::start(now, Clock::duration::max(), run);
    ASSERT_TRUE(runs->waitFor(2));
    const auto probe =
        TimerSource::start(now + milliseconds(50), milliseconds(5), [probes] { probes->notify(); });
    ASSERT_TRUE(probes->waitFor(3));
    EXPECT_EQ(runs->count(), 2U);
}

TEST(TimerSourceTest, CancelInsideTheHandlerReleasesIt) {
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

TEST(TimerSourceTest, ManyThreadsStartAndCancelTimers) {
    test::inThreads(4, [](int) {
        for (int i = 0; i < 100; ++i) {
            const auto runs = std::make_shared<Signal>();
            const auto timer = TimerSource::start(Clock::now(), std::chrono::microseconds(50),
                                                  [runs] { runs->notify(); });
            EXPECT_TRUE(i % 10 != 0 || runs->waitFor());
        }
    });
}

TEST(TickerTest, CallsTheHandlerSetBeforeItsStart) {
    const auto first = std::make_shared<Signal>();
    const auto second = std::make_shared<Signal>();
    Ticker ticker;
    ticker.setHandler([first] { first->notify(); });
    ticker.start(Clock::now(), 0.005);
    ticker.setHandler([second] { second->notify(); });
    ASSERT_TRUE(first->waitFor(3));
    EXPECT_EQ(second->count(), 0U);
    ticker.start(Clock::now(), 3600);
    ASSERT_TRUE(second->waitFor()) << "a deadline of now fires at once, not after the interval";
    EXPECT_TRUE(ticker.isRunning());
}

}  // namespace
}  // namespace zentara
