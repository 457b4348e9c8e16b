#include "schemas/SchemaValidator.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <string>
#include <vector>

#include "TestDocuments.h"
#include "schemas/Schema.h"

namespace zentara {
namespace {

// The document lists groups of a name, a schema and the cases; a case is a value and the messages
// about it, none when it is valid.
TEST(Validators, GiveTheseMessagesInThisOrder) {
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

TEST(Schema, GivesWhatItsDocumentSaysOfIt) {
    const Schema schema(jsonObject(
        R"({"title": "View", "description": "Of a page", "type": ["string", "bogus", "null"]})"));
    EXPECT_EQ(schema.title(), "View");
    EXPECT_EQ(schema.description(), "Of a page");
    EXPECT_TRUE(std::ranges::equal(schema.type(), std::vector{Type::String, Type::Null}));
    EXPECT_EQ(schema.formats().size(), 4U);
    const Schema other({{"title", 5}, {"type", "integer"}});
    EXPECT_EQ(other.title(), std::nullopt);
    EXPECT_TRUE(std::ranges::equal(other.type(), std::vector{Type::Integer}));
}

}  // namespace
}  // namespace zentara
