#include <gtest/gtest.h>

#include "apps/schemas/ProgramRun.h"

namespace zentara::schemas {

using test::contentsOf;
using test::namesIn;
using test::writeTo;

namespace {

/// A folder of schemas, for the tests.
struct Schemas {
    test::TemporaryDirectory folder;

    explicit Schemas(std::string_view addToCart = R"({"properties":{"size":{"enum":["S"]}}})") {
        std::filesystem::create_directory(folder.path() / "in");
        writeTo(folder.path() / "in/add-to-cart-1.json", addToCart);
    }
    [[nodiscard]] ProgramRun generate(const std::string& arguments) const {
        return runProgram("generate --schemas in --output-dir out/deep " + arguments,
                          folder.path());
    }
    [[nodiscard]] std::set<std::string> written() const {
        const auto path = folder.path() / "out/deep";
        return std::filesystem::exists(path) ? namesIn(path) : std::set<std::string>();
    }
};

}  // namespace

TEST(Generate, WritesTheFilesOfTheLanguage) {
    struct Case {
        std::string arguments;
        std::set<std::string> files;
        std::string file, line;
    };
    const Case cases[] = {
        {"--language cpp --scope shop::events --name typed",
         {"typed.h"},
         "typed.h",
         "\nnamespace shop::events {\n"},
        {"--language cpp", {"events.h"}, "events.h", "\nnamespace events {\n"},
        {"--language c --scope shop::events --name typed",
         {"typed.h"},
         "typed.h",
         "shop_events_add_to_cart_size;\n"},
        {"--language c --scope shop_", {"events.h"}, "events.h", "} shop_add_to_cart_size;\n"},
        {"--language objc --scope SHP",
         {"events.h", "events.m"},
         "events.h",
         "@interface SHPAddToCart "},
        {"--language python", {"events.py"}, "events.py", "\nclass AddToCart"},
    };
    for (const auto& each : cases) {
        const Schemas schemas;
        const auto run = schemas.generate(each.arguments);
        EXPECT_EQ(run.exitCode, 0) << run.errors;
        EXPECT_EQ(run.output + run.errors, "");
        EXPECT_EQ(schemas.written(), each.files);
        const auto file = schemas.folder.path() / "out/deep" / each.file;
        EXPECT_NE(contentsOf(file).find(each.line), std::string::npos) << each.line;
        const auto time = std::filesystem::last_write_time(file);
        EXPECT_EQ(schemas.generate(each.arguments).exitCode, 0);
        EXPECT_EQ(std::filesystem::last_write_time(file), time) << "touched without a change";
    }
}

TEST(Generate, RefusesWhatItCannotGenerate) {
    struct Case {
        std::string arguments, schema;
        int exitCode;
        std::string error;  ///< or its beginning
    };
    const std::string program = "zentara-schemas: ";
    const std::string file = "in/add-to-cart-1.json";
    const std::string valid = "{}";
    const Case cases[] = {
        {"--language c --scope 'a b'", valid, 2,
         program + "--scope: a b is no name such as shop::events\n"},
        {"--language objc --scope a::b", valid, 2,
         program + "--scope: a::b is no prefix such as SHP\n"},
        {"--language python --scope a", valid, 2,
         program + "--scope: a module of Python has no scope; --name names it\n"},
        {"--language c --name a/b", valid, 2, program + "--name: a/b is no identifier\n"},
        {"--language cpp", "[", 1, file + ":1:2: fault ZS101: "},
        {"--language cpp", R"({"properties":{"a":{"format":"date"}}})", 1,
         file + ":1:21: fault ZS110: "},
        {"--language cpp", R"({"properties":{"a-b":{"type":"string"},"a_b":{"type":"string"}}})", 2,
         program + file + ": \"a-b\" and \"a_b\" would both be called aB\n"},
        {"--language cpp", R"({"properties":{"a":{"enum":["S","s"]}}})", 2,
         program + file + ": \"S\" and \"s\" would both be called s\n"},
    };
    for (const auto& each : cases) {
        const Schemas schemas(each.schema);
        const auto run = schemas.generate(each.arguments);
        EXPECT_EQ(run.exitCode, each.exitCode) << each.arguments;
        EXPECT_EQ(run.output, "");
        EXPECT_EQ(run.errors.substr(0, each.error.size()), each.error);
        EXPECT_EQ(schemas.written(), std::set<std::string>());
    }
    const Schemas blocked;
    writeTo(blocked.folder.path() / "out", "a file");
    EXPECT_EQ(blocked.generate("--language c").errors,
              "zentara-schemas: out/deep: cannot be made: Not a directory\n");
    const Schemas unwritable;
    std::filesystem::create_directories(unwritable.folder.path() / "out/deep/events.h");
    EXPECT_EQ(unwritable.generate("--language c").errors,
              "zentara-schemas: out/deep/events.h: cannot be written: Is a directory\n");
    EXPECT_EQ(unwritable.written(), std::set<std::string>{"events.h"});
}

}  // namespace zentara::schemas
