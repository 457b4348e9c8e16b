#include "platform/GlobalQueue.h"

#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>
#include <sys/resource.h>

#include <chrono>
#include <cstdlib>
#include <memory>
#include <stdexcept>

#include "support/WaitFor.h"

namespace zentara {
namespace {

using test::Mailbox;
using test::Signal;
using Clock = std::chrono::steady_clock;

TEST(GlobalQueueTest, DelayedWorkDoesNotRunEarly) {
    Mailbox<Clock::time_point> times;
    const auto start = Clock::now();
    GlobalQueue::shared().asyncAfter(std::chrono::milliseconds(30),
                                     [&] { times.put(Clock::now()); });
    GlobalQueue::shared().asyncAfter(Clock::duration::zero(), [&] { times.put(Clock::now()); });
    ASSERT_TRUE(times.waitFor(1));
    EXPECT_GE(times.values()[1] - start, std::chrono::milliseconds(30));
}

TEST(GlobalQueueTest, WorkersLeaveTheSignalsToTheHost) {
    Mailbox<sigset_t> masks;
    GlobalQueue::shared().async([&] {
        sigset_t mask;
        ::pthread_sigmask(SIG_SETMASK, nullptr, &mask);
        masks.put(mask);
    });
    const auto mask = masks.waitFor();
    ASSERT_TRUE(mask);
    for (const int signal : {SIGTERM, SIGINT, SIGHUP, SIGCHLD, SIGPIPE, SIGUSR1, SIGALRM}) {
        EXPECT_EQ(::sigismember(&*mask, signal), 1) << signal;
    }
    for (const int signal : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGABRT}) {
        EXPECT_EQ(::sigismember(&*mask, signal), 0) << signal;
    }
}

TEST(GlobalQueueDeathTest, AnExceptionThatLeavesTheWorkIsNamed) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto run = [] {
        Signal never;
        GlobalQueue::shared().async([] { throw std::runtime_error("what the host did"); });
        [[maybe_unused]] const bool seen = never.waitFor();
    };
    EXPECT_DEATH(run(), "fatal error: .*what the host did");
}

TEST(GlobalQueueDeathTest, WorksInAProcessThatHasNoDescriptorLeft) {
#ifdef __has_feature
#if __has_feature(address_sanitizer)
    GTEST_SKIP() << "the sanitizer looks at types through a pipe of its own";
#endif
#endif
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto run = [] {
        const rlimit none{};
        ::setrlimit(RLIMIT_NOFILE, &none);
        Signal done;
        GlobalQueue::shared().async([&] { done.notify(); });
        std::_Exit(done.waitFor() ? 0 : 1);
    };
    EXPECT_EXIT(run(), testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace zentara
