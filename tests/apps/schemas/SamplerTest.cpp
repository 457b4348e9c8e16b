#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "RandomSchemas.h"
#include "schemas/Schema.h"
#include "schemas/files/SchemaFile.h"
#include "schemas/values/Random.h"
#include "schemas/values/Sampler.h"

namespace zentara::schemas {

namespace {

/// Judges values as the engine in an application does. False when no invalid value was found.
bool drawsTruly(const JSONObject& document, std::uint64_t seed, int count) {
    const Schema schema(document);
    Sampler sampler(document, seed);
    for (int i = 0; i < count; ++i) {
        const auto value = sampler.valid();
        EXPECT_TRUE(value && schema.validate(*value).valid()) << JSONValue(document).text();
    }
    for (int i = 0; i < count; ++i) {
        const auto broken = sampler.invalid();
        if (!broken) return false;
        EXPECT_EQ(schema.validate(broken->value).errors(),
                  std::vector<std::string>{broken->message});
    }
    return true;
}

}  // namespace

TEST(Sampler, EngineConfirmsEveryValue) {
    std::set<std::uint64_t> unbreakable;
    for (std::uint64_t seed = 0; seed < 200; ++seed)
        if (!drawsTruly(randomSchema(seed), seed, 20)) unbreakable.insert(seed);
    // These accept every object.
    EXPECT_EQ(unbreakable, (std::set<std::uint64_t>{27, 38}));
}

TEST(Sampler, ExampleSchemasHaveSamples) {
    for (const auto& schema :
         readValidSchemas(std::vector<std::string>{ZENTARA_SOURCE_DIR "/examples/schemas"}))
        EXPECT_TRUE(drawsTruly(*schema.document, 7, 50)) << schema.path;
}

/// The whole stream of a seed. Changes only when samples are meant to change.
TEST(Sampler, SameSeedGivesSameBytesEverywhere) {
    std::string text;
    for (std::uint64_t seed = 300; seed < 340; ++seed) {
        const auto document = randomSchema(seed);
        text += JSONValue(document).text();
        Sampler sampler(document, seed);
        for (int i = 0; i < 12; ++i)
            text += sampler.valid()->text();
        for (int i = 0; i < 4; ++i)
            if (const auto broken = sampler.invalid()) text += broken->value.text();
    }
    EXPECT_EQ(hashOf(text), 12828485548393494179U);
}

TEST(Sampler, PropertiesAreObjects) {
    const auto any = JSONValue::parse(R"({"oneOf":[{"type":"null"},{"type":"object"}]})");
    EXPECT_TRUE(Sampler(any.object(), 1).valid().value_or(nullptr).isObject());
    EXPECT_FALSE(Sampler(JSONObject{{"enum", {"a", nullptr}}}, 2).valid());
}

TEST(Sampler, FirstValueIsPleasantToRead) {
    const auto schema = readValidSchemas(
        std::vector<std::string>{ZENTARA_SOURCE_DIR "/examples/schemas/add-to-cart-1.json"});
    EXPECT_EQ(
        Sampler(*schema.at(0).document, 1).valid()->text(),
        R"({"productId":"RR-82279","quantity":10,"unitPrice":64.5,"currency":"EUR","cartTotal":"69.406","variant":{"size":"XS","color":"green"},"origin":"product"})");
}

TEST(Sampler, EachKeywordHasItsInvalidValue) {
    const std::pair<const char*, const char*> cases[] = {
        {R"({"type":"integer"})", "' is not of type 'integer'"},
        {R"({"type":["string","null"]})", " does not meet anyOf validation rules."},
        {R"({"enum":["a",2]})", "' is not a valid enumeration value of '[\"a\", 2]'"},
        {R"({"type":"string","minLength":3})", "Length of string is smaller than minimum length 3"},
        {R"({"type":"string","maxLength":4})", "Length of string is larger than max length 4"},
        {R"({"type":"string","pattern":"^[a-c]{2,}$"})", "' does not match pattern: '^[a-c]{2,}$'"},
        {R"({"type":"string","format":"ipv4"})", "' is not valid IPv4 address."},
        {R"({"type":"string","format":"numericString"})", "' is not valid NumericString format."},
        {R"({"type":"number","minimum":2.5})", "Value is lower than minimum value of 2.5"},
        {R"({"type":"integer","maximum":7,"exclusiveMaximum":true})",
         "Value exceeds maximum value of 7.0"},
        {R"({"type":"integer","multipleOf":4})", " is not a multiple of 4.0"},
        {R"({"type":"array","minItems":2})", "Length of array is smaller than the minimum 2"},
        {R"({"type":"array","maxItems":5})", "Length of array is greater than maximum 5"},
        {R"({"type":"array","items":{"type":"integer"},"uniqueItems":true,"minItems":3})",
         " does not have unique items"},
        {R"({"type":"array","items":[{}],"additionalItems":false})",
         "Additional results are not permitted in this array."},
        {R"({"type":"object","required":["r"]})", "Required properties are missing '[\"r\"]'"},
        {R"({"type":"object","minProperties":2})",
         "Amount of properties is less than the required amount"},
        {R"({"type":"object","maxProperties":3})",
         "Amount of properties is greater than maximum permitted"},
        {R"({"type":"object","additionalProperties":false})",
         "Additional properties are not permitted in this object."},
        {R"({"type":"object","patternProperties":{"^n":{"type":"integer"}}})",
         "' is not of type 'integer'"},
        {R"({"type":"object","properties":{"d":{}},"dependencies":{"d":["e"]}})",
         "'d' is missing it's dependency of 'e'"},
        {R"({"not":{"type":"string"}})", "' does not match 'not' validation."},
        {R"({"oneOf":[{"type":"integer"},{"minimum":3}]})", "2 validates instead `oneOf`."},
        {R"({"allOf":[{"type":"string"},{"maxLength":2}]})",
         "Length of string is larger than max length 2"},
        {R"({"$ref":"#/a","a":{"type":"null"}})", "' is not of type 'null'"},
    };
    for (const auto& [text, expected] : cases) {
        const auto document = JSONValue::parse(text).object();
        Sampler sampler(document, 3, Sampler::Values::any);
        bool isFound = false;
        for (int i = 0; i < 8 && !isFound; ++i) {
            const auto broken = sampler.invalid();
            isFound = broken && broken->message.ends_with(expected);
        }
        EXPECT_TRUE(isFound) << text;
    }
}

TEST(Sampler, ValueThatWouldEndTheProcessIsNotAccepted) {
    for (const auto* const text :
         {R"({"format":"numericString"})", R"({"not":{"format":"numericString"}})",
          R"({"anyOf":[{"format":"numericString"},{}]})"}) {
        const auto document = JSONValue::parse(text).object();
        EXPECT_FALSE(Sampler(document, 1, Sampler::Values::any).accepts(7)) << text;
        EXPECT_EQ(Sampler(document, 1, Sampler::Values::any).accepts("1.5"),
                  std::string_view(text).find("not") == std::string_view::npos)
            << text;
    }
}

TEST(Sampler, HostileSchemasEndInTime) {
    std::string wide = R"({"type":"object","properties":{)";
    for (int i = 0; i < 100'000; ++i)
        wide +=
            (i == 0 ? "\"p" : ",\"p") + std::to_string(i) + R"(":{"type":"string","minLength":9})";
    wide += "}}";
    std::string needed = R"({"required":[)";
    for (int i = 0; i < 15'000; ++i)
        needed += (i == 0 ? "\"p" : ",\"p") + std::to_string(i) + '"';
    needed += "]}";
    std::string deep = "{}";
    for (int i = 0; i < 250; ++i)
        deep = R"({"properties":{"a":)" + deep + R"(},"required":["a"]})";
    // The expected answer: whether there is a value.
    const std::pair<std::string, bool> cases[] = {
        {wide, true},
        {needed, true},
        {deep, true},
        {R"({"type":"object","required":["a"],"properties":{"a":{"$ref":"#"}}})", false},
        {R"({"properties":{"a":{"$ref":"#"},"b":{"$ref":"#"}}})", true},
        {R"({"$ref":"#"})", false},
        {R"({"properties":{"a":{"type":"array","minItems":2000000000}},"required":["a"]})", false},
        {R"({"properties":{"a":{"type":"string","minLength":2000000000}},"required":["a"]})",
         false},
        {R"({"minProperties":2000000000})", false},
        {R"({"required":["a"],"properties":{"a":{"pattern":"^(a+)+(b+)+(c+)+\\z"}}})", true},
        {R"({"required":["a"],"properties":{"a":{"type":"string","pattern":"("}}})", false},
        {R"({"required":["a"],"additionalProperties":false})", false},
        {R"({"enum":[{}],"minProperties":-9223372036854775808})", true},
        {R"({"required":["a"],"properties":{"a":{"enum":[9223372036854775807]}}})", true},
        {R"({"required":["a"],"properties":{"a":{"enum":[-9223372036854775808]}}})", true},
        {R"({"required":["a"],"properties":{"a":{"minimum":5,"maximum":4,"type":"integer"}}})",
         false},
        {R"({"required":["a"],"properties":{"a":{"type":"number","minimum":1e308,"maximum":1.5e308}}})",
         true},
    };
    for (const auto& [text, hasValue] : cases) {
        const auto document = JSONValue::parse(text).object();
        Sampler sampler(document, 2);
        EXPECT_EQ(sampler.valid().has_value(), hasValue) << text.substr(0, 200);
        EXPECT_EQ(sampler.valid().has_value(), hasValue) << text.substr(0, 200);
        (void)sampler.invalid();
    }
}

}  // namespace zentara::schemas
