#include <gtest/gtest.h>
#include <stdlib.h>

#include <map>

#include "support/ChildProcess.h"
#include "support/Files.h"
#include "support/RawServer.h"
#include "support/Services.h"

namespace zentara {
namespace {

using namespace test;

class ThreadsTest : public testing::Test {
  protected:
    ThreadsTest() {
        // The thread sanitizer makes a process sleep for a second before it ends.
        ::setenv("TSAN_OPTIONS", "atexit_sleep_ms=50", 1);
        // Each new client starts with these schemas.
        writeTo(directory_.path() / "zentara-schemas-storage",
                "[" + std::string(Services::table) + "]");
        // Every fifth batch fails.
        services_.beforeAnswering(
            [this] { services_.eventStatus = ++answers_ % 5 == 0 ? 503 : 200; });
    }

    /// Runs a host until it exits, which must be without an error.
    void run(const URL& schemas, int operations, int untilReturn = 0) {
        ChildProcess host({ZENTARA_STRESS_HOST, services_.url().string(), schemas.string(),
                           authority_.file(), directory_.path(), std::to_string(first_),
                           std::to_string(operations), std::to_string(untilReturn)});
        Clock::time_point leaving;
        while (const auto line = host.readLine()) {
            if (line->starts_with("taken ")) taken_[std::stoll(line->substr(6))] = 1;
            if (*line == "leaving") leaving = Clock::now();
        }
        EXPECT_EQ(host.wait(), 0);
        if (untilReturn > 0) exits_ += Clock::now() - leaving;
        first_ += 100'000;
    }

    using Clock = std::chrono::steady_clock;
    TemporaryDirectory directory_;
    Clock::duration exits_{};
    std::atomic<int> answers_ = 0;
    const TestAuthority authority_;
    Services services_{authority_.issue()};
    std::int64_t first_ = 1;
    std::map<std::int64_t, int> taken_;  // each once
};

TEST_F(ThreadsTest, ConcurrentUseDeliversEachEventOnce) {
    run(services_.url(), 1000);
    EXPECT_GT(taken_.size(), 300U);
    EXPECT_EQ(services_.accepted(), taken_);
}

TEST_F(ThreadsTest, ReturnFromMainIsQuickAndLosesNothing) {
    RawServer silent(RawServer::silence());
    constexpr int processes = 30;
    for (int i = 1; i <= processes; ++i)
        run(silent.url(), 3 * i + 30, 3 * i);
    // Waiting for requests, or for the limit of the clean-up, takes longer.
    EXPECT_LT(exits_ / processes, std::chrono::milliseconds(1500));
    run(services_.url(), 50);
    const auto accepted = services_.accepted();
    for (const auto& [number, once] : taken_)
        EXPECT_EQ(accepted.count(number), 1U) << number;
}

}  // namespace
}  // namespace zentara
