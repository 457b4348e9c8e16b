#include "platform/RegularExpression.h"

#include <gmock/gmock.h>

#include <random>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include "platform/ASCIIPattern.h"

namespace zentara {
namespace {

using testing::ElementsAre;
using Range = RegularExpression::Range;

bool matches(std::string_view pattern, std::string_view text, std::size_t units = 20'000'000) {
    const auto expression = RegularExpression::compile(pattern);
    EXPECT_TRUE(expression) << pattern;
    return expression && expression->matches(text, units);
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
}

TEST(RegularExpression, RefusesWhatIsNoExpression) {
    for (const char* pattern : {"", "(", "[a", "a{2,1}", "\\", "*", "(\xFF"}) {
        EXPECT_FALSE(RegularExpression::compile(pattern).has_value()) << pattern;
        EXPECT_FALSE(RegularExpression::compile(pattern).has_value()) << pattern << " again";
    }
}

TEST(RegularExpression, FindsSuccessiveMatchesInUnits) {
    const auto expression = RegularExpression::compile("[0-9]+");
    ASSERT_TRUE(expression);
    EXPECT_THAT(expression->findAll("1 👍22 é333", 100, 10),
                ElementsAre(Range{0, 1}, Range{4, 2}, Range{8, 3}));
    EXPECT_THAT(expression->findAll("1 2 3", 5, 2), ElementsAre(Range{0, 1}, Range{2, 1}));
}

TEST(RegularExpression, IllFormedTextIsReadAsReplacementCharacters) {
    EXPECT_TRUE(matches("^a\uFFFD+-$", "a\xF0\x9F-"));
    EXPECT_TRUE(matches("^\uFFFD$", "\xC3"));
    EXPECT_GT(characterCount("\xF0\x9F\x91 \xFF\xFE\xED\xA0\x80"), 0U);
}

TEST(RegularExpression, WhatTakesTooMuchTimeOrStackCountsAsNoMatch) {
    EXPECT_TRUE(matches("^(a|aa|a*b)+!$", std::string(100'000, 'a') + "!")) << "simple ones do not";
    EXPECT_FALSE(matches("^(?=a)(a+)+$", std::string(40, 'a') + "!"));
    // No states are saved here: only the clock tells.
    EXPECT_FALSE(matches("(?>[^b]*)b", std::string(2'000'000, 'a')));
    EXPECT_TRUE(matches("^(?=a)(a|b)*$", std::string(1'000, 'a')));
    EXPECT_TRUE(matches("^(?=a)[ab]*$", std::string(32'768, 'a')));
    EXPECT_FALSE(matches("^(?=a)[ab]*$", std::string(32'769, 'a')));
    EXPECT_TRUE(matches("(?i)\\\\1(A)", "\\1" + std::string(8'190, 'a')));
    EXPECT_FALSE(matches("(?i)(A)\\1", std::string(2'049, 'a')));
    EXPECT_FALSE(matches("^(?=a)(a|b)*$", std::string(10'000'000, 'a')));
}

TEST(RegularExpression, IsChargedForTheTimeThatAMatchTakes) {
    // Each saved state copies three hundred groups.
    std::string pattern = "^(?=a)(?:a|b)*c";
    for (int i = 0; i < 300; ++i)
        pattern.insert(9, "()");
    const auto expression = RegularExpression::compile(pattern);
    ASSERT_TRUE(expression);
    WorkAllowance allowance(20'000'000);
    for (int i = 0; i < 1'000; ++i)
        EXPECT_FALSE(expression->matches(std::string(1'000, 'a'), 1'000, &allowance));
    EXPECT_TRUE(allowance.exhausted());
}

TEST(RegularExpression, SharesOneAllowanceAmongManyMatches) {
    WorkAllowance allowance(50'000'000);
    const std::string text = std::string(40, 'a') + "!";
    for (int i = 0; i < 1'000; ++i) {
        const auto expression = RegularExpression::compile("^(?=a)(a+)+$", &allowance);
        EXPECT_FALSE(expression.value().matches(text, text.size(), &allowance));
    }
    EXPECT_TRUE(allowance.exhausted());
    // With nothing left even this does not match.
    EXPECT_FALSE(RegularExpression::compile("a")->matches("a", 1, &allowance));
}

TEST(RegularExpression, RefusesWhatTakesTooLongToCompile) {
    std::string sets = "(?i)";
    for (int i = 0; i < 100; ++i)
        sets += "[\\x{0}-\\x{10ffff}\\p{L}]|";
    std::string plainSets;
    for (int i = 0; i < 3'000; ++i)
        plainSets += "[^a]";
    std::string setsWithin = "(?i)";
    for (int i = 0; i < 90; ++i)
        setsWithin += "[^\\W\\D\\S]";
    const std::string tooLong(16'385, 'a');
    for (const auto& pattern : {sets, plainSets, setsWithin, tooLong})
        EXPECT_FALSE(RegularExpression::compile(pattern).has_value()) << pattern.substr(0, 20);
}

TEST(RegularExpression, SimpleExpressionsAnswerLikeTheFullEngine) {
    const std::vector<std::string> pieces = {
        "a",    "b",     "-",       ".",         "\\d",   "\\w",    "\\s",    "\\S",  "[ab]",
        "[^a]", "[a-]",  "[-b]",    "[0-9b]",    "(",     "(?:",    ")",      ")",    "|",
        "*",    "+",     "?",       "{2}",       "{1,3}", "{2,}",   "{0,1}",  "^",    "$",
        "\\.",  "\\-",   "[\\w.]",  "[\\]]",     "1",     "_",      "{0,2}?", "[ -]", "a{3}",
        "(ab)", "(a|b)", "(a|ab)+", "(?:a?b)+c", "[a-b]", "[^\\d]", "\\D\\W", "]",    "}"};
    const std::vector<std::string> letters = {"a", "b", "1", "-", ".", " ", "_", "ab", "]", "c"};
    std::mt19937 random(20240229);
    const auto pick = [&random](const std::vector<std::string>& from, std::size_t most) {
        std::string text;
        for (auto left = random() % (most + 1); left > 0; --left)
            text += from[random() % from.size()];
        return text;
    };
    int simple = 0;
    for (int round = 0; round < 30'000; ++round) {
        auto pattern = pick(pieces, 6);
        if (random() % 3 == 0) pattern = "^" + pattern;
        if (random() % 3 == 0) pattern += "$";
        if (!ASCIIPattern::compile(pattern)) continue;
        const auto quick = RegularExpression::compile(pattern);
        // An empty look-ahead changes nothing, but is beyond the simple ones.
        const auto full = RegularExpression::compile("(?=)(?:" + pattern + ")");
        ASSERT_EQ(quick.has_value(), full.has_value()) << pattern;
        if (!quick) continue;
        ++simple;
        for (int i = 0; i < 8; ++i) {
            const auto text = pick(letters, 7);
            const auto length = random() % 4 == 0 ? text.size() / 2 : text.size();
            EXPECT_EQ(quick->matches(text, length), full->matches(text, length))
                << pattern << " on " << text << " up to " << length;
        }
    }
    EXPECT_GT(simple, 3'000);
}

TEST(RegularExpression, SimpleClassesHoldTheSameASCIICharacters) {
    for (const char* each : {"\\d", "\\D", "\\w", "\\W", "\\s", "\\S", ".", "[^x]", "[a-f0-9]",
                             "[!#%~`'\"<>|()*+?/,;:=@ _.-]", "[\\^\\$\\&]"}) {
        ASSERT_TRUE(ASCIIPattern::compile(each).has_value()) << each;
        const auto quick = RegularExpression::compile(each);
        const auto full = RegularExpression::compile("(?=)" + std::string(each));
        ASSERT_TRUE(quick && full) << each;
        for (char c = 0; c < 127; ++c) {
            const std::string text(1, c);
            EXPECT_EQ(quick->matches(text, 1), full->matches(text, 1)) << each << " on " << int{c};
        }
    }
}

TEST(RegularExpression, MorePatternsThanAreKeptStillMatch) {
    for (int i = 0; i < 6'000; ++i) {
        const auto number = std::to_string(i % 3'000);
        ASSERT_TRUE(matches("^x" + number + "$", "x" + number));
    }
}

TEST(RegularExpression, MayBeMatchedByManyThreadsAtOnce) {
    const auto shared = RegularExpression::compile("^([a-z]+)-([0-9]+)é$");
    ASSERT_TRUE(shared);
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&shared] {
            const std::string text = "abc-1é";
            for (int round = 0; round < 2'000; ++round) {
                EXPECT_TRUE(shared->matches(text, characterCount(text)));
                EXPECT_FALSE(shared->matches("abc", 3));
                EXPECT_TRUE(RegularExpression::compile("p" + std::to_string(round % 700)));
            }
        });
    }
    for (auto& thread : threads)
        thread.join();
}

TEST(CharacterCount, CountsWhatPeopleCallCharactersAndTheirUnits) {
    const std::tuple<std::string_view, std::size_t, std::size_t> cases[] = {
        {"", 0, 0},         {"\r\n", 1, 2},
        {"\n\r", 2, 2},     {"a\r\n\r\nb", 4, 6},
        {"é\r\nè", 3, 4},   {"ñe\u0301", 2, 3},
        {"👍🏽", 1, 4}, {"👨‍👩‍👧", 1, 8},
        {"🇪🇸🇫🇷", 2, 8},     {"\u1100\u1161\u11A8", 1, 3},
        {"\xC3", 1, 1},     {{"\0\0", 2}, 2, 2}};
    for (const auto& [text, characters, units] : cases) {
        EXPECT_EQ(characterCount(text), characters) << text;
        EXPECT_EQ(utf16Length(text), units) << text;
    }
}

}  // namespace
}  // namespace zentara
