#include "schemas/Format.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "TestDocuments.h"
#include "platform/RegularExpression.h"

namespace zentara {
namespace {

const Format& formatNamed(std::string_view name) {
    const auto formats = standardFormats();
    return *std::find_if(formats.begin(), formats.end(),
                         [name](const Format& format) { return format.name == name; });
}

TEST(FormatDeathTest, NumericStringStopsAtAValueThatIsNoString) {
    EXPECT_DEATH((void)formatNamed("numericString").accepts(JSONValue(10)), "numericString");
}

/// Texts of these pieces in any order, which are what the checks of addresses turn on.
std::vector<std::string> textsOf(const std::vector<std::string>& pieces) {
    std::mt19937 random(20240229);
    std::uniform_int_distribution<std::size_t> length(0, 9);
    std::uniform_int_distribution<std::size_t> piece(0, pieces.size() - 1);
    std::vector<std::string> texts(20'000);
    for (auto& text : texts)
        for (auto left = length(random); left > 0; --left)
            text += pieces[piece(random)];
    return texts;
}

// The checks are written out by hand for speed; these expressions define them.

TEST(Format, ReadsIPv4AddressesLikeItsExpression) {
    const std::string octet = "(25[0-5]|2[0-4][0-9]|[01]?[0-9][0-9]?)";
    const auto expression = RegularExpression::compile("^" + octet + "\\." + octet + "\\." + octet +
                                                       "\\." + octet + "$");
    ASSERT_TRUE(expression);
    auto texts =
        textsOf({"1",    "25", "255",    "256",    "0",      "007", ".", ".",       ".",    "\n",
                 "\r\n", "\r", "\u2028", "\u0301", "\u0085", "👍",   "x", "1.2.3.4", "1.2.", "3.4"});
    for (const char* tail :
         {"", "\v", "\f", "\r\nx", "\r\n\u0301x", "\u2029", "\u0301\n", "\r\nxy"})
        texts.push_back(std::string("1.2.3.4") + tail);
    for (const auto& text : texts) {
        const bool matches = expression->findAll(text, characterCount(text), 2).size() == 1;
        EXPECT_EQ(formatNamed("ipv4").accepts(JSONValue(text)), matches) << text;
    }
}

TEST(Format, ReadsURIsLikeItsExpression) {
    const std::string uri = R"([A-Za-z][A-Za-z0-9\+\.\-]*:)"
                            R"(([A-Za-z0-9\.\-_~:/\?#\[\]@!\$&'\(\)\*\+,;=]|%[A-Fa-f0-9]{2})+)";
    const auto expression =
        RegularExpression::compile("((?<=\\()" + uri + "(?=\\)))|(" + uri + ")");
    ASSERT_TRUE(expression);
    for (const auto& text :
         textsOf({"a",         "Z",  "h+t.p-9", ":",       ":", "/",    "?", "#",  "[", "]", "@",
                  "!$&'*+,;=", "(",  ")",       "%4f",     "%", "%G0",  " ", "\"", "<", "^", "`",
                  "{",         "\\", "é",       "e\u0301", "👍", "\r\n", "1", "~",  "_"})) {
        const auto count = characterCount(text);
        const auto found = expression->findAll(text, count, 2);
        const bool whole = found.size() == 1 && found.front() == RegularExpression::Range{0, count};
        EXPECT_EQ(formatNamed("uri").accepts(JSONValue(text)), whole) << text;
    }
}

}  // namespace
}  // namespace zentara
