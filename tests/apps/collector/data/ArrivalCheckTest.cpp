#include "collector/data/ArrivalCheck.h"

#include <gmock/gmock.h>

#include <zentara/JSONValue.h>

#include "schemas/Schema.h"

namespace zentara::collector {
namespace {

std::vector<Finding> findings(const JSONValue& properties, const JSONValue& schema) {
    return checkProperties(properties, Schema(schema.object(), arrivalFormats()));
}

TEST(ArrivalCheckTest, MessagesPointAtTheirValues) {
    const std::tuple<const char*, const char*, std::vector<std::string>> cases[] = {
        // The same message in several places, and from around them.
        {R"({"properties":{"a":{"type":"string"},"b":{"type":"string"},
                           "c":{"properties":{"d":{"type":"string"}}}}})",
         R"({"b":1,"a":1,"c":{"d":1}})",
         {"/a", "/b", "/c/d"}},
        {R"({"items":[{"type":"string"}],"additionalItems":false})", "[1,2,3]", {"/0", "/1", "/2"}},
        {R"({"patternProperties":{"^x":{"type":"string"}},"additionalProperties":{"minimum":9}})",
         R"({"x1":1,"y":2})",
         {"/x1", "/y"}},
        // Takes the place of what was found in the members before.
        {R"({"properties":{"a":{"type":"string"}},"patternProperties":{"(":{}}})",
         R"({"a":1})",
         {""}},
        {R"({"properties":{"a":{"$ref":"#/definitions/x"}},
             "definitions":{"x":{"properties":{"b":{"$ref":"#/definitions/y"}}},
                            "y":{"items":{"enum":[1]}}}})",
         R"({"a":{"b":[1,2]}})",
         {"/a/b/1"}},
        {R"({"properties":{"a/b~c":{"type":"string"},"":{"type":"string"}}})",
         R"({"a/b~c":1,"":2})",
         {"/a~1b~0c", "/"}},
    };
    for (const auto& [schemaText, propertiesText, expected] : cases) {
        const auto schema = JSONValue::parse(schemaText);
        const auto properties = JSONValue::parse(propertiesText);
        std::vector<std::string> paths;
        std::vector<std::string> messages;
        for (const auto& finding : findings(properties, schema)) {
            paths.push_back(finding.path);
            messages.push_back(finding.message);
        }
        EXPECT_EQ(paths, expected) << schemaText;
        EXPECT_EQ(messages, validate(properties, schema.object()).errors()) << schemaText;
    }
}

TEST(ArrivalCheckTest, FatalFormatIsAMessage) {
    const auto schema = JSONValue::parse(R"({"properties":{"a":{"format":"numericString"},
                                                "b":{"format":"numericString"}}})");
    EXPECT_THAT(findings(JSONValue::parse(R"({"a":5,"b":"1.5"})"), schema),
                testing::ElementsAre(Finding{"/a", "'5' is not valid NumericString format."}));
}

TEST(ArrivalCheckTest, HostileValuesAndSchemasGiveBoundedMessages) {
    // Many messages below a long name.
    const std::string name(900, 'n');
    std::string elements = "1";
    for (int i = 0; i < 5000; ++i)
        elements += ",1";
    const auto schema = JSONValue::parse(R"({"additionalProperties":{"items":{"type":"string"}}})");
    const auto many = findings(JSONValue::parse("{\"" + name + "\":[" + elements + "]}"), schema);
    ASSERT_EQ(many.size(), 1001U);
    EXPECT_EQ(many[999].path, "/" + name + "/999");
    EXPECT_EQ(many[1000], (Finding{"", "and 4001 more"}));

    // Deep, below names of which the second makes the path too long.
    const std::string longName(1000, 'n');
    const auto deepSchema = JSONValue::parse(
        R"({"additionalProperties":{"additionalProperties":{"items":{"type":"string"}}}})");
    const auto deep =
        findings(JSONValue::parse("{\"" + longName + "\":{\"" + longName + "\":[1]}}"), deepSchema);
    ASSERT_EQ(deep.size(), 1U);
    EXPECT_EQ(deep[0].path, "/" + longName);
}

}  // namespace
}  // namespace zentara::collector
