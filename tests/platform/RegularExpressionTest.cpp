#include "platform/RegularExpression.h"

#include <gmock/gmock.h>

#include <random>
#include <string>
#include <thread>
#include <vector>

#include "platform/ASCIIPattern.h"

namespace zentara {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Range = RegularExpression::Range;

bool matches(const char* pattern, std::string_view text) {
    const auto expression = RegularExpression::compile(pattern);
    return expression && expression->matches(text, utf16Length(text));
}

TEST(RegularExpression, MatchesAnywhereUnlessAnchored) {
    EXPECT_TRUE(matches("b+", "abc"));
    EXPECT_FALSE(matches("^b", "abc"));
    EXPECT_TRUE(matches("(?<=a)b(?=c)", "abc"));
    EXPECT_TRUE(matches("^\\p{L}+$", "ñandú漢字"));
    EXPECT_TRUE(matches("^.$", "👍"));
}

TEST(RegularExpression, RefusesWhatIsNoExpression) {
    for (const char* pattern : {"", "(", "[a", "a{2,1}", "\\", "*"}) {
        EXPECT_FALSE(RegularExpression::compile(pattern).has_value()) << pattern;
        EXPECT_FALSE(RegularExpression::compile(pattern).has_value()) << pattern << " again";
    }
}

TEST(RegularExpression, SearchesOnlyTheFirstUnits) {
    const auto expression = RegularExpression::compile("b$");
    ASSERT_TRUE(expression);
    EXPECT_TRUE(expression->matches("abc", 2)) << "the end of the range is the end of the text";
    EXPECT_FALSE(expression->matches("abc", 1));
    EXPECT_FALSE(expression->matches("👍b", 2)) << "a pair takes two units";
    EXPECT_TRUE(expression->matches("👍b", 3));
    EXPECT_TRUE(expression->matches("éb", 2));
    EXPECT_TRUE(expression->matches("ab", 100));
}

TEST(RegularExpression, ACutSurrogatePairIsHalfACharacter) {
    const auto thumb = RegularExpression::compile("👍");
    const auto any = RegularExpression::compile("^.$");
    ASSERT_TRUE(thumb && any);
    EXPECT_FALSE(thumb->matches("👍", 1));
    EXPECT_TRUE(any->matches("👍", 1));
    EXPECT_TRUE(thumb->matches("👍", 2));
}

TEST(RegularExpression, FindsSuccessiveMatchesInUnits) {
    const auto expression = RegularExpression::compile("[0-9]+");
    ASSERT_TRUE(expression);
    EXPECT_THAT(expression->findAll("1 👍22 é333", 100, 10),
                ElementsAre(Range{0, 1}, Range{4, 2}, Range{8, 3}));
    EXPECT_THAT(expression->findAll("1 2 3", 5, 2), ElementsAre(Range{0, 1}, Range{2, 1}));
    EXPECT_THAT(expression->findAll("abc", 3, 2), IsEmpty());
}

TEST(RegularExpression, IllFormedTextIsReadAsReplacementCharacters) {
    EXPECT_TRUE(matches("^a\uFFFD+b$",
                        "a\xF0\x9F"
                        "b"));
    EXPECT_TRUE(matches("^\uFFFD$", "\xC3"));
    EXPECT_FALSE(RegularExpression::compile("(\xFF").has_value());
    EXPECT_GT(characterCount("\xF0\x9F\x91 \xFF\xFE\xED\xA0\x80"), 0U);
}

TEST(RegularExpression, AnExplodingExpressionCountsAsNoMatch) {
    const std::string text(40, 'a');
    for (const char* pattern :
         {"^(?=a)(a+)+$", "(?=a)(a|aa)+$", "^(([a-z])+.)+[A-Z]([a-z])+$(?=)"}) {
        EXPECT_FALSE(matches(pattern, text + "!")) << pattern;
    }
}

TEST(RegularExpression, AScanFromEachPlaceCountsAsNoMatchWhenItTakesTooLong) {
    EXPECT_FALSE(matches("(?>[^b]*)b", std::string(2'000'000, 'a')));
}

TEST(RegularExpression, ADeepMatchRunsIntoTheStackLimit) {
    EXPECT_TRUE(matches("^(?=a)(a|b)*$", std::string(1'000, 'a')));
    EXPECT_FALSE(matches("^(?=a)(a|b)*$", std::string(10'000'000, 'a')));
}

TEST(RegularExpression, SharesOneAllowanceAmongManyMatches) {
    WorkAllowance allowance(50'000'000);
    const std::string text = std::string(40, 'a') + "!";
    for (int i = 0; i < 1'000; ++i) {
        const auto expression = RegularExpression::compile("^(?=a)(a+)+$", &allowance);
        ASSERT_TRUE(expression);
        EXPECT_FALSE(expression->matches(text, text.size(), &allowance));
    }
    EXPECT_TRUE(allowance.exhausted());
    // With nothing left even this does not match.
    const auto simple = RegularExpression::compile("a");
    ASSERT_TRUE(simple);
    EXPECT_FALSE(simple->matches("a", 1, &allowance));
    EXPECT_TRUE(simple->matches("a", 1));
}

TEST(RegularExpression, RefusesWhatTakesTooLongToCompile) {
    std::string sets = "(?i)";
    for (int i = 0; i < 10'000; ++i)
        sets += "[\\x{0}-\\x{10ffff}\\p{L}]|";
    std::string stars;
    for (int i = 0; i < 1'000'000; ++i)
        stars += "a*";
    const std::string nested(100'000, '(');
    for (const auto& pattern : {sets, stars, nested}) {
        EXPECT_FALSE(RegularExpression::compile(pattern).has_value());
    }
}

TEST(RegularExpression, SimpleExpressionsDoNotExplode) {
    const std::string text(100'000, 'a');
    EXPECT_FALSE(matches("^(a+)+$", text + "!"));
    EXPECT_TRUE(matches("^(a|aa|a*b)+!$", text + "!"));
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
        for (auto left = random() % (most + 1); left > 0; --left) {
            text += from[random() % from.size()];
        }
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
    for (int round = 0; round < 2; ++round) {
        for (int i = 0; i < 3'000; ++i) {
            const auto number = std::to_string(i);
            const auto expression = RegularExpression::compile("^x" + number + "$");
            ASSERT_TRUE(expression);
            ASSERT_TRUE(expression->matches("x" + number, number.size() + 1));
        }
    }
}

TEST(RegularExpression, MayBeMatchedByManyThreadsAtOnce) {
    const auto shared = RegularExpression::compile("^([a-z]+)-([0-9]+)$");
    ASSERT_TRUE(shared);
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&shared, i] {
            const std::string text = "abc-" + std::to_string(i);
            for (int round = 0; round < 2'000; ++round) {
                EXPECT_TRUE(shared->matches(text, text.size()));
                EXPECT_FALSE(shared->matches("abc", 3));
                EXPECT_TRUE(RegularExpression::compile("p" + std::to_string(round % 700)));
            }
        });
    }
    for (auto& thread : threads)
        thread.join();
}

TEST(CharacterCount, CountsWhatPeopleCallCharacters) {
    const std::pair<std::string_view, std::size_t> cases[] = {
        {"", 0},           {"abc", 3},
        {"\r\n", 1},       {"\n\r", 2},
        {"a\r\n\r\nb", 4}, {"ñandú", 5},
        {"é\r\nè", 3},     {"Привет", 6},
        {"e\u0301", 1},    {"ñe\u0301", 2},
        {"漢字", 2},       {"👍", 1},
        {"👍🏽", 1},   {"👨‍👩‍👧", 1},
        {"🇪🇸🇫🇷", 2},       {"각", 1},
        {"\xC3", 1},       {std::string_view("\0\0", 2), 2},
    };
    for (const auto& [text, count] : cases)
        EXPECT_EQ(characterCount(text), count) << text;
}

TEST(UTF16Length, CountsTwoUnitsBeyondTheBasicPlane) {
    EXPECT_EQ(utf16Length("abc"), 3U);
    EXPECT_EQ(utf16Length("é漢"), 2U);
    EXPECT_EQ(utf16Length("a👍"), 3U);
    EXPECT_EQ(utf16Length("e\u0301"), 2U);
}

}  // namespace
}  // namespace zentara
