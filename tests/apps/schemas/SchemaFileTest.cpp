#include <gtest/gtest.h>

#include <string>

#include "schemas/files/SchemaFile.h"

namespace zentara::schemas {

TEST(SchemaFile, VersionBeginsBehindTheLastDash) {
    EXPECT_EQ(schemaNamed("add-to-cart-12"), (SchemaName{"add-to-cart", "12"}));
    for (const auto* const text : {"", "-", "a", "a-", "-1"})
        EXPECT_FALSE(schemaNamed(text)) << text;
}

TEST(SchemaFile, DocumentIsWhatTheLibraryReads) {
    const auto file = SchemaFile::fromText("folder/a-1.json", "\xEF\xBB\xBF{\"title\": \"A\"}");
    EXPECT_EQ(file.name, (SchemaName{"a", "1"}));
    EXPECT_EQ(file.document, JSONObject({{"title", "A"}}));
    for (const std::string text : {"", "[]", "{", "{\"a\":\"\xFF\"}"})
        EXPECT_FALSE(SchemaFile::fromText("a-1.json", text).document) << text;
    const auto nested = [](int levels) {
        std::string text = "{}";
        for (int level = 1; level < levels; ++level)
            text = "{\"a\":" + text + '}';
        return SchemaFile::fromText("a-1.json", text).document.has_value();
    };
    EXPECT_TRUE(nested(511));
    EXPECT_FALSE(nested(512));
}

}  // namespace zentara::schemas
