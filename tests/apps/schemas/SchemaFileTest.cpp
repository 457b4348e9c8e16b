#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "schemas/files/SchemaFile.h"
#include "support/Files.h"

namespace zentara::schemas {

TEST(SchemaFile, VersionBeginsBehindTheLastDash) {
    EXPECT_EQ(schemaNamed("add-to-cart-12"), (SchemaName{"add-to-cart", "12"}));
    for (const auto* const text : {"", "-", "a", "a-", "-1"})
        EXPECT_FALSE(schemaNamed(text)) << text;
}

TEST(SchemaFile, NumbersInVersionsCompareByValue) {
    const char* const versions[] = {"", "1", "1.02", "01.5", "1.10", "1.10-b", "2a", "2b", "10"};
    for (std::size_t at = 1; at < std::size(versions); ++at) {
        const SchemaName one{"a", versions[at - 1]}, other{"a", versions[at]};
        EXPECT_TRUE(isEarlier(one, other)) << one.version;
        EXPECT_FALSE(isEarlier(other, one)) << one.version;
        EXPECT_FALSE(isEarlier(other, other)) << other.version;
    }
    EXPECT_TRUE(isEarlier({"a", "2"}, {"b", "1"}));
}

TEST(SchemaFile, DocumentIsWhatTheLibraryReads) {
    const auto file = SchemaFile::fromText("folder/a-1.json", "\xEF\xBB\xBF{\"title\": \"A\"}");
    EXPECT_EQ(file.name, (SchemaName{"a", "1"}));
    EXPECT_EQ(file.document, JSONObject({{"title", "A"}}));
    for (const std::string text : {"", "[]", "{", "{\"a\":\"\xFF\"}"})
        EXPECT_FALSE(SchemaFile::fromText("a-1.json", text).document) << text;
    const auto nested = [](int levels) {
        std::string text = "{}";
        for (int level = 1; level < levels; ++level)
            text = "{\"a\":" + text + '}';
        return SchemaFile::fromText("a-1.json", text).document.has_value();
    };
    EXPECT_TRUE(nested(511));
    EXPECT_FALSE(nested(512));
}

TEST(SchemaFile, WritingReplacesNoDeviceAndNoLink) {
    const test::TemporaryDirectory folder;
    const auto link = [&](const std::string& name, const std::filesystem::path& target) {
        std::filesystem::create_symlink(target, folder.path() / name);
        return (folder.path() / name).string();
    };
    test::writeTo(folder.path() / "real", "before");
    const auto null = link("null", "/dev/null");
    const auto real = link("linked", "real");
    writeFile(null, "x");
    writeFile(real, "after");
    EXPECT_THROW(writeFile(link("full", "/dev/full"), "y"), CommandError);
    EXPECT_TRUE(std::filesystem::is_character_file(null));
    EXPECT_TRUE(std::filesystem::is_symlink(real));
    EXPECT_EQ(test::contentsOf(folder.path() / "real"), "after");
    EXPECT_EQ(test::namesIn(folder.path()),
              (std::set<std::string>{"full", "linked", "null", "real"}));
}

}  // namespace zentara::schemas
