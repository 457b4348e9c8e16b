#include "schemas/Schema.h"

#include <gmock/gmock.h>

#include "TestDocuments.h"

namespace zentara {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST(Schema, PicksTitleAndDescriptionWhenTheyAreStrings) {
    const Schema schema(jsonObject(R"({"title": "Click", "description": 5})"));
    EXPECT_EQ(schema.title, "Click");
    EXPECT_EQ(schema.description, std::nullopt);
}

TEST(Schema, ListsTheKnownDeclaredTypesInOrder) {
    const auto types = [](const char* type) {
        return *Schema(JSONObject{{"type", json(type)}}).type;
    };
    EXPECT_THAT(types(R"("integer")"), ElementsAre(Type::Integer));
    EXPECT_THAT(types(R"("int")"), IsEmpty());
    EXPECT_THAT(types(R"(["string", "bogus", "null", "string"])"),
                ElementsAre(Type::String, Type::Null, Type::String));
    EXPECT_THAT(types(R"(["string", 1])"), IsEmpty());
    EXPECT_THAT(*Schema(JSONObject()).type, IsEmpty());
}

TEST(Schema, ValidatesAgainstItselfAsTheRoot) {
    const Schema schema(jsonObject(R"({"items": {"$ref": "#/d"}, "d": {"type": "string"}})"));
    EXPECT_TRUE(schema.validate(json(R"(["a"])")).valid());
    EXPECT_THAT(*schema.validate(json("[1]")).errors(), ElementsAre("'1' is not of type 'string'"));
}

}  // namespace
}  // namespace zentara
