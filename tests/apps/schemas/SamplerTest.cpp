#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <set>
#include <string>

#include "RandomSchemas.h"
#include "schemas/Schema.h"
#include "schemas/files/SchemaFile.h"
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

}  // namespace zentara::schemas
