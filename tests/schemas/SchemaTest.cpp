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
    EXPECT_EQ(schema.schema, jsonObject(R"({"title": "Click", "description": 5})"));
}

TEST(Schema, ListsTheKnownDeclaredTypesInOrder) {
    const auto types = [](const char* document) {
        return *Schema(jsonObject(document)).type;
    };
    EXPECT_THAT(types(R"({"type": "integer"})"), ElementsAre(Type::Integer));
    EXPECT_THAT(types(R"({"type": "int"})"), IsEmpty());
    EXPECT_THAT(types(R"({"type": ["string", "bogus", "null", "string"]})"),
                ElementsAre(Type::String, Type::Null, Type::String));
    EXPECT_THAT(types(R"({"type": ["string", 1]})"), IsEmpty());
    EXPECT_THAT(types("{}"), IsEmpty());
}

TEST(Schema, KnowsFourFormats) {
    std::vector<std::string_view> names;
    for (const auto& format : Schema(JSONObject()).formats)
        names.push_back(format.name);
    EXPECT_THAT(names, ElementsAre("ipv4", "ipv6", "uri", "numericString"));
}

TEST(Schema, ValidatesAgainstItselfAsTheRoot) {
    const Schema schema(jsonObject(R"({"items": {"$ref": "#/d"}, "d": {"type": "string"}})"));
    EXPECT_TRUE(schema.validate(json(R"(["a"])")).valid());
    EXPECT_THAT(*schema.validate(json("[1]")).errors(), ElementsAre("'1' is not of type 'string'"));
}

TEST(Type, TakesItsSevenNamesLetterByLetter) {
    for (const char* name : {"object", "array", "string", "integer", "number", "boolean", "null"}) {
        const auto type = typeFromRawValue(name);
        ASSERT_TRUE(type.has_value()) << name;
        EXPECT_EQ(rawValue(*type), name);
    }
    EXPECT_EQ(typeFromRawValue("String"), std::nullopt);
    EXPECT_EQ(typeFromRawValue(""), std::nullopt);
}

}  // namespace
}  // namespace zentara
