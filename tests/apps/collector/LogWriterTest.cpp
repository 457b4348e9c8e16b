#include "collector/LogWriter.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <unistd.h>

#include <array>
#include <string>

namespace zentara::collector {
namespace {

TEST(LogWriterTest, NobodyWaitsForALogThatNobodyReads) {
    std::array<int, 2> pipe{};
    ASSERT_EQ(::pipe2(pipe.data(), O_CLOEXEC), 0);
    const std::string line = std::string(999, 'x') + "\n";
    {
        LogWriter log(pipe[1]);
        for (std::size_t added = 0; added < 2 * LogWriter::mostUnwritten; added += line.size())
            log.add(line);
    }
    ::close(pipe[1]);
    ::close(pipe[0]);
}

TEST(LogWriterTest, EverythingIsWrittenInOrderAndWhatWasTooMuchIsCounted) {
    std::array<int, 2> pipe{};
    ASSERT_EQ(::pipe2(pipe.data(), O_CLOEXEC), 0);
    std::string expected;
    {
        LogWriter log(pipe[1]);
        for (int number = 0; number < 1000; ++number) {
            expected += std::to_string(number) + "\n";
            log.add(std::to_string(number) + "\n");
        }
        log.add(std::string(LogWriter::mostUnwritten + 1, '\n'));
        log.add("last\n");
    }
    std::string all(10'000, ' ');
    all.resize(static_cast<std::size_t>(::read(pipe[0], all.data(), all.size())));
    EXPECT_THAT(all, testing::StartsWith(expected));
    EXPECT_THAT(all, testing::HasSubstr("(" + std::to_string(LogWriter::mostUnwritten + 1) +
                                        " lines left out)"));
    EXPECT_THAT(all, testing::HasSubstr("last\n"));
    ::close(pipe[0]);
    ::close(pipe[1]);
}

}  // namespace
}  // namespace zentara::collector
