#include "schemas/SchemaValidator.h"

#include <gmock/gmock.h>

#include "TestDocuments.h"

namespace zentara {
namespace {

TEST(SchemaValidator, GivesOneErrorPerMessageAndNoneWhenValid) {
    const auto schema = jsonObject(R"({"required": ["id"], "properties": {"n": {"minimum": 1}}})");
    const auto good = SchemaValidator().validate(json(R"({"id": 5})"), schema);
    EXPECT_TRUE(good.isValid);
    EXPECT_EQ(good.errors, std::nullopt);

    const auto bad = SchemaValidator().validate(json(R"({"n": 0})"), schema);
    EXPECT_FALSE(bad.isValid);
    ASSERT_TRUE(bad.errors.has_value());
    EXPECT_THAT(*bad.errors,
                testing::ElementsAre(ValidationError("Required properties are missing '[\"id\"]'"),
                                     ValidationError("Value is lower than minimum value of 1.0")));
}

}  // namespace
}  // namespace zentara
