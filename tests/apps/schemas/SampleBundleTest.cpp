#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "apps/schemas/ProgramRun.h"
#include "dispatch/storage/FileStorage.h"
#include "schemas/Schema.h"
#include "support/ChildProcess.h"
#include "support/RawServer.h"
#include "support/TestHost.h"

namespace zentara::schemas {

using test::contentsOf;
using test::writeTo;

namespace {

struct Folder {
    test::TemporaryDirectory folder;

    Folder() {
        add("cart-2", R"({"required":["n"],"properties":{"n":{"type":"integer","minimum":1}}})");
        add("a-b-1", R"({"title":"\"\\ \u00e9?","properties":{"x":{"enum":["only"]}}})");
    }
    void add(const std::string& name, std::string_view schema) const {
        writeTo(folder.path() / "in" / (name + ".json"), schema);
    }
    [[nodiscard]] ProgramRun run(const std::string& arguments) const {
        return runProgram(arguments, folder.path());
    }
    [[nodiscard]] std::string file(const char* name) const {
        return contentsOf(folder.path() / name);
    }
};

constexpr const char* table = R"({
"a-b-1":{"title":"\"\\ é?","properties":{"x":{"enum":["only"]}}},
"cart-2":{"required":["n"],"properties":{"n":{"type":"integer","minimum":1}}}
})";

}  // namespace

TEST(Sample, LinesAreEventsForTrack) {
    const Folder folder;
    const auto run = folder.run("sample in --count 2 --seed 4");
    EXPECT_EQ(run.exitCode, 0) << run.errors;
    std::istringstream lines(run.output);
    std::string line;
    std::getline(lines, line);
    EXPECT_EQ(line, R"({"schemaId":"a-b","schemaVersion":"1",)"
                    R"("url":"https://www.example.com/a-b","properties":{"x":"only"}})");
    EXPECT_EQ(folder.run("sample in --count 2 --seed 4 --output again").exitCode, 0);
    EXPECT_EQ(folder.file("again"), run.output);
    EXPECT_NE(folder.run("sample in --count 2 --seed 5").output, run.output);
    // The events of a schema do not depend on others.
    EXPECT_TRUE(
        run.output.ends_with(folder.run("sample in/cart-2.json --count 2 --seed 4").output));
}

TEST(Sample, InvalidLinesSayWhatIsExpected) {
    const Folder folder;
    const Schema schema(
        JSONValue::parse(contentsOf(folder.folder.path() / "in/cart-2.json")).object());
    std::istringstream lines(folder.run("sample in/cart-2.json --invalid --count 9").output);
    int count = 0;
    for (std::string line; std::getline(lines, line); ++count) {
        const auto event = JSONValue::parse(line);
        EXPECT_EQ(schema.validate(event.at("properties")).errors(),
                  std::vector<std::string>{std::string(event.at("expected").string())});
    }
    EXPECT_EQ(count, 9);
}

TEST(Sample, SchemaWithoutSamplesIsNamed) {
    const Folder folder;
    folder.add("bad-1", R"({"required":["a"],"properties":{"a":{"format":"date"}}})");
    const auto run = folder.run("sample in");
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_EQ(run.errors,
              "in/bad-1.json: 0 of 1 valid samples were found; "
              "zentara-schemas check may tell why\n");
    EXPECT_EQ(std::count(run.output.begin(), run.output.end(), '\n'), 2);
}

TEST(Bundle, LibraryReadsTheCacheFile) {
    const Folder folder;
    EXPECT_EQ(folder.run("bundle in --output table").exitCode, 0);
    EXPECT_EQ(folder.file("table"), std::string(table) + '\n');
    EXPECT_EQ(folder.run("bundle in/cart-2.json in/a-b-1.json --as cache --output cache").exitCode,
              0);
    EXPECT_EQ(folder.file("cache"), '[' + std::string(table) + "]\n");

    const test::TestHost host;
    writeTo(host.file("zentara-schemas-storage"), folder.file("cache"));
    const auto loaded = SchemasStorage(systemFiles(), "zentara-schemas-storage").load();
    ASSERT_TRUE(loaded.ok());
    EXPECT_EQ(*loaded, std::vector{JSONValue::parse(table).object()});
}

TEST(Bundle, RefusesWhatTheLibraryWouldNotRead) {
    const auto nested = [](int levels) {
        std::string text = "{}";
        for (int level = 1; level < levels; ++level)
            text = "{\"a\":" + text + '}';
        return text;
    };
    struct Case {
        std::string schema, arguments, error;
    };
    const Case cases[] = {
        {nested(511), "", ""},
        {nested(511), "--as cache", "in/x-1.json: a number is too large, or it is nested too deep"},
        {nested(510), "--as cache", ""},
        {R"({"maximum":1e999})", "",
         "in/x-1.json: a number is too large, or it is nested too deep"},
        {"[]", "", "in/x-1.json: is no schema; zentara-schemas check tells where and why"},
        {"{}", "--as header --scope a:b", "\"a:b\" cannot be a namespace of C++"},
        {"{}", "--as header --scope a::1b", "\"a::1b\" cannot be a namespace of C++"},
        {"{}", "--as header --scope a::", "\"a::\" cannot be a namespace of C++"},
        {"{}", "--as header --scope a::class", "\"a::class\" cannot be a namespace of C++"},
        {"{}", "--as header --scope a_1::b", ""},
    };
    for (const auto& each : cases) {
        const Folder folder;
        folder.add("x-1", each.schema);
        const auto run = folder.run("bundle in --output out " + each.arguments);
        EXPECT_EQ(run.errors, each.error.empty() ? "" : "zentara-schemas: " + each.error + '\n');
        EXPECT_EQ(run.exitCode, each.error.empty() ? 0 : 2);
        EXPECT_EQ(folder.file("out").empty(), !each.error.empty());
    }
}

TEST(Bundle, SchemaWithFaultsNeedsForce) {
    const Folder folder;
    folder.add("x-1", R"({"format":"date"})");
    const auto run = folder.run("bundle in --output out");
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_TRUE(run.errors.starts_with("in/x-1.json:1:2: fault ZS110: ")) << run.errors;
    EXPECT_TRUE(run.errors.ends_with("\n1 schema: 1 fault, 0 warnings\n")) << run.errors;
    EXPECT_EQ(folder.file("out"), "");
    EXPECT_EQ(folder.run("bundle in --output out --force").exitCode, 0);
    EXPECT_TRUE(folder.file("out").ends_with("\"x-1\":{\"format\":\"date\"}\n}\n"));
}

TEST(Bundle, EmbeddedTableServesTheFirstStart) {
    // Takes connections and never answers.
    const test::RawServer network(test::RawServer::silence());
    const test::TemporaryDirectory documents;
    test::ChildProcess host({ZENTARA_EMBEDDED_HOST, documents.path(), network.url().string(),
                             "search", R"({"term":"boots","results":3})", "search",
                             R"({"term":"boots","results":-3})", "unknown", "{}"});
    EXPECT_EQ(host.readLines(),
              (std::vector<std::string>{
                  "queued",
                  "Data not valid for specified Schema. Error validating search-1 schema: "
                  "Value is lower than minimum value of 0.0",
                  "Unknown error"}));
    EXPECT_EQ(host.wait(), 0);
    EXPECT_NE(contentsOf(documents.path() / "events-storage").find("boots"), std::string::npos);
}

}  // namespace zentara::schemas
