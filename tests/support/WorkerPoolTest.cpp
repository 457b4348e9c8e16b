#include "support/threads/WorkerPool.h"

#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>
#include <sys/resource.h>

#include <cstdlib>
#include <stdexcept>

#include "support/WaitFor.h"

namespace zentara {
namespace {

using test::Signal;

TEST(WorkerPoolTest, DelayedWorkDoesNotRunEarly) {
    using Clock = std::chrono::steady_clock;
    const auto due = Clock::now() + std::chrono::milliseconds(30);
    test::Mailbox<bool> isDue;
    WorkerPool::shared().asyncAfter(due - Clock::now(), [&] { isDue.put(Clock::now() >= due); });
    EXPECT_EQ(isDue.waitFor(), true);
}

TEST(WorkerPoolTest, WorkersLeaveTheSignalsToTheHost) {
    sigset_t mask;
    Signal done;
    WorkerPool::shared().async([&] {
        ::pthread_sigmask(SIG_SETMASK, nullptr, &mask);
        done.notify();
    });
    ASSERT_TRUE(done.waitFor());
    for (const int signal : {SIGTERM, SIGINT, SIGHUP, SIGCHLD, SIGPIPE, SIGUSR1, SIGALRM}) {
        EXPECT_EQ(::sigismember(&mask, signal), 1) << signal;
    }
    for (const int signal : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGABRT}) {
        EXPECT_EQ(::sigismember(&mask, signal), 0) << signal;
    }
}

TEST(WorkerPoolDeathTest, AnExceptionThatLeavesTheWorkIsNamed) {
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
// With the address sanitizer comes a check of types that needs a pipe, so a descriptor, of its own.
#if !__has_feature(address_sanitizer)
TEST(WorkerPoolDeathTest, WorksInAProcessThatHasNoDescriptorLeft) {
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

}  // namespace
}  // namespace zentara
