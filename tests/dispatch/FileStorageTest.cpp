#include "dispatch/storage/FileStorage.h"

#include <gtest/gtest.h>

#include "identity/Token.h"
#include "support/Files.h"
#include "support/TestHost.h"

namespace zentara {
namespace {

using namespace test;

class FileStorageTest : public testing::Test {
  protected:
    TestHost host_;
    FileStorage<Token> storage_{systemFiles(), "tokens"};
};

TEST_F(FileStorageTest, KeepsAListInACompactFile) {
    EXPECT_TRUE(storage_.load()->empty());
    EXPECT_FALSE(SchemasStorage(systemFiles(), "tokens").load().ok());
    EXPECT_FALSE(std::filesystem::exists(host_.documents())) << "reading makes nothing";

    const Token tokens[] = {{"a", "b/c", "d"}, {"e", "f", "g"}};
    ASSERT_TRUE(storage_.save(tokens).ok());
    EXPECT_EQ(contentsOf(host_.file("tokens")), R"([{"type":"a","value":"b/c","publicValue":"d"},)"
                                                R"({"type":"e","value":"f","publicValue":"g"}])");
    EXPECT_EQ(*storage_.load(), std::vector(std::begin(tokens), std::end(tokens)));
    EXPECT_EQ(namesIn(host_.documents()), std::set<std::string>{"tokens"});
}

TEST_F(FileStorageTest, ReadsWhatItCanAndTellsWhatItCannot) {
    const std::tuple<const char*, std::size_t, bool> cases[] = {
        {R"([{"type":"a","value":"b","publicValue":"c"},{"type":1}])", 1, false},
        {R"({"type":"a"})", 0, false},
        {"[1,2]", 0, false},
        {"[]", 0, false},
        {R"([{"type":"a","va)", 0, true},
        {"", 0, true},
    };
    for (const auto& [file, records, fails] : cases) {
        writeTo(host_.file("tokens"), file);
        const auto loaded = storage_.load();
        ASSERT_EQ(loaded.ok(), !fails) << file;
        EXPECT_EQ(loaded.ok() ? loaded->size() : 0, records) << file;
    }
}

}  // namespace
}  // namespace zentara
