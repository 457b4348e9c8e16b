#include "dispatch/FileStorage.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cmath>

#include "dispatch/SchemasStorage.h"
#include "identity/Token.h"
#include "support/Files.h"
#include "support/TestHost.h"

namespace zentara {
namespace {

using namespace test;

class FileStorageTest : public testing::Test {
  protected:
    TestHost host_;
    FileStorage<Token> storage_{"tokens"};
};

unsigned modeOf(const std::filesystem::path& path) {
    struct stat status {};
    ::stat(path.c_str(), &status);
    return status.st_mode & 0777U;
}

TEST_F(FileStorageTest, KeepsAListInACompactFileForThisUserOnly) {
    EXPECT_TRUE(storage_.load().records.empty());
    EXPECT_FALSE(storage_.load().found);
    EXPECT_FALSE(std::filesystem::exists(host_.documents())) << "reading makes nothing";

    const Token tokens[] = {{"a", "b/c", "d"}, {"e", "f", "g"}};
    ASSERT_EQ(storage_.save(tokens), nullptr);
    EXPECT_EQ(contentsOf(host_.file("tokens")), R"([{"type":"a","value":"b/c","publicValue":"d"},)"
                                                R"({"type":"e","value":"f","publicValue":"g"}])");
    EXPECT_EQ(storage_.load().records, std::vector(std::begin(tokens), std::end(tokens)));
    EXPECT_EQ(modeOf(host_.file("tokens")), 0600U);
    EXPECT_EQ(modeOf(host_.documents()), 0700U);
    EXPECT_EQ(namesIn(host_.documents()), std::set<std::string>{"tokens"});

    ASSERT_EQ(storage_.save({}), nullptr);
    EXPECT_EQ(contentsOf(host_.file("tokens")), "[]");
    EXPECT_TRUE(storage_.load().found);
}

TEST_F(FileStorageTest, ReadsWhatItCanAndTellsWhatItCannot) {
    struct Case {
        const char* file;
        std::size_t records;
        bool fails;
    };
    const Case cases[] = {
        {R"([{"type":"a","value":"b","publicValue":"c"},{"type":1},{"type":"d","value":"e","publicValue":"f"}])",
         2, false},
        {R"({"type":"a"})", 0, false},
        {"[1,2]", 0, false},
        {"[]", 0, false},
        {R"([{"type":"a","va)", 0, true},
        {"", 0, true},
        {"\x7f"
         "ELF",
         0, true},
    };
    for (const auto& [file, records, fails] : cases) {
        writeTo(host_.file("tokens"), file);
        const auto loaded = storage_.load();
        EXPECT_EQ(loaded.records.size(), records) << file;
        EXPECT_EQ(loaded.error != nullptr, fails) << file;
    }
}

TEST_F(FileStorageTest, AFailedSaveLeavesTheFileAsItWas) {
    SchemasStorage schemas("schemas");
    const JSONObject good[] = {{{"a-1", JSONObject()}}};
    ASSERT_EQ(schemas.save(good), nullptr);
    const JSONObject bad[] = {{{"a-1", std::nan("")}}};
    EXPECT_NE(schemas.save(bad), nullptr);
    EXPECT_EQ(schemas.load().records, std::vector<JSONObject>{good[0]});

    // A folder in the place of the temporary file stands for a disk that takes nothing.
    std::filesystem::create_directories(host_.file(".schemas.new"));
    EXPECT_NE(schemas.save({}), nullptr);
    EXPECT_EQ(schemas.load().records, std::vector<JSONObject>{good[0]});
}

TEST_F(FileStorageTest, ADocumentsDirectoryThatCannotBeMadeIsAnErrorOfTheSave) {
    writeTo(host_.documents(), "a file is in the way");
    const Token token{"a", "b", "c"};
    EXPECT_NE(storage_.save(std::span(&token, 1)), nullptr);
    EXPECT_FALSE(storage_.load().found);
}

}  // namespace
}  // namespace zentara
