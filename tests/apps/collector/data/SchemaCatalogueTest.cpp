#include "collector/data/SchemaCatalogue.h"

#include <gmock/gmock.h>

#include <atomic>
#include <fstream>

#include "json/JSONText.h"
#include "schemas/Schema.h"
#include "schemas/check/CheckedSchema.h"
#include "support/Files.h"
#include "support/WaitFor.h"

namespace zentara::collector {
namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using namespace std::chrono_literals;
namespace fs = std::filesystem;

class SchemaCatalogueTest : public testing::Test {
  protected:
    void write(const std::string& name, const std::string& text) const {
        std::ofstream(folder / name, std::ios::binary) << text;
    }

    const test::TemporaryDirectory directory;
    const fs::path folder = directory.path();
    std::vector<std::string> leftOut;
    std::vector<std::string> found;
    const SchemaCatalogue::Report report = [this](const std::string& text) {
        constexpr std::string_view start = "schema left out: ";
        if (text.starts_with(start)) {
            leftOut.push_back(text.substr(start.size()));
        } else {
            found.push_back(text);
        }
    };
};

std::string nested(std::size_t levels) {
    std::string text;
    for (std::size_t i = 1; i < levels; ++i)
        text += R"({"a":)";
    return text + "{}" + std::string(levels - 1, '}');
}

TEST_F(SchemaCatalogueTest, UnusableFilesAreReportedAndOthersServed) {
    const std::tuple<const char*, std::string, const char*> unusable[] = {
        {"broken-1.json", R"({"type":)", "not JSON: "},
        {"deeper-1.json", nested(512), "nested more than 511 levels deep"},
        {"large-1.json", R"({"maximum":1e309})", "a number is beyond what a double holds"},
        {"latin-1.json", "{\"a\":\"\xe4\"}", "not JSON: "},
        {"list-1.json", "[]", "a schema is a JSON object"},
        {"twice-1.json", R"({"a":{"b":1,"c":[{"b":2}],"b":3}})",
         "the key \"b\" occurs twice in one object"},
        {"unversioned.json", "{}", "the name is not {id}-{version}.json"},
        {"v-1.json", "", "is not a file"},
        {"w-1.json", "", "cannot be read: No such file or directory"},
    };
    fs::create_directories(folder / "v-1.json");
    fs::create_symlink("nowhere", folder / "w-1.json");
    std::vector<testing::Matcher<std::string>> problems;
    for (const auto& [name, text, problem] : unusable) {
        if (!text.empty()) write(name, text);
        problems.push_back(HasSubstr("/" + std::string(name) + ": " + problem));
    }
    write("a-1.json", "\xEF\xBB\xBF{}");
    write("deep-1.json", nested(511));
    write("page-view-2.json", R"({ "type" : "object", "maximum": 1.5 })");
    write("notes.txt", "not a schema");
    write(".a-1.json", "not saved yet");

    SchemaCatalogue catalogue(folder, report);
    const auto schemas = catalogue.current();
    EXPECT_EQ(schemas->json, R"({"a-1":{},"deep-1":)" + nested(511) +
                                 R"(,"page-view-2":{"type":"object","maximum":1.5}})");
    EXPECT_FALSE(parseJSON(schemas->json).error()) << "the library reads the whole table";
    EXPECT_THAT(schemas->problems, testing::ElementsAreArray(problems));
    EXPECT_EQ(leftOut, schemas->problems);
}

TEST_F(SchemaCatalogueTest, TableRefreshesAtOnceArrivalsSoon) {
    std::chrono::steady_clock::time_point now{};
    write("a-1.json", R"({"type":"number"})");
    SchemaCatalogue catalogue(folder, report, [&now] { return now; });
    const auto first = catalogue.current();

    write("a-1.json", R"({"type":"object"})");
    write("b-1.json", "{}");
    now += 99ms;
    EXPECT_EQ(catalogue.current(), first);
    now += 1ms;
    EXPECT_EQ(catalogue.current()->json, R"({"a-1":{"type":"object"},"b-1":{}})");
    EXPECT_EQ(first->json, R"({"a-1":{"type":"number"}})");

    fs::remove(folder / "a-1.json");
    EXPECT_EQ(catalogue.refreshed()->json, R"({"b-1":{}})");
    EXPECT_EQ(catalogue.refreshed(), catalogue.refreshed());
}

TEST_F(SchemaCatalogueTest, ProblemIsReportedOncePerChange) {
    write("a-1.json", "{}");
    SchemaCatalogue catalogue(folder, report);
    for (const char* text : {"[]", "{}", "{"}) {
        write("a-1.json", text);
        (void)catalogue.refreshed();
        EXPECT_EQ(catalogue.refreshed()->schemas.size(), std::string_view(text) == "{}" ? 1U : 0U);
    }
    write("a-1.json", "{}");
    (void)catalogue.refreshed();
    // A folder that exists and cannot be opened leaves the table as it was.
    const auto aside = fs::path(folder.string() + "-aside");
    fs::rename(folder, aside);
    fs::create_symlink(folder, folder);
    EXPECT_EQ(catalogue.refreshed()->json, R"({"a-1":{}})");
    fs::remove(folder);
    EXPECT_EQ(catalogue.refreshed()->json, "{}");
    (void)catalogue.refreshed();
    EXPECT_THAT(leftOut,
                ElementsAre(HasSubstr("JSON object"), HasSubstr("not JSON"),
                            EndsWith("Too many levels of symbolic links"),
                            folder.string() + ": cannot be read: No such file or directory"));
}

TEST_F(SchemaCatalogueTest, FindingIsReportedOncePerChange) {
    const std::string fault = R"({"properties":{"a":{"format":"none"}}})";
    const auto line = (folder / "a-1.json").string() + ":1:21: fault ZS110: ";
    write("a-1.json", fault);
    SchemaCatalogue catalogue(folder, report);
    const auto first = catalogue.refreshed();
    EXPECT_EQ(first->schemas.size(), 1U);
    EXPECT_EQ(first->faults, 1U);
    ASSERT_THAT(found, ElementsAre(testing::StartsWith(line)));

    write("a-1.json", "\n" + fault);  // at another place now
    const auto second = catalogue.refreshed();
    EXPECT_EQ(second->revision, first->revision + 1);
    EXPECT_EQ(second->checked.at(0)->findings.at(0).position.line, 2U);
    EXPECT_EQ(catalogue.refreshed(), second);
    EXPECT_EQ(found.size(), 1U);

    write("a-1.json", "{}");
    EXPECT_EQ(catalogue.refreshed()->faults, 0U);
    write("a-1.json", fault);
    EXPECT_EQ(catalogue.refreshed()->faults, 1U);
    EXPECT_EQ(found.size(), 2U);
}

TEST_F(SchemaCatalogueTest, BundleIsServedLikeItsFiles) {
    const auto bundle = folder / "bundle";
    write("bundle", R"({"b-1": {"title" : "]}\"\\"},
 "a/~-2": {"properties": {"a": {"format": "none"}}},
 "c-1": [], "d-1": 5, "a/~-2": {}, "e": {}, "f-1": {"g": 1, "g": 2}})");
    SchemaCatalogue catalogue(bundle, report);
    const auto schemas = catalogue.refreshed();
    EXPECT_EQ(schemas->json,
              R"({"a/~-2":{"properties":{"a":{"format":"none"}}},"b-1":{"title":"]}\"\\"}})");
    const auto path = bundle.string();
    EXPECT_THAT(schemas->problems,
                ElementsAre(path + ": the key \"a/~-2\" occurs twice",
                            path + ": c-1: a schema is a JSON object",
                            path + ": d-1: a schema is a JSON object",
                            path + ": the key \"e\" is not {id}-{version}",
                            path + ": f-1: the key \"g\" occurs twice in one object"));
    EXPECT_THAT(found, testing::Contains(testing::StartsWith(path + ":2:33: fault ZS110: ")));
    EXPECT_EQ(catalogue.refreshed(), schemas);

    write("bundle", R"({"a-1": {}})");
    EXPECT_EQ(catalogue.refreshed()->json, R"({"a-1":{}})");
    for (const auto& [text, problem] : {std::pair(R"({"a-1": {})", ": not JSON"),
                                        std::pair("[]", ": a bundle is a JSON object")}) {
        write("bundle", text);
        EXPECT_EQ(catalogue.refreshed()->json, "{}");
        EXPECT_THAT(catalogue.refreshed()->problems, ElementsAre(HasSubstr(path + problem)));
    }
    fs::remove(bundle);
    EXPECT_THAT(catalogue.refreshed()->problems,
                ElementsAre(EndsWith("No such file or directory")));
    fs::create_directory(bundle);
    write("bundle/a-1.json", "{}");
    EXPECT_EQ(catalogue.refreshed()->json, R"({"a-1":{}})");
}

TEST_F(SchemaCatalogueTest, ChangingFolderGivesWholeTables) {
    SchemaCatalogue catalogue(folder);
    std::atomic<int> changes = 0;
    test::inThreads(4, [&](int thread) {
        for (; thread == 0 && changes < 100; ++changes) {
            // Replaced in one step.
            write(".new", R"({"title":")" + std::to_string(changes) + "\"}");
            fs::rename(folder / ".new", folder / ("s-" + std::to_string(changes % 7) + ".json"));
        }
        while (changes < 100) {
            const auto now = catalogue.refreshed();
            EXPECT_EQ(parseJSON(now->json)->object().size(), now->schemas.size());
        }
    });
    EXPECT_EQ(catalogue.refreshed()->schemas.size(), 7U);
    EXPECT_EQ(catalogue.current()->find("s-1")->title(), "99");
}

}  // namespace
}  // namespace zentara::collector
