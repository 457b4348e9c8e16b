#include "track/LineReader.h"

#include <gtest/gtest.h>

#include <sstream>

namespace zentara::track {
namespace {

TEST(LineReaderTest, BlankLinesAreSkippedButCounted) {
    std::istringstream stream("a\r\n\n \t\nb\n\r\nlast");
    LineReader reader(stream);
    std::string seen;
    while (const auto line = reader.next())
        seen += std::to_string(line->number) + "=" + line->text + ";";
    EXPECT_EQ(seen, "1=a;4=b;6=last;");
}

TEST(LineReaderTest, AnOverlongLineIsCutAndTheNextOneIsWhole) {
    std::istringstream stream(std::string(LineReader::longestLine, 'x') + "\n" +
                              std::string(LineReader::longestLine * 3, ' ') + "\nnext\n");
    LineReader reader(stream);
    EXPECT_FALSE(reader.next().value().tooLong);
    const auto tooLong = reader.next().value();
    EXPECT_TRUE(tooLong.tooLong);
    EXPECT_EQ(tooLong.text.size(), LineReader::longestLine);
    const auto next = reader.next().value();
    EXPECT_EQ(next.number, 3U);
    EXPECT_EQ(next.text, "next");
}

}  // namespace
}  // namespace zentara::track
