#include "text/RegularExpression.h"

#include <gtest/gtest.h>

#include <iterator>
#include <random>
#include <sstream>
#include <string>

#include "support/WaitFor.h"
#include "text/ASCIIPattern.h"

namespace zentara {
namespace {

using namespace std::string_literals;

bool matches(std::string_view pattern, std::string_view text, std::size_t units = 20'000'000) {
    const auto expression = RegularExpression::compile(pattern);
    EXPECT_TRUE(expression) << pattern;
    return expression && expression->matches(text, units);
}

std::string many(int count, const char* piece) {
    std::string all;
    for (int i = 0; i < count; ++i)
        all += piece;
    return all;
}

TEST(RegularExpression, SearchesTheFirstUnitsAsIfTheTextEndedThere) {
    EXPECT_TRUE(matches("(?<=a)b(?=c)", "abc"));
    EXPECT_TRUE(matches("^\\p{L}+$", "ñandú漢字"));
    EXPECT_FALSE(matches("^b", "abc"));
    EXPECT_TRUE(matches("b$", "abc", 2));
    EXPECT_FALSE(matches("b$", "abc", 1));
    EXPECT_TRUE(matches("b$", "éb", 2));
    EXPECT_FALSE(matches("b$", "👍b", 2)) << "a pair takes two units";
    EXPECT_TRUE(matches("b$", "👍b", 3));
    EXPECT_FALSE(matches("👍", "👍", 1));
    EXPECT_TRUE(matches("^.$", "👍", 1)) << "half a pair is a character";
    EXPECT_TRUE(matches("^.$", "👍", 2));
    EXPECT_TRUE(matches("^a\uFFFD+-$", "a\xF0\x9F-")) << "ill-formed text";
}

TEST(RegularExpression, RefusesInvalidAndCostlyExpressions) {
    for (const std::string& pattern :
         {""s, "("s, "a{2,1}"s, "(\xFF"s, many(16'385, "a"), many(3'000, "[^a]"),
          many(2'001, "a{9}"), "(?i)" + many(16, "[\\W]"),
          "(?i)" + many(100, "[\\x{0}-\\x{10ffff}\\p{L}]|")}) {
        EXPECT_FALSE(RegularExpression::compile(pattern).has_value()) << pattern.substr(0, 20);
        EXPECT_FALSE(RegularExpression::compile(pattern).has_value()) << "from the cache";
    }
}

TEST(RegularExpression, WhatTakesTooMuchTimeOrStackCountsAsNoMatch) {
    EXPECT_TRUE(matches("^(a|aa|a*b)+!$", std::string(100'000, 'a') + "!")) << "simple ones do not";
    EXPECT_FALSE(matches("^(?=a)(a+)+$", std::string(40, 'a') + "!"));
    // No states are saved here: only the clock tells.
    EXPECT_FALSE(matches("(?>[^b]*)b", std::string(2'000'000, 'a')));
    EXPECT_TRUE(matches("^(?=a)[ab]*$", std::string(32'768, 'a')));
    EXPECT_FALSE(matches("^(?=a)[ab]*$", std::string(32'769, 'a')));
    EXPECT_TRUE(matches("(?i)\\\\1(A)", "\\1" + std::string(8'190, 'a')));
    EXPECT_TRUE(matches("(?i)(A)\\1$", std::string(32'768, 'a')));
    EXPECT_FALSE(matches("^(?:" + many(200, "\\B") + "|a)*$", "aa"))
        << "looks at too much for each state";
    EXPECT_FALSE(matches("^(?=a)(a|b)*$", std::string(10'000'000, 'a')));
}

TEST(RegularExpression, LongTextAnswersLikeShort) {
    for (const int count : {10, 40, 1'000}) {
        const auto text = many(count, "漢👍\r\nß");
        EXPECT_TRUE(matches("(?s)^(?!.*x).*(?<=漢👍\r\nß)$", text)) << count;
        EXPECT_TRUE(matches("^(?:(漢).\\s+\\bß(?!\\1{2}))*$", text)) << count;
        EXPECT_FALSE(matches("(?s)^(?=.*\\d)[^x]*$", text)) << count;
    }
}

TEST(RegularExpression, IsChargedForTheTimeThatAMatchTakes) {
    // Each saved state copies a hundred groups.
    std::string pattern = "^(?=a)(?:a|b)*c";
    for (int i = 0; i < 100; ++i)
        pattern.insert(9, "()");
    const auto expression = RegularExpression::compile(pattern);
    ASSERT_TRUE(expression);
    WorkAllowance allowance(20'000'000);
    for (int i = 0; i < 1'000; ++i)
        EXPECT_FALSE(expression->matches(std::string(1'000, 'a'), 1'000, &allowance));
    EXPECT_TRUE(allowance.exhausted());
    EXPECT_FALSE(RegularExpression::compile("a")->matches("a", 1, &allowance)) << "nothing is left";
}

TEST(RegularExpression, SimpleExpressionsAnswerLikeTheFullEngine) {
    std::istringstream words(
        R"(a b 1 - . _ \d \D\W \w \s \S \. \- [ab] [^a] [a-] [-b] [a-b] [0-9b] [^\d] [\w.] [\]]
           [\^\$\&] [!#%~`'"<>|()*+?/,;:=@] ( (?: ) ) | * + ? {2} {1,3} {2,} {0,1} {0,2}? ^ $ ] }
           a{3} (ab) (a|b) (a|ab)+ (?:a?b)+c)");
    const std::vector<std::string> pieces(std::istream_iterator<std::string>(words), {});
    std::mt19937 random(20240229);
    int simple = 0;
    for (int round = 0; round < 40'000; ++round) {
        std::string pattern = random() % 3 == 0 ? "^" : "";
        for (auto left = random() % 7; left > 0; --left)
            pattern += pieces[random() % pieces.size()];
        if (random() % 3 == 0) pattern += "$";
        if (!ASCIIPattern::compile(pattern)) continue;
        const auto quick = RegularExpression::compile(pattern);
        // An empty look-ahead changes nothing, but is beyond the simple ones.
        const auto full = RegularExpression::compile("(?=)(?:" + pattern + ")");
        ASSERT_EQ(quick.has_value(), full.has_value()) << pattern;
        if (!quick) continue;
        ++simple;
        for (int i = 0; i < 8; ++i) {
            std::string text;
            for (auto left = random() % 8; left > 0; --left)
                text += random() % 3 == 0 ? static_cast<char>(random() % 127)
                                          : "ab1-. _]c"[random() % 9];
            const auto length = random() % 4 == 0 ? text.size() / 2 : text.size();
            EXPECT_EQ(quick->matches(text, length), full->matches(text, length))
                << pattern << " on " << text << " up to " << length;
        }
    }
    EXPECT_GT(simple, 3'000);
}

TEST(RegularExpression, SharedByThreadsBeyondTheCacheSize) {
    const auto shared = RegularExpression::compile("^([a-z]+)-([0-9]+)é$");
    ASSERT_TRUE(shared);
    test::inThreads(4, [&shared](int) {
        for (int round = 0; round < 2'400; ++round) {
            EXPECT_TRUE(shared->matches("abc-1é", 6));
            EXPECT_FALSE(shared->matches("abc", 3));
            const auto number = std::to_string(round % 1'200);
            EXPECT_TRUE(matches("^p" + number + "$", "p" + number));
        }
    });
}

}  // namespace
}  // namespace zentara
