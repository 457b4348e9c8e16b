#include "text/RegularExpression.h"

#include <gtest/gtest.h>

#include <iterator>
#include <random>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "support/WaitFor.h"
#include "text/ASCIIPattern.h"
#include "text/PatternAutomaton.h"
#include "text/Unicode.h"

namespace zentara {
namespace {

using namespace std::string_literals;

bool matches(std::string_view pattern, std::string_view text) {
    const RegularExpression expression(pattern);
    EXPECT_TRUE(expression.isValid()) << pattern;
    return expression.matches(text);
}

std::string many(int count, const char* piece) {
    std::string all;
    for (int i = 0; i < count; ++i)
        all += piece;
    return all;
}

TEST(RegularExpression, TextEndsAfterAsManyUnitsAsCharacters) {
    EXPECT_TRUE(matches("(?<=a)b(?=c)", "abc"));
    EXPECT_TRUE(matches("^\\p{L}+$", "ñandú漢字"));
    EXPECT_FALSE(matches("^b", "abc"));
    EXPECT_TRUE(matches("b$", "éb"));
    EXPECT_FALSE(matches("b", "👍b")) << "a pair takes two units";
    EXPECT_TRUE(matches("^👍$", "👍b"));
    EXPECT_FALSE(matches("👍", "👍"));
    EXPECT_TRUE(matches("^.$", "👍")) << "half a pair is a character";
    EXPECT_TRUE(matches("^a$", "a\r\n")) << "three units, two characters";
    EXPECT_TRUE(matches("^a\uFFFD+-$", "a\xF0\x9F-")) << "ill-formed text";
}

TEST(Unicode, CountsUserPerceivedCharacters) {
    for (const auto& [text, count] :
         std::vector<std::pair<std::string_view, std::size_t>>{{"", 0},
                                                               {"seven 7", 7},
                                                               {"eight  8", 8},
                                                               {"a\r\n\n\rb", 5},
                                                               {"ñandú\r\n", 6},
                                                               {"e\u0301", 1},
                                                               {"👍🏽!", 2},
                                                               {"👨‍👩‍👧‍👦", 1},
                                                               {"a\xF0\x9F-", 3}}) {
        WorkAllowance allowance(1'000'000);
        EXPECT_EQ(characterCount(text, &allowance), count) << text;
        EXPECT_EQ(text.empty(), allowance.remaining() == 1'000'000);
    }
}

TEST(RegularExpression, RefusesInvalidAndCostlyExpressions) {
    for (const std::string& pattern :
         {""s, "("s, "a{2,1}"s, "(\xFF"s, many(16'385, "a"), many(3'000, "[^a]"),
          many(2'001, "a{9}"), "(?i)" + many(16, "[\\W]"),
          "(?i)" + many(100, "[\\x{0}-\\x{10ffff}\\p{L}]|")}) {
        EXPECT_FALSE(RegularExpression(pattern).isValid()) << pattern.substr(0, 20);
        EXPECT_FALSE(RegularExpression(pattern).isValid()) << "the cached result";
    }
}

TEST(RegularExpression, MatchBeyondTimeOrStackFails) {
    EXPECT_TRUE(matches("^(a|aa|a*b)+!$", std::string(100'000, 'a') + "!"))
        << "the quick matcher has no such limit";
    EXPECT_FALSE(matches("^(?=a)(a+)+$", std::string(40, 'a') + "!"));
    // Saves no states, so only the clock stops it.
    EXPECT_FALSE(matches("(?>[^b]*)b", std::string(2'000'000, 'a')));
    EXPECT_TRUE(matches("^(?=a)[ab]*$", std::string(32'768, 'a')));
    EXPECT_FALSE(matches("^(?=a)[ab]*$", std::string(32'769, 'a')));
    EXPECT_TRUE(matches("(?i)\\\\1(A)", "\\1" + std::string(8'190, 'a')));
    EXPECT_TRUE(matches("(?i)(A)\\1$", std::string(32'768, 'a')));
    EXPECT_FALSE(matches("^(?:" + many(200, "\\B") + "|a)*$", "aa"))
        << "too much work for each state";
    EXPECT_FALSE(matches("^(?=a)(a|b)*$", std::string(10'000'000, 'a')));
}

TEST(RegularExpression, LongTextAnswersLikeShort) {
    for (const int count : {10, 40, 1'000}) {
        // Each piece has six units and four characters.
        const auto text = many(count, "漢👍\r\nß") + many(2 * count, "x");
        EXPECT_TRUE(matches("(?s)^(?!.*x).*(?<=漢👍\r\nß)$", text)) << count;
        EXPECT_TRUE(matches("^(?:(漢).\\s+\\bß(?!\\1{2}))*$", text)) << count;
        EXPECT_FALSE(matches("(?s)^(?=.*\\d)[^x]*$", text)) << count;
    }
}

TEST(RegularExpression, MatchIsChargedForItsTime) {
    // Each saved state copies a hundred groups.
    std::string pattern = "^(?=a)(?:a|b)*c";
    for (int i = 0; i < 100; ++i)
        pattern.insert(9, "()");
    const RegularExpression expression(pattern);
    ASSERT_TRUE(expression.isValid());
    WorkAllowance allowance(20'000'000);
    for (int i = 0; i < 1'000; ++i)
        EXPECT_FALSE(expression.matches(std::string(1'000, 'a'), &allowance));
    EXPECT_TRUE(allowance.exhausted());
    EXPECT_FALSE(RegularExpression("a").matches("a", &allowance)) << "nothing is left";
}

TEST(RegularExpression, QuickMatcherAgreesWithTheEngine) {
    std::istringstream words(
        R"(a b 1 - . _ \d \D\W \w \s \S \. \- [ab] [^a] [a-] [-b] [a-b] [0-9b] [^\d] [\w.] [\]]
           [\^\$\&] [!#%~`'"<>|()*+?/,;:=@] ( (?: ) ) | * + ? {2} {1,3} {2,} {0,1} {0,2}? ^ $ ] }
           a{3} (ab) (a|b) (a|ab)+ (?:a?b)+c (a|b)*a[ab]{9})");
    const std::vector<std::string> pieces(std::istream_iterator<std::string>(words), {});
    std::mt19937 random(20240229);
    int simple = 0;
    for (int round = 0; round < 40'000; ++round) {
        std::string pattern = random() % 3 == 0 ? "^" : "";
        for (auto left = random() % 7; left > 0; --left)
            pattern += pieces[random() % pieces.size()];
        if (random() % 3 == 0) pattern += "$";
        if (!ASCIIPattern::compile(pattern)) continue;
        const auto automaton = PatternAutomaton::compile(pattern);
        const RegularExpression quick(pattern);
        // An empty look-ahead changes nothing but needs the engine.
        const RegularExpression full("(?=)(?:" + pattern + ")");
        ASSERT_TRUE(full.isValid()) << pattern;
        ++simple;
        for (int i = 0; i < 8; ++i) {
            std::string text;
            for (auto left = random() % 8; left > 0; --left)
                text += random() % 3 == 0 ? static_cast<char>(random() % 127)
                                          : "ab1-. _]c"[random() % 9];
            const bool isMatch = full.matches(text);
            EXPECT_EQ(quick.matches(text), isMatch) << pattern << " on " << text;
            if (!PatternAutomaton::isPlain(text)) continue;
            EXPECT_EQ(automaton->matches(text), isMatch) << pattern << " on " << text;
        }
    }
    EXPECT_GT(simple, 3'000);
}

TEST(RegularExpression, ThreadsShareMoreThanTheCacheHolds) {
    const RegularExpression full("^([a-z]+)-([0-9]+)é$");
    const RegularExpression simple("^[a-z]+-[0-9]+$");
    test::inThreads(4, [&full, &simple](int) {
        for (int round = 0; round < 2'400; ++round) {
            EXPECT_TRUE(full.matches("abc-1é"));
            EXPECT_FALSE(full.matches("abc"));
            EXPECT_TRUE(simple.matches("abc-1"));
            const auto number = std::to_string(round % 1'200);
            EXPECT_TRUE(matches("^(?=p)p" + number + "$", "p" + number));
        }
    });
}

}  // namespace
}  // namespace zentara
