#include "support/Diagnostics.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <string>

namespace zentara {
namespace {

TEST(Diagnostics, WarningsWaitForNoReader) {
    std::array<int, 2> ends{};
    ASSERT_EQ(::pipe(ends.data()), 0);
    const int standardError = ::dup(STDERR_FILENO);
    ::dup2(ends[1], STDERR_FILENO);
    printWarning("first");
    ::fcntl(ends[1], F_SETFL, O_NONBLOCK);
    const std::string block(4096, '-');
    while (::write(ends[1], block.data(), block.size()) > 0)
        continue;
    ::fcntl(ends[1], F_SETFL, 0);
    printWarning("second");
    ::dup2(standardError, STDERR_FILENO);
    ::close(standardError);
    ::close(ends[1]);

    std::string written;
    std::array<char, 4096> buffer{};
    for (ssize_t size = 1; size > 0;) {
        size = ::read(ends[0], buffer.data(), buffer.size());
        written.append(buffer.data(), size > 0 ? static_cast<std::size_t>(size) : 0);
    }
    ::close(ends[0]);
    EXPECT_TRUE(written.starts_with("first\n-"));
    EXPECT_TRUE(written.ends_with('-'));
}

}  // namespace
}  // namespace zentara
