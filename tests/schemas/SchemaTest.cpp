#include "schemas/Schema.h"

#include <gmock/gmock.h>

#include "TestDocuments.h"

namespace zentara {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST(Schema, PicksWhatDescribesIt) {
    const Schema schema(jsonObject(R"({"title": "Click", "description": 5})"));
    EXPECT_EQ(schema.title, "Click");
    EXPECT_EQ(schema.description, std::nullopt);
    EXPECT_THAT(*schema.type, IsEmpty());
    const auto types = [](const char* type) {
        return *Schema(JSONObject{{"type", json(type)}}).type;
    };
    EXPECT_THAT(types(R"("integer")"), ElementsAre(Type::Integer));
    EXPECT_THAT(types(R"(["string", "bogus", "null", "string"])"),
                ElementsAre(Type::String, Type::Null, Type::String));
    EXPECT_THAT(types(R"(["string", 1])"), IsEmpty());
}

}  // namespace
}  // namespace zentara
