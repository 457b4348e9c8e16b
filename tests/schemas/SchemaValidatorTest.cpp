#include "schemas/SchemaValidator.h"

#include <gmock/gmock.h>

#include "TestDocuments.h"

namespace zentara {
namespace {

using testing::ElementsAre;

TEST(SchemaValidator, HasNoErrorsExactlyWhenValid) {
    const auto outcome = SchemaValidator().validate(json(R"({"a": 1})"), JSONObject());
    EXPECT_TRUE(outcome.isValid);
    EXPECT_EQ(outcome.errors, std::nullopt);
}

TEST(SchemaValidator, GivesOneErrorPerMessageInOrder) {
    const auto schema = jsonObject(
        R"({"required": ["id"], "format": "event", "properties": {"n": {"minimum": 1}}})");
    const auto outcome = SchemaValidator().validate(json(R"({"n": 0})"), schema);
    EXPECT_FALSE(outcome.isValid);
    ASSERT_TRUE(outcome.errors.has_value());
    EXPECT_THAT(*outcome.errors,
                ElementsAre(ValidationError("'format' validation of 'event' is not yet supported."),
                            ValidationError("Required properties are missing '[\"id\"]'"),
                            ValidationError("Value is lower than minimum value of 1.0")));
}

}  // namespace
}  // namespace zentara
