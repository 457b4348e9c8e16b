#include "collector/SchemaFolder.h"

#include <gmock/gmock.h>
#include <unistd.h>

#include <fstream>

namespace zentara::collector {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

TEST(SchemaFolderTest, UnusableFilesAreReportedAndTheOthersServed) {
    const auto folder =
        std::filesystem::path(testing::TempDir()) / ("schema-folder-" + std::to_string(getpid()));
    std::filesystem::create_directories(folder / "folder-1.json");
    const auto write = [&](const char* name, const char* text) {
        std::ofstream(folder / name) << text;
    };
    write("page-view-2.json", R"({ "type" : "object", "maximum": 1.5 })");
    write("a-1.json", "{}");
    write("broken-1.json", R"({"type":)");
    write("list-1.json", "[]");
    write("unversioned.json", "{}");
    write("notes.txt", "not a schema");

    const SchemaTable table = readSchemaFolder(folder);
    EXPECT_EQ(table.json, R"({"a-1":{},"page-view-2":{"type":"object","maximum":1.5}})");
    EXPECT_THAT(table.keys, ElementsAre("a-1", "page-view-2"));
    EXPECT_THAT(table.problems,
                ElementsAre(HasSubstr("broken-1.json: not JSON"), HasSubstr("folder-1.json: "),
                            HasSubstr("list-1.json: a schema is a JSON object"),
                            HasSubstr("unversioned.json: the name is not")));
    std::filesystem::remove_all(folder);
}

}  // namespace
}  // namespace zentara::collector
