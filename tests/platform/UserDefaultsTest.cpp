#include "support/UserDefaults.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <unistd.h>

#include <filesystem>
#include <limits>
#include <string>

#include "platform/FileSystem.h"
#include "platform/HostApplication.h"
#include "support/FailureReporter.h"
#include "support/Files.h"
#include "support/TemporaryDirectory.h"
#include "support/WaitFor.h"

namespace zentara {
namespace {

namespace fs = std::filesystem;
using test::contentsOf;
using test::writeTo;

/// Each store lives in a directory of its own.
class UserDefaultsTest : public testing::Test {
  protected:
    UserDefaultsTest() { use(first_); }
    ~UserDefaultsTest() override { use({}); }

    static void use(const fs::path& directory) {
        HostApplication::setPreferencesDirectory(directory);
    }

    static constexpr const char* fileName = "user-defaults.json";
    test::TemporaryDirectory directory_;
    const fs::path first_ = directory_.path() / "deep" / "first";
};

TEST_F(UserDefaultsTest, ValuesComeFromTheFileAndGoIntoIt) {
    writeTo(first_ / fileName, R"({"name": "x", "key": 1, "large": 18446744073709551615})");
    UserDefaults defaults;
    EXPECT_EQ(defaults.integer("none"), 0);
    EXPECT_EQ(defaults.integer("name"), 0);
    EXPECT_EQ(defaults.integer("key"), 1);
    EXPECT_EQ(defaults.integer("large"), -1) << "the same bits, read as signed";
    defaults.set("key", std::int64_t{-5});
    defaults.set("ticks", std::numeric_limits<std::uint64_t>::max());
    EXPECT_EQ(defaults.integer("key"), -5);
    EXPECT_EQ(contentsOf(first_ / fileName),
              R"({"name":"x","key":-5,"large":18446744073709551615,"ticks":18446744073709551615})");
}

TEST_F(UserDefaultsTest, ADamagedFileIsSetAsideAndTheStoreStartsEmpty) {
    const std::string damaged[] = {R"({"key": 1)", "[1]", "", "\xff"};
    int number = 0;
    for (const auto& text : damaged) {
        const fs::path directory = directory_.path() / std::to_string(number++);
        writeTo(directory / fileName, text);
        writeTo(directory / "user-defaults.json.damaged", "from before");
        use(directory);
        EXPECT_EQ(UserDefaults().integer("key"), 0);
        EXPECT_EQ(lastFailure(Component::storage).text, "user-defaults.json: is damaged");
        EXPECT_EQ(contentsOf(directory / "user-defaults.json.damaged-2"), text);
        EXPECT_EQ(contentsOf(directory / "user-defaults.json.damaged"), "from before");
        UserDefaults().set("key", std::int64_t{3});
        EXPECT_EQ(contentsOf(directory / fileName), R"({"key":3})");
        EXPECT_FALSE(isFailing(Component::storage));
    }
}

TEST_F(UserDefaultsTest, UnwritableFolderCostsPersistenceOnly) {
    writeTo(directory_.path() / "file", "no folder");
    use(directory_.path() / "file" / "preferences");
    UserDefaults().set("key", std::int64_t{4});
    EXPECT_EQ(UserDefaults().integer("key"), 4);
    EXPECT_TRUE(lastFailure(Component::storage).text.ends_with(": Not a directory"));

    const std::string others = R"({"key": 1})";
    writeTo(first_ / fileName, others);
    const int another = ::open((first_ / FileSystem::claimName).c_str(), O_CREAT | O_RDWR, 0600);
    ASSERT_EQ(::flock(another, LOCK_EX | LOCK_NB), 0);
    use(first_);
    EXPECT_EQ(UserDefaults().integer("key"), 1);
    UserDefaults().set("key", std::int64_t{5});
    EXPECT_EQ(UserDefaults().integer("key"), 5);
    EXPECT_EQ(contentsOf(first_ / fileName), others) << "another process works there";
    ::close(another);
}

TEST_F(UserDefaultsTest, ThreadsMayReadAndWriteAtTheSameTime) {
    test::inThreads(4, [](int number) {
        UserDefaults mine;
        const std::string key = "key" + std::to_string(number);
        for (std::int64_t i = 1; i <= 50; ++i) {
            mine.set(key, i);
            EXPECT_EQ(mine.integer(key), i);
        }
    });
    for (int i = 0; i < 4; ++i) {
        const auto last = "\"key" + std::to_string(i) + "\":50";
        EXPECT_NE(contentsOf(first_ / fileName).find(last), std::string::npos) << last;
    }
}

}  // namespace
}  // namespace zentara
