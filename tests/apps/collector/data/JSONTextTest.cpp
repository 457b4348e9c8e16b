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

TEST(JSONTextTest, TextThatIsNotUTF8IsReadAsLatin1) {
    std::string written;
    appendJSONString(written, "caf\xE9");
    appendJSONString(written, "café");
    EXPECT_EQ(written, R"("café""café")");
}

}  // namespace
}  // namespace zentara::collector
