#include <gtest/gtest.h>
#include <spawn.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <string>
#include <vector>

#include "support/RawServer.h"
#include "support/TestServer.h"

namespace zentara {
namespace {

TEST(ProcessExitTest, ReturningFromMainEndsCleanlyAndAtOnceWhateverIsUnderWay) {
    const test::TestAuthority authority;
    test::TestServer answering(authority.issueForLoopback());
    test::RawServer silent(test::RawServer::silence());
    // The race detector lets a process sleep for a second before it ends.
    ::setenv("TSAN_OPTIONS", "atexit_sleep_ms=50", 0);
    const auto start = std::chrono::steady_clock::now();
    constexpr int processes = 30;
    for (int i = 0; i < processes; ++i) {
        std::vector<std::string> arguments{ZENTARA_EXIT_HOST, answering.url().string(),
                                           silent.url().string(), authority.file(),
                                           std::to_string(i * 7)};
        std::vector<char*> pointers;
        for (auto& argument : arguments)
            pointers.push_back(argument.data());
        pointers.push_back(nullptr);
        pid_t child = 0;
        ASSERT_EQ(
            ::posix_spawn(&child, ZENTARA_EXIT_HOST, nullptr, nullptr, pointers.data(), environ),
            0);
        int status = -1;
        ASSERT_EQ(::waitpid(child, &status, 0), child);
        EXPECT_TRUE(WIFEXITED(status)) << "signal " << WTERMSIG(status);
        EXPECT_EQ(WEXITSTATUS(status), 0);
    }
    // Waiting for a request or for the limit of the clean-up would take longer than that.
    const auto each = (std::chrono::steady_clock::now() - start) / processes;
    EXPECT_LT(each, std::chrono::milliseconds(1500));
}

}  // namespace
}  // namespace zentara
