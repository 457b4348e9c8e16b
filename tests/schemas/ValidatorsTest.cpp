#include <gmock/gmock.h>

#include <algorithm>
#include <filesystem>
#include <optional>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "json/JSONText.h"
#include "schemas/Schema.h"
#include "schemas/SchemaValidator.h"
#include "support/Files.h"
#include "text/RegularExpression.h"

namespace zentara {
namespace {

JSONValue readDocument(const std::filesystem::path& path) {
    return JSONValue::parse(test::contentsOf(path));
}

JSONValue readTestData(const char* file) {
    return readDocument(std::filesystem::path(ZENTARA_SCHEMAS_TEST_DATA) / file);
}

std::string text(const JSONValue& value) {
    return std::string(value.string());
}

// The document lists groups of a name, a schema and cases. A case is a value and its messages.
TEST(Validators, GiveExactMessagesInOrder) {
    const auto document = readTestData("validation-messages.json");
    for (const auto& each : document.array()) {
        const auto& group = each.array();
        const Schema schema(group[1].object());
        for (std::size_t i = 2; i < group.size(); ++i) {
            const auto& parts = group[i].array();
            std::string shown;
            ASSERT_TRUE(appendJSON(shown, parts.at(0)));
            SCOPED_TRACE(text(group[0]) + ": " + shown);
            std::vector<std::string> expected;
            for (std::size_t part = 1; part < parts.size(); ++part)
                expected.push_back(text(parts[part]));
            const auto result = schema.validate(parts.at(0));
            EXPECT_EQ(result.valid(), expected.empty());
            EXPECT_EQ(result.errors().has_value(), !expected.empty());
            EXPECT_EQ(result.errors().value_or(std::vector<std::string>()), expected);

            const auto told = SchemaValidator().validate(parts.at(0), schema);
            EXPECT_EQ(told.isValid, expected.empty());
            const std::vector<ValidationError> errors(expected.begin(), expected.end());
            EXPECT_EQ(told.errors, expected.empty() ? std::nullopt : std::optional(errors));
        }
    }
}

TEST(Schema, ShowsTheMembersOfItsDocument) {
    const Schema schema(
        {{"title", "View"}, {"description", "Of a page"}, {"type", {"string", "bogus", "null"}}});
    EXPECT_EQ(schema.title(), "View");
    EXPECT_EQ(schema.description(), "Of a page");
    EXPECT_TRUE(std::ranges::equal(schema.type(), std::vector{Type::String, Type::Null}));
    EXPECT_EQ(schema.formats().size(), 4U);
    const Schema other({{"title", 5}, {"type", "integer"}});
    EXPECT_EQ(other.title(), std::nullopt);
    EXPECT_TRUE(std::ranges::equal(other.type(), std::vector{Type::Integer}));
}

std::string nameOf(const std::string& file, const JSONValue& group, const JSONValue& each) {
    return file + ": " + text(group) + ": " + text(each);
}

std::set<std::string> intendedDifferences() {
    std::set<std::string> cases;
    const auto reviewed = readTestData("draft4-differences.json");
    for (const auto& [reason, groups] : reviewed.object()) {
        for (const auto& group : groups.array()) {
            const auto& names = group.array();
            for (std::size_t i = 2; i < names.size(); ++i)
                cases.insert(nameOf(text(names[0]), names[1], names[i]));
        }
    }
    return cases;
}

TEST(PublishedSuite, DiffersOnlyWhereReviewed) {
    int count = 0;
    std::set<std::string> differing;
    const auto folder = std::filesystem::path(ZENTARA_JSON_SCHEMA_SUITE) / "draft4";
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
        if (entry.path().extension() != ".json") continue;
        const auto file = std::filesystem::relative(entry.path(), folder).generic_string();
        const auto document = readDocument(entry.path());
        for (const auto& group : document.array()) {
            const auto* const schema = group.at("schema").ifObject();
            if (schema == nullptr) continue;
            for (const auto& each : group.at("tests").array()) {
                ++count;
                const bool valid = validate(each.at("data"), *schema).valid();
                if (valid == each.at("valid").boolean()) continue;
                differing.insert(nameOf(file, group.at("description"), each.at("description")));
            }
        }
    }
    EXPECT_THAT(differing, testing::ContainerEq(intendedDifferences()));
    // The list was reviewed for the suite with this many cases.
    EXPECT_EQ(count, 374);
}

const Format& formatNamed(std::string_view name) {
    const auto formats = standardFormats();
    return *std::find_if(formats.begin(), formats.end(),
                         [name](const Format& format) { return format.name == name; });
}

TEST(FormatDeathTest, NumericStringOfANonStringIsFatal) {
    EXPECT_DEATH((void)validate(10, {{"format", "numericString"}}), "numericString");
}

/// Texts of random pieces of `all`, which spaces separate.
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

// The checks are hand-written for speed. These expressions define them.
TEST(Format, AcceptsLikeItsExpression) {
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
