#include "schemas/Schema.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "text/RegularExpression.h"

namespace zentara {
namespace {

const Format& formatNamed(std::string_view name) {
    const auto formats = standardFormats();
    return *std::find_if(formats.begin(), formats.end(),
                         [name](const Format& format) { return format.name == name; });
}

TEST(FormatDeathTest, NumericStringStopsAtAValueThatIsNoString) {
    EXPECT_DEATH((void)validate(10, {{"format", "numericString"}}), "numericString");
}

/// Texts of these pieces, which a space parts, in any order.
std::vector<std::string> textsOf(std::string_view all) {
    std::vector<std::string> pieces{" "};
    for (std::size_t at = 0, end = 0; end != std::string_view::npos; at = end + 1) {
        end = all.find(' ', at);
        pieces.emplace_back(all.substr(at, end - at));
    }
    std::mt19937 random(20240229);
    std::vector<std::string> texts(20'000);
    for (auto& text : texts)
        for (auto left = random() % 10; left > 0; --left)
            text += pieces[random() % pieces.size()];
    return texts;
}

// The checks are written out by hand for speed; these expressions define them.
TEST(Format, ReadsLikeItsExpression) {
    const std::string octet = "(25[0-5]|2[0-4][0-9]|[01]?[0-9][0-9]?)";
    const std::string uri = R"([A-Za-z][A-Za-z0-9\+\.\-]*:)"
                            R"(([A-Za-z0-9\.\-_~:/\?#\[\]@!\$&'\(\)\*\+,;=]|%[A-Fa-f0-9]{2})+)";
    const auto compare = [](const char* name, const std::string& pattern,
                            const std::vector<std::string>& texts) {
        const RegularExpression expression(pattern);
        for (const auto& text : texts) {
            WorkAllowance allowance(1'000'000);
            EXPECT_EQ(formatNamed(name).accepts(text, allowance), expression.matches(text))
                << name << ": " << text;
        }
    };
    auto addresses =
        textsOf("1 25 255 256 0 007 . . . \n \r\n \r \u2028 \u0301 \u0085 👍 x 1.2.3.4 1.2. 3.4");
    for (const char* tail :
         {"", "\v", "\f", "\r\nx", "\r\n\u0301x", "\u2029", "\u0301\n", "\r\nxy"})
        addresses.push_back(std::string("1.2.3.4") + tail);
    compare("ipv4", "^" + octet + "\\." + octet + "\\." + octet + "\\." + octet + "$", addresses);
    // The whole text is the only match. In parentheses a match would start behind the first.
    compare("uri", "\\A" + uri + "\\z",
            textsOf("a Z h+t.p-9 : : / ? # [ ] @ !$&'*+,;= ( ) %4f % %G0 \" < ^ ` { \\ é e\u0301 👍 "
                    "\r\n 1 ~ _"));
}

}  // namespace
}  // namespace zentara
