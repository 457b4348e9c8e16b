#include "schemas/values/PatternText.h"

#include <gtest/gtest.h>

#include <set>
#include <string>

namespace zentara::schemas {

TEST(PatternText, DrawsManyTextsThatMatch) {
    for (const std::string pattern :
         {R"(^[A-Z]{2}-[0-9]{5}$)", R"(\d{4}-\d\d-\d\dT\d\d:\d\d(:\d\d(\.\d+)?)?Z)",
          R"([^a-z ]{3})", R"(^(?:red|green|blue)(,(?:red|green|blue))*$)", R"((["']).+?\1)",
          R"(^\w+@\w+\.[a-z]{2,}$)", R"(^\p{Lu}\p{L}{2,8}$)", R"([[:alpha:]]+[[:digit:]]{2,})",
          R"(^\QC++\E \x41\u00e9{2,40}x*$)", R"(^(?=.*\d)[a-z\d]{8}$)", R"(\bword\b.*)",
          R"([\w.+-]+:\S+\D\W)", R"((?i)^[A-F0-9]{32}$)", R"(^[\]\-\\^]{1,5}$)", R"(a++b*+|c?)",
          "\xC3\xA4[\xCE\xB1-\xCF\x89]+"}) {
        const PatternText texts(pattern);
        const RegularExpression expression(pattern);
        std::set<std::string> drawn;
        Random random(5);
        for (int i = 0; i < 60; ++i) {
            const auto text = texts.draw(random, 6);
            ASSERT_TRUE(text) << pattern;
            EXPECT_TRUE(expression.matches(*text)) << pattern << ": " << *text;
            drawn.insert(*text);
        }
        EXPECT_GT(drawn.size(), 5U) << pattern;
    }
}

TEST(PatternText, ReachLengthensUnboundedRepetitions) {
    Random random(1);
    std::size_t longest = 0;
    for (int i = 0; i < 200; ++i)
        longest = std::max(longest, PatternText("^[a-z]{2,}$").draw(random, 50)->size());
    EXPECT_EQ(longest, 52U);
}

TEST(PatternText, GivesNothingForWhatItCannotDraw) {
    for (const std::string pattern :
         {"", "(", "[z-a]", "a{3,2}", "[a-z&&[^b]]", "(?x) a", R"(\p{Greek})", R"(\X)", "^a(?!b)b",
          "[^\\d\\D]", "(a{2000}){2000}"}) {
        Random random(2);
        EXPECT_FALSE(PatternText(pattern).draw(random, 3)) << pattern;
    }
    Random random(3);
    EXPECT_FALSE(PatternText(std::string(16'000, '(')).draw(random, 3));
}

}  // namespace zentara::schemas
