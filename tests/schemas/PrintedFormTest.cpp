#include "model/PrintedForm.h"

#include "TestDocuments.h"

namespace zentara {
namespace {

TEST(PrintedForm, ShowsValuesAsPeopleWriteThem) {
    const std::pair<const char*, const char*> cases[] = {
        {R"("text \"quoted\"")", R"(text "quoted")"},
        {R"(["a \"b\" \\ \n\t\r\u0000", "ñ"])", R"(["a \"b\" \\ \n\t\r\0", "ñ"])"},
        {"[-5, 18446744073709551615, 5.0, 1e20]", "[-5, 18446744073709551615, 5.0, 1e+20]"},
        {"[true, false, null]", "[true, false, <null>]"},
        {R"([[], {}, {"k": 1, "l": {"m": [2.5]}}])", R"([[], [:], ["k": 1, "l": ["m": [2.5]]]])"},
    };
    for (const auto& [value, printed] : cases) {
        std::string text = ">";
        appendPrinted(text, json(value));
        EXPECT_EQ(text, std::string(">") + printed);
    }
}

}  // namespace
}  // namespace zentara
