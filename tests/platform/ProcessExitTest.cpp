#include <gtest/gtest.h>
#include <stdlib.h>

#include <chrono>
#include <string>

#include "support/ChildProcess.h"
#include "support/RawServer.h"
#include "support/TestServer.h"

namespace zentara {
namespace {

TEST(ProcessExitTest, ReturnFromMainEndsCleanlyAndAtOnce) {
    const test::TestAuthority authority;
    test::TestServer answering(authority.issue());
    test::RawServer silent(test::RawServer::silence());
    // The race detector lets a process sleep for a second before it ends.
    ::setenv("TSAN_OPTIONS", "atexit_sleep_ms=50", 0);
    const auto start = std::chrono::steady_clock::now();
    constexpr int processes = 30;
    for (int i = 0; i < processes; ++i) {
        test::ChildProcess host({ZENTARA_EXIT_HOST, answering.url().string(), silent.url().string(),
                                 authority.file(), std::to_string(i)});
        EXPECT_EQ(host.wait(), 0);
    }
    // Waiting for a request or for the limit of the clean-up would take longer than that.
    const auto each = (std::chrono::steady_clock::now() - start) / processes;
    EXPECT_LT(each, std::chrono::milliseconds(1500));
}

}  // namespace
}  // namespace zentara
