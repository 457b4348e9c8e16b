#include "collector/LogWriter.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <string>

namespace zentara::collector {
namespace {

TEST(LogWriterTest, UnreadLogBlocksNoWriterAndKeepsItsOrder) {
    std::array<int, 2> pipe{};
    ASSERT_EQ(::pipe2(pipe.data(), O_CLOEXEC), 0);
    std::string all;
    {
        LogWriter log(pipe[1]);
        for (int number = 0; all.size() < 2 * LogWriter::mostUnwritten; ++number) {
            const std::string line = std::to_string(number) + "\n";
            log.add(line);
            all += line;
            if (number == 500) log.add(std::string(LogWriter::mostUnwritten + 1, '\n'));
        }
    }
    std::string read(10'000, ' ');
    EXPECT_EQ(::read(pipe[0], read.data(), read.size()), 10'000);
    EXPECT_EQ(read.substr(0, 1000), all.substr(0, 1000));
    EXPECT_EQ(read.find("\n\n"), std::string::npos) << "too much to be kept";
    ::close(pipe[0]);
    ::close(pipe[1]);
}

}  // namespace
}  // namespace zentara::collector
