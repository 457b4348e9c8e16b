#include "support/threads/WorkerPool.h"

#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>
#include <sys/resource.h>

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <stdexcept>

#include "support/WaitFor.h"
#include "support/threads/SerialQueue.h"
#include "support/threads/Ticker.h"

namespace zentara {
namespace {

using test::Signal;
using Clock = TickerProtocol::Clock;
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

TEST(TickerTest, FiresOnItsGridAndOnceForMissedTimes) {
    constexpr milliseconds interval{10};
    for (const int missed : {0, 100}) {
        const auto firings = std::make_shared<test::Mailbox<Clock::time_point>>();
        const auto deadline = Clock::now() + (missed == 0 ? 1 : -missed) * interval;
        Ticker ticker;
        ticker.setHandler([firings] { firings->put(Clock::now()); });
        ticker.start(deadline, 0.01);
        ASSERT_TRUE(firings->waitFor(5));
        ticker.cancel();
        auto times = firings->values();
        std::sort(times.begin(), times.end());
        for (int k = 0; k < 6; ++k)
            EXPECT_GE(times.at(static_cast<std::size_t>(k)), deadline + (missed + k) * interval);
    }
}

TEST(TickerTest, SlowHandlerDoesNotDelayTheNextFiring) {
    const auto begun = std::make_shared<Signal>();
    const auto overlapped = std::make_shared<Signal>();
    Ticker ticker;
    ticker.setHandler([begun, overlapped] {
        begun->notify();
        if (begun->waitFor(2)) overlapped->notify();
    });
    ticker.start(Clock::now(), 0.005);
    EXPECT_TRUE(overlapped->waitFor(2));
}

TEST(TickerTest, FiresOnceWithoutIntervalAndNotCancelled) {
    const auto runs = std::make_shared<Signal>();
    const auto probes = std::make_shared<Signal>();
    Ticker cancelled;
    Ticker replaced;
    Ticker once;
    Ticker last;
    for (auto* ticker : {&cancelled, &replaced, &once, &last})
        ticker->setHandler([runs] { runs->notify(); });
    const auto now = Clock::now();
    cancelled.start(now + milliseconds(50), 0.001);
    cancelled.cancel();
    EXPECT_FALSE(cancelled.isRunning());
    replaced.start(now + milliseconds(50), 0.001);
    replaced.start(now + std::chrono::hours(1), 0.001);
    once.start(now, 0);
    // The longest interval must not overflow.
    last.start(now, std::numeric_limits<double>::max());
    ASSERT_TRUE(runs->waitFor(2));
    Ticker probe;
    probe.setHandler([probes] { probes->notify(); });
    probe.start(now + milliseconds(50), 0.005);
    ASSERT_TRUE(probes->waitFor(3));
    EXPECT_EQ(runs->count(), 2U);
}

TEST(TickerTest, HandlerMayCancelItsTicker) {
    const auto ticker = std::make_shared<Ticker>();
    ticker->setHandler([weak = std::weak_ptr(ticker)] {
        if (const auto running = weak.lock()) running->cancel();
    });
    ticker->start(Clock::now(), 3600);
    EXPECT_TRUE(test::eventually([&] { return !ticker->isRunning(); }));
}

TEST(TickerTest, ManyThreadsStartAndCancelTimers) {
    test::inThreads(4, [](int) {
        for (int i = 0; i < 100; ++i) {
            const auto runs = std::make_shared<Signal>();
            Ticker ticker;
            ticker.setHandler([runs] { runs->notify(); });
            ticker.start(Clock::now(), 0.00005);
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
