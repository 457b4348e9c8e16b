#include "schemas/generate/Generators.h"

#include <gtest/gtest.h>

#include "support/Files.h"

namespace zentara::schemas {

constexpr const char* folder = ZENTARA_SOURCE_DIR "/tests/apps/schemas/languages/";

EventType eventOf(const std::string& properties) {
    const auto text = R"({"type": "object", "properties": )" + properties + '}';
    return eventTypeOf(SchemaFile::fromText("shop/clash-1.json", text));
}

TEST(Generators, CodeIsThatOfTheGoldenFiles) {
    const std::vector<std::string> paths{std::string(folder) + "schemas/small-2.json"};
    const auto events = eventTypesOf(readSchemas(paths));
    const JSONObject properties{{"productId", "CL"}, {"class", nullptr}, {"size", "x-large"}};
    struct Case {
        std::vector<GeneratedFile> files;
        std::string call;
    };
    const GeneratedNames inC{.file = "small", .scope = "shop_events_"};
    const GeneratedNames inObjC{.file = "small", .scope = "SHP"};
    const GeneratedNames inPython{.file = "small", .scope = ""};
    const Case cases[] = {
        {generateC(events, inC), callInC(events[0], properties, inC)},
        {generateObjC(events, inObjC), callInObjC(events[0], properties, inObjC)},
        {generatePython(events, inPython), callInPython(events[0], properties, inPython)}};
    for (const auto& [files, call] : cases) {
        auto all = call;
        for (const auto& file : files)
            all += "==== " + file.name + '\n' + file.content;
        const auto golden = folder + ("golden/" + files.back().name) + ".txt";
        EXPECT_EQ(all, test::contentsOf(golden)) << golden;
    }
}

TEST(Generators, NamesThatCannotBeToldApartAreNamed) {
    const auto problemOf = [](auto generate, const EventType& event) -> std::string {
        try {
            static_cast<void>(generate(std::span(&event, 1), GeneratedNames{.scope = "SHP"}));
        } catch (const CommandError& error) {
            return error.what();
        }
        return "none";
    };
    const auto properties = eventOf(R"({"a b": {}, "a-b": {}})");
    const auto values = eventOf(R"({"a": {"enum": ["x y", "x-y"]}})");
    EXPECT_EQ(problemOf(generateC, properties),
              "shop/clash-1.json: \"a b\" and \"a-b\" would both be called a_b");
    EXPECT_EQ(problemOf(generateObjC, properties),
              "shop/clash-1.json: \"a b\" and \"a-b\" would both be called aB");
    EXPECT_EQ(problemOf(generatePython, properties),
              "shop/clash-1.json: \"a b\" and \"a-b\" would both be called a_b");
    EXPECT_EQ(problemOf(generateC, values),
              "shop/clash-1.json: \"x y\" and \"x-y\" would both be called X_Y");
    EXPECT_EQ(problemOf(generateObjC, values),
              "shop/clash-1.json: \"x y\" and \"x-y\" would both be called XY");
    EXPECT_EQ(problemOf(generatePython, values),
              "shop/clash-1.json: \"x y\" and \"x-y\" would both be called X_Y");
}

}  // namespace zentara::schemas
