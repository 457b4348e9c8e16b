#include "schemas/Format.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "TestDocuments.h"
#include "platform/RegularExpression.h"

namespace zentara {
namespace {

using testing::ElementsAre;

const Format& formatNamed(std::string_view name) {
    const auto formats = standardFormats();
    return *std::find_if(formats.begin(), formats.end(),
                         [name](const Format& format) { return format.name == name; });
}

TEST(Format, AcceptsAndRefusesTheseTexts) {
    struct Case {
        const char* format;
        std::vector<const char*> accepted;
        std::vector<const char*> refused;
    };
    const Case cases[] = {
        {"ipv4",
         {"192.168.0.1", "0.0.0.0", "255.255.255.255", "01.02.003.4", "1.2.3.4\n"},
         {"", "256.1.1.1", "1.2.3", "1.2.3.4 ", "1.2.3.4.5", "1.2.3.", "1..2.3", "0001.2.3.4",
          "1.2.3.4\n\n", "a.b.c.d"}},
        {"ipv6",
         {"::1", "fe80::1", "::", "1:2:3:4:5:6:7:8", "::ffff:192.0.2.1"},
         {"", "1.2.3.4", "1::2::3", "fe80::1%lo", "12345::", "::1 "}},
        {"uri",
         {"urn:a:b", "file:/tmp/a", "http://a/b?c=d#e%20f", "a+b.c-1:x", "x:(y)"},
         {"", "nocolon", "a b:c", "x:", "(http://a/b)", ":x", "1a:b", "x:%4", "x:%zz", "x:a b",
          "x:\"", "http://é"}},
        {"numericString",
         {"12.5", ".5", "0.5", "00.00", "1.9223372036854775807", "1.00000000000000000000000001",
          "123456789012345678901234567890123456789012345.5"},
         {"", "10", "12.", ".", "1.2.3", "-1.5", "1,5", "1e5", "1.9223372036854775808", "١.٥"}},
    };
    for (const auto& each : cases) {
        const auto& format = formatNamed(each.format);
        for (const char* value : each.accepted) {
            EXPECT_TRUE(format.accepts(JSONValue(value))) << each.format << ": " << value;
        }
        for (const char* value : each.refused) {
            EXPECT_FALSE(format.accepts(JSONValue(value))) << each.format << ": " << value;
        }
    }
}

TEST(Format, NamesTheValueInItsMessage) {
    EXPECT_THAT(*formatNamed("ipv4")("x").errors(), ElementsAre("'x' is not valid IPv4 address."));
    EXPECT_THAT(*formatNamed("ipv6")("x").errors(), ElementsAre("'x' is not valid IPv6 address."));
    EXPECT_THAT(*formatNamed("uri")("x").errors(), ElementsAre("'x' is not a valid URI."));
    EXPECT_THAT(*formatNamed("numericString")("10").errors(),
                ElementsAre("'10' is not valid NumericString format."));
    EXPECT_TRUE(formatNamed("uri")("a:b").valid());
}

TEST(Format, LetsOtherKindsThanStringsPass) {
    for (const char* name : {"ipv4", "ipv6", "uri"}) {
        EXPECT_TRUE(formatNamed(name).accepts(JSONValue(5))) << name;
        EXPECT_TRUE(formatNamed(name).accepts(JSONValue(nullptr))) << name;
    }
}

TEST(FormatDeathTest, NumericStringStopsAtAValueThatIsNoString) {
    const auto& format = formatNamed("numericString");
    EXPECT_DEATH((void)format.accepts(JSONValue(10)), "numericString");
}

/// Texts of these pieces in any order, which are what the checks of addresses turn on.
std::vector<std::string> textsOf(const std::vector<std::string>& pieces, std::size_t count) {
    std::mt19937 random(20240229);
    std::uniform_int_distribution<std::size_t> length(0, 9);
    std::uniform_int_distribution<std::size_t> piece(0, pieces.size() - 1);
    std::vector<std::string> texts(count);
    for (auto& text : texts) {
        for (auto left = length(random); left > 0; --left)
            text += pieces[piece(random)];
    }
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
                 "\r\n", "\r", "\u2028", "\u0301", "\u0085", "👍",   "x", "1.2.3.4", "1.2.", "3.4"},
                20'000);
    for (const char* tail :
         {"", "\n", "\r", "\v", "\f", "\r\n", "\r\nx", "\r\n\u0301x", "\n\n", "\u2028", "\u2029",
          "\u0085", "\u0301", "\u0301\n", "5\u0301", "\n\u0301", "👍", "\r\nxy"}) {
        texts.push_back(std::string("1.2.3.4") + tail);
        texts.push_back(std::string("1.2.3.255") + tail);
    }
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
                  "{",         "\\", "é",       "e\u0301", "👍", "\r\n", "1", "~",  "_"},
                 20'000)) {
        const auto count = characterCount(text);
        const auto found = expression->findAll(text, count, 2);
        const bool whole = found.size() == 1 && found.front() == RegularExpression::Range{0, count};
        EXPECT_EQ(formatNamed("uri").accepts(JSONValue(text)), whole) << text;
    }
}

}  // namespace
}  // namespace zentara
