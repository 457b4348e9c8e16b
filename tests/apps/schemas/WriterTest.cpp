#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>

#include "schemas/generate/Writer.h"

namespace zentara::schemas {

using testing::ElementsAre;

TEST(Writer, HostileTextStaysInsideTheComment) {
    EXPECT_THAT(
        commentLines("C:\\dir\\\nwhat\?\?/\n\nbell\a tab\tend \xE2\x80\xAE\xE2\x80\xA8x\n\n", 40),
        ElementsAre("C:\\dir\\.", "what\?\?/.", "", "bell tab end x"));
    EXPECT_THAT(commentLines("one two three", 7), ElementsAre("one two", "three"));
    EXPECT_THAT(commentLines("\xFF", 7), ElementsAre("\xEF\xBF\xBD"));
}

TEST(Writer, LiteralsKeepEveryCharacter) {
    const std::string text(
        "\"\\\n\?\?\?\0"
        "7caf\xC3\xA9\xE2\x80\xAE",
        16);
    EXPECT_EQ(literalInC(text), R"("\"\\\n?\?\?\0007café\342\200\256")");
    EXPECT_EQ(literalInPython(text), R"("\"\\\n???\x007café\u202e")");
    EXPECT_EQ(integerInC(std::numeric_limits<std::int64_t>::min()), "INT64_MIN");
    EXPECT_EQ(numberText(64), "64.0");
}

TEST(Writer, CommentTellsLimitsAndName) {
    Property property{.key = "unit price", .type = {}, .isRequired = true, .description = "Net."};
    property.type.shape = Shape::number;
    property.type.minimum = 0;
    property.type.exclusiveMinimum = true;
    property.type.maximum = 99.5;
    property.type.multipleOf = 0.5;
    EXPECT_EQ(commentOf(property, "unit_price"),
              "Net.\nMore than 0. At most 99.5. A multiple of 0.5.\nIn JSON: \"unit price\"");
    property.key = "unit-price";
    property.type = {};
    property.type.whyJSON = "\"not\" is no type.";
    EXPECT_EQ(commentOf(property, "unit_price"), "Net.\nJSON: \"not\" is no type.");
    ValueType text;
    text.minLength = 3;
    text.maxLength = 5;
    text.patterns = {"^a"};
    text.format = "uri";
    EXPECT_EQ(limitsOf(text), "3 to 5 characters. Has the format uri.\nPattern: ^a");
    text.minLength = 5;
    ValueType list;
    list.minItems = 1;
    list.uniqueItems = true;
    list.element = std::make_shared<ValueType>(text);
    EXPECT_EQ(limitsOf(list),
              "At least 1 elements. No element twice. Each element: Exactly 5 "
              "characters. Has the format uri.\nPattern: ^a");
}

}  // namespace zentara::schemas
