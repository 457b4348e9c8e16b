#include "track/LineReader.h"

#include <gtest/gtest.h>

#include <sstream>

namespace zentara::track {
namespace {

TEST(LineReaderTest, BlankLinesCountAndOverlongOnesAreCut) {
    ASSERT_EQ(LineReader::longestLine, 1'048'576U);
    std::istringstream stream("a\r\n\n \t\nb\n" + std::string(1'048'576, 'x') + "\n" +
                              std::string(3'000'000, ' ') + "\n\r\nlast");
    LineReader reader(stream);
    std::string seen;
    while (const auto line = reader.next()) {
        seen += std::to_string(line->number) + (line->tooLong ? "!" : "=") +
                line->text.substr(0, 4) + std::to_string(line->text.size()) + ";";
    }
    EXPECT_EQ(seen, "1=a1;4=b1;5=xxxx1048576;6!    1048576;8=last4;");
}

}  // namespace
}  // namespace zentara::track
