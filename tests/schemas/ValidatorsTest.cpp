#include "schemas/SchemaValidator.h"

#include <gtest/gtest.h>

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
        for (std::size_t i = 2; i < group.size(); ++i) {
            const auto& parts = group[i].array();
            std::string shown;
            ASSERT_TRUE(appendJSON(shown, parts.at(0)));
            SCOPED_TRACE(text(group[0]) + ": " + shown);
            std::vector<std::string> expected;
            for (std::size_t part = 1; part < parts.size(); ++part)
                expected.push_back(text(parts[part]));
            const auto result = Schema(group[1].object()).validate(parts.at(0));
            EXPECT_EQ(result.valid(), expected.empty());
            EXPECT_EQ(result.errors().has_value(), !expected.empty());
            EXPECT_EQ(result.errors().value_or(std::vector<std::string>()), expected);

            const auto told = SchemaValidator().validate(parts.at(0), group[1].object());
            EXPECT_EQ(told.isValid, expected.empty());
            const std::vector<ValidationError> errors(expected.begin(), expected.end());
            EXPECT_EQ(told.errors, expected.empty() ? std::nullopt : std::optional(errors));
        }
    }
}

}  // namespace
}  // namespace zentara
