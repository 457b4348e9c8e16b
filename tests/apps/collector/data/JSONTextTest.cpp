#include "collector/data/JSONText.h"

#include <gtest/gtest.h>

#include <boost/json/parse.hpp>

namespace zentara::collector {
namespace {

TEST(JSONTextTest, ValuesAreWrittenAsTheyWereRead) {
    const std::string text =
        R"({"a":[],"b":{},"c":[1,-2,18446744073709551615,5.0,0.1,1e+300,-0.0],)"
        R"("d":[true,false,null,{"x":[""]}],"e/\"\n":"é😀 \u0001"})";
    std::string written;
    appendJSON(written, boost::json::parse(text));
    EXPECT_EQ(written, text);
}

TEST(JSONTextTest, ANumberBeyondADoubleIsFoundAndNeverWritten) {
    const auto value = boost::json::parse(R"([{"a":[-1e309,1e308]}])");
    std::string written;
    appendJSON(written, value);
    EXPECT_EQ(written, R"([{"a":[null,1e+308]}])");
    EXPECT_TRUE(holdsInfinity(value));
    EXPECT_FALSE(holdsInfinity(boost::json::parse(written)));
}

TEST(JSONTextTest, TextThatIsNotUTF8IsReadAsLatin1) {
    std::string written;
    appendJSONString(written, "caf\xE9");
    appendJSONString(written, "café");
    EXPECT_EQ(written, R"("café""café")");
}

}  // namespace
}  // namespace zentara::collector
