#include "schemas/types/Names.h"

#include <gtest/gtest.h>

#include "schemas/files/SchemaFile.h"

namespace zentara::schemas {

TEST(Names, WordsAndTheirIdentifiers) {
    struct Case {
        std::string_view text;
        std::vector<std::string> words;
        std::string_view lowerCamel, upperCamel, lowerSnake, upperSnake;
    };
    const Case cases[] = {
        {"productId", {"product", "id"}, "productId", "ProductId", "product_id", "PRODUCT_ID"},
        {"product-id", {"product", "id"}, "productId", "ProductId", "product_id", "PRODUCT_ID"},
        {"PRODUCT_ID", {"product", "id"}, "productId", "ProductId", "product_id", "PRODUCT_ID"},
        {"HTTPCode2", {"http", "code2"}, "httpCode2", "HttpCode2", "http_code2", "HTTP_CODE2"},
        {"XS", {"xs"}, "xs", "Xs", "xs", "XS"},
        {"v2API", {"v2", "api"}, "v2Api", "V2Api", "v2_api", "V2_API"},
        {"3d view", {"3d", "view"}, "_3dView", "_3dView", "_3d_view", "_3D_VIEW"},
        {"1.10", {"1", "10"}, "_1_10", "_1_10", "_1_10", "_1_10"},
        {"gr\xC3\xB6\xC3\x9F"
         "e",
         {"gr", "e"},
         "grE",
         "GrE",
         "gr_e",
         "GR_E"},
        {"\xE4\xBA\xBA", {}, "value", "Value", "value", "VALUE"},
        {"", {}, "value", "Value", "value", "VALUE"},
    };
    for (const auto& each : cases) {
        SCOPED_TRACE(each.text);
        EXPECT_EQ(wordsOf(each.text), each.words);
        EXPECT_EQ(identifier(each.words, NameStyle::lowerCamel), each.lowerCamel);
        EXPECT_EQ(identifier(each.words, NameStyle::upperCamel), each.upperCamel);
        EXPECT_EQ(identifier(each.words, NameStyle::lowerSnake), each.lowerSnake);
        EXPECT_EQ(identifier(each.words, NameStyle::upperSnake), each.upperSnake);
    }
}

TEST(Names, ScopeTellsNamesApart) {
    constexpr std::string_view reserved[] = {"class", "encode"};
    Scope scope("order-1.json", reserved);
    const auto add = [&](std::string_view original) {
        return scope.add(original, wordsOf(original), NameStyle::lowerCamel);
    };
    EXPECT_EQ(add("class"), "class_");
    EXPECT_EQ(add("a-b"), "aB");
    EXPECT_EQ(add("a-b"), "aB");
    EXPECT_EQ(add("\xE4\xBA\xBA"), "value");
    const auto messageFor = [&](std::string_view original) -> std::string {
        try {
            return add(original);
        } catch (const CommandError& error) {
            return error.what();
        }
    };
    EXPECT_EQ(messageFor("a_b"), "order-1.json: \"a-b\" and \"a_b\" would both be called aB");
    EXPECT_EQ(messageFor("Class"),
              "order-1.json: \"class\" and \"Class\" would both be called class_");
    EXPECT_EQ(messageFor(""), "order-1.json: \"\xE4\xBA\xBA\" and \"\" would both be called value");
}

}  // namespace zentara::schemas
