#include <gtest/gtest.h>
#include <stdlib.h>

#include <map>

#include "support/ChildProcess.h"
#include "support/Files.h"
#include "support/Services.h"
#include "support/TemporaryDirectory.h"

namespace zentara {
namespace {

using namespace test;

class ThreadsTest : public testing::Test {
  protected:
    ThreadsTest() {
        // The race detector lets a process sleep for a second before it ends.
        ::setenv("TSAN_OPTIONS", "atexit_sleep_ms=50", 1);
        // Each client that replaces another knows the schemas from its beginning.
        writeTo(directory_.path() / "zentara-schemas-storage",
                "[" + std::string(Services::table) + "]");
        // Some batches come back.
        services_.beforeAnswering(
            [this] { services_.eventStatus = ++answers_ % 5 == 0 ? 503 : 200; });
    }

    /// Runs a host to its end; it must be a good one.
    void run(int operations, int untilReturn = 0) {
        ChildProcess host({ZENTARA_STRESS_HOST, services_.url().string(), directory_.path(),
                           std::to_string(first_), std::to_string(operations),
                           std::to_string(untilReturn)});
        for (const auto& line : host.readLines()) {
            if (line.starts_with("taken ")) taken_[std::stoll(line.substr(6))] = 1;
        }
        EXPECT_EQ(host.wait(), 0);
        first_ += 100'000;
    }

    TemporaryDirectory directory_;
    std::atomic<int> answers_ = 0;
    Services services_;
    std::int64_t first_ = 1;
    std::map<std::int64_t, int> taken_;  // each once
};

TEST_F(ThreadsTest, EverythingAtOnceDeliversEachEventOnce) {
    run(1000);
    EXPECT_GT(taken_.size(), 300U);
    EXPECT_EQ(services_.accepted(), taken_);
}

TEST_F(ThreadsTest, ReturningFromMainInTheMiddleOfItLosesNothing) {
    for (int i = 1; i <= 30; ++i)
        run(3 * i + 30, 3 * i);
    run(50);
    const auto accepted = services_.accepted();
    for (const auto& [number, once] : taken_)
        EXPECT_EQ(accepted.count(number), 1U) << number;
}

}  // namespace
}  // namespace zentara
