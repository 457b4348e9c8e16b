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
    FileStorage<Token> storage_{"tokens"};
};

TEST_F(FileStorageTest, KeepsAListInACompactFile) {
    EXPECT_FALSE(storage_.load().found);
    EXPECT_FALSE(std::filesystem::exists(host_.documents())) << "reading makes nothing";

    const Token tokens[] = {{"a", "b/c", "d"}, {"e", "f", "g"}};
    ASSERT_EQ(storage_.save(tokens), nullptr);
    EXPECT_EQ(contentsOf(host_.file("tokens")), R"([{"type":"a","value":"b/c","publicValue":"d"},)"
                                                R"({"type":"e","value":"f","publicValue":"g"}])");
    EXPECT_EQ(storage_.load().records, std::vector(std::begin(tokens), std::end(tokens)));
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
        EXPECT_EQ(loaded.records.size(), records) << file;
        EXPECT_EQ(loaded.error != nullptr, fails) << file;
    }
}

}  // namespace
}  // namespace zentara
