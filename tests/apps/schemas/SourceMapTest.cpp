#include <gtest/gtest.h>

#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include "json/JSONParser.h"
#include "schemas/files/SourceMap.h"
#include "support/Files.h"

namespace zentara::schemas {

std::ostream& operator<<(std::ostream& stream, Position position) {
    return stream << position.line << ':' << position.column;
}

TEST(SourceMap, FindsTheFirstErrorAndItsPlace) {
    const struct {
        std::string text, reason;
        Position position;
    } cases[] = {
        {"", "there is no value", {1, 1}},
        {" \n ", "there is no value", {2, 2}},
        {"{} x", "the text goes on behind the value", {1, 4}},
        {"{\n \"é\": [1,\n2", "the text ends, but the [ of line 2 is not closed", {3, 2}},
        {"{\"a\": ", "the text ends where a value is expected", {1, 7}},
        {"[1,\n ]", "there is a comma before the ]", {1, 3}},
        {"{\"a\":[[1]],\n}", "there is a comma before the }", {1, 11}},
        {"[1 2]", "a comma or \"]\" is expected", {1, 4}},
        {"{\"a\":1 \"b\":2}", "a comma or \"}\" is expected", {1, 8}},
        {"{a:1}", "a key in double quotes is expected", {1, 2}},
        {"{\"a\" 1}", "a colon is expected behind the key \"a\"", {1, 6}},
        {"[1, // no\n2]", "JSON has no comments", {1, 5}},
        {"['a']", "texts are in double quotes", {1, 2}},
        {"[+1]", "numbers begin with a digit or a minus", {1, 2}},
        {"[True]",
         "\"True\" is no value: a text in double quotes, true, false or null is expected",
         {1, 2}},
        {"[,]", "a value is expected", {1, 2}},
        {"[-]", "a digit is expected behind the minus", {1, 3}},
        {"[012]", "a number does not begin with a 0 before other digits", {1, 2}},
        {"[1.]", "a digit is expected behind the decimal point", {1, 4}},
        {"[1e+]", "the exponent has no digits", {1, 5}},
        {"[1a]", "the number is followed by something else", {1, 3}},
        {R"(["\x"])", "there is no such escape: a backslash is written \\\\", {1, 3}},
        {R"(["\u12g4"])", "four hexadecimal digits are expected behind \\u", {1, 3}},
        {R"(["\uDC00"])", "a low surrogate comes without a high one", {1, 3}},
        {R"(["é\uD800\u0041"])", "a high surrogate comes without a low one", {1, 4}},
        {"[\"a\n\"]", "the line ends within a text: a quote is missing, or \\n is meant", {1, 4}},
        {"[\"\t\"]", "a control character within a text is written \\u and four digits", {1, 3}},
        {"[\"é\xC3\"]", "this is not UTF-8", {1, 4}},
        {"[\"a]", "this text is not closed by a quote", {1, 2}},
    };
    for (const auto& each : cases) {
        const SourceMap map(each.text);
        const auto& error = map.error();
        ASSERT_TRUE(error) << each.text;
        EXPECT_EQ(error->reason, each.reason) << each.text;
        EXPECT_EQ(error->position, each.position) << each.text;
    }
}

TEST(SourceMap, TellsWhereValuesLie) {
    const SourceMap map(
        "\xEF\xBB\xBF{\n \"a/b\": [1,\n  {\"\\u007e\": 2}], \"é\": {}, \"x\": \"\\uD83D\\uDE00\"}");
    EXPECT_FALSE(map.error());
    const std::vector<std::pair<std::string, Position>> places = {
        {"", {1, 1}},           {"/a~1b", {2, 2}},      {"/a~1b/0", {2, 10}},   {"/a~1b/1", {3, 3}},
        {"/a~1b/1/~0", {3, 4}}, {"/a~1b/1/y", {3, 3}},  {"/a~1b/2/~0", {2, 2}}, {"/é", {3, 19}},
        {"/é/x", {3, 19}},      {"/none/a~1b", {1, 1}}, {"/x", {3, 28}}};
    for (const auto& [pointer, place] : places)
        EXPECT_EQ(map.of(pointer), place) << pointer;
}

TEST(SourceMap, LastOfRepeatedKeysCounts) {
    const SourceMap map(
        R"({"b": 1, "a~": [{"x": 1, "y": 2, "\u0078": {"n": 3}, "x": {"n": 4}}], "b": 5})");
    const auto& repeated = map.repeatedKeys();
    ASSERT_EQ(repeated.size(), 2U);
    EXPECT_EQ(repeated[0].pointer, "/a~0/0/x");
    EXPECT_EQ(repeated[0].key, "x");
    EXPECT_EQ(repeated[0].first, (Position{1, 18}));
    EXPECT_EQ(repeated[0].last, (Position{1, 54}));
    EXPECT_EQ(map.of("/a~0/0/x/n"), (Position{1, 60}));
    EXPECT_EQ(repeated[1].pointer, "/b");
    EXPECT_EQ(map.of("/b"), repeated[1].last);
}

TEST(SourceMap, AnyNestingIsRead) {
    for (const std::size_t levels : {511U, 512U, 500'000U}) {
        const SourceMap map(std::string(levels, '[') + std::string(levels, ']'));
        EXPECT_FALSE(map.error());
        EXPECT_EQ(map.tooDeep(), levels > 511 ? std::optional(Position{1, 512}) : std::nullopt);
    }
    std::string keys = "{";
    for (int level = 0; level < 500; ++level)
        keys += "\"" + std::string(10'000, 'k') + "\":{";
    for (int i = 0; i < 100'000; ++i)
        keys += "\"a\":1,\"" + std::to_string(i % 50'000) + "\":{},";
    keys += "\"z\":1}" + std::string(500, '}');
    const SourceMap map(keys);
    EXPECT_FALSE(map.error());
    EXPECT_EQ(map.repeatedKeys().size(), SourceMap::mostRepeatedKeys);
    EXPECT_EQ(map.repeatedKeys()[1].pointer, "");
}

/// A text with a few bytes changed, removed or doubled.
std::string mutated(std::string text, std::mt19937& random) {
    const auto below = [&random](std::size_t limit) {
        return static_cast<std::size_t>(random()) % limit;
    };
    constexpr std::string_view bytes =
        "{}[],:\"\\ud8019eE+-.tfn\x01\n\x7F\xC3\xA9\xED\xA0\x80\xF4/'";
    for (auto left = 1 + below(3); left > 0; --left) {
        const auto at = below(text.size() + 1);
        const auto kind = below(4);
        if (kind == 0) text.insert(at, 1, bytes[below(bytes.size())]);
        if (kind == 1) text.insert(at, text.substr(below(text.size() + 1), below(9)));
        if (kind == 2 && at < text.size()) text[at] = bytes[below(bytes.size())];
        if (kind == 3 && at < text.size()) text.erase(at, 1 + below(3));
    }
    return text;
}

// The library's parser decides what JSON is.
TEST(SourceMap, AgreesWithTheLibrarysParser) {
    std::vector<std::string> texts = {
        "-0",
        "0",
        "01",
        "-",
        "1e400",
        "-1E-400",
        "1.e1",
        "1E+",
        "nan",
        "inf",
        "nul",
        "nullx",
        "true1",
        "\"\x7F\"",
        "1,2",
        "][",
        "]",
        "1]",
        "[1}",
        "\"\\/\\b\"",
        "\"\\uD83D\\uDE00\"",
        "\"\\ud83d\"",
        "\"\\ude00\"",
        "\"\\ud83dx\"",
        "\"\\ud83d\\n\"",
        "\"\\u00\"",
        "{\"a\":1,\"\\u00e9\\\\\":[{}, [], null, true, -1.5e+3, \"x\\u0041\"]}"};
    texts.push_back(std::string("\"a\0b\"", 5));
    texts.push_back(std::string("1\0", 2));
    for (int first = 0x80; first <= 0xFF; ++first) {
        for (const int second : {0x7F, 0x80, 0x8F, 0x90, 0x9F, 0xA0, 0xBF, 0xC0}) {
            for (std::size_t rest = 0; rest < 3; ++rest) {
                std::string text = "\"";
                text += static_cast<char>(first);
                text += static_cast<char>(second);
                texts.push_back(text + std::string(rest, '\x80') + '"');
            }
        }
    }
    const auto folder = std::filesystem::path(ZENTARA_SOURCE_DIR) / "fuzz/corpus/schema";
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        const auto lines = test::contentsOf(entry.path());
        const auto end = lines.find('\n');
        texts.push_back(lines.substr(0, end));
        if (end != std::string::npos) texts.push_back(lines.substr(end + 1));
    }
    ASSERT_GT(texts.size(), 3200U);
    std::mt19937 random(20240229);
    int valid = 0;
    int count = 0;
    for (const auto& original : texts) {
        auto text = original;
        for (int i = 0; i < 20; ++i) {
            const SourceMap map(text);
            const bool isJSON = parseJSONValue(text).ok();
            ASSERT_EQ(!map.error(), isJSON) << text << '\n'
                                            << (map.error() ? map.error()->reason : "no error");
            valid += isJSON ? 1 : 0;
            ++count;
            text = mutated(original, random);
        }
    }
    EXPECT_GT(valid, count / 40);
}

}  // namespace zentara::schemas
