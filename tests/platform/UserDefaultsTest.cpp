#include "platform/UserDefaults.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>
#include <filesystem>
#include <limits>
#include <string>
#include <thread>
#include <vector>

#include "platform/FolderClaim.h"
#include "platform/HostApplication.h"
#include "support/Files.h"
#include "support/TemporaryDirectory.h"

namespace zentara {
namespace {

namespace fs = std::filesystem;
using test::contentsOf;
using test::writeTo;

/// Each store lives in a directory of its own; a copied file in another directory stands for the
/// next run of the process.
class UserDefaultsTest : public testing::Test {
  protected:
    UserDefaultsTest() { use(first_); }
    ~UserDefaultsTest() override { HostApplication::setPreferencesDirectory({}); }

    static void use(const fs::path& directory) {
        HostApplication::setPreferencesDirectory(directory);
    }
    void restart() {
        fs::create_directories(second_);
        fs::copy_file(first_ / fileName, second_ / fileName);
        use(second_);
    }

    static constexpr const char* fileName = "user-defaults.json";
    test::TemporaryDirectory directory_;
    const fs::path first_ = directory_.path() / "deep" / "first";
    const fs::path second_ = directory_.path() / "second";
};

TEST_F(UserDefaultsTest, ValuesSurviveARestart) {
    EXPECT_EQ(UserDefaults().integer("stamp"), 0);
    UserDefaults().set("stamp", std::int64_t{-5});
    UserDefaults().set("least", std::numeric_limits<std::int64_t>::min());
    UserDefaults().set("ticks", std::numeric_limits<std::uint64_t>::max());
    EXPECT_EQ(UserDefaults().integer("stamp"), -5);
    restart();
    EXPECT_EQ(UserDefaults().integer("stamp"), -5);
    EXPECT_EQ(UserDefaults().integer("least"), std::numeric_limits<std::int64_t>::min());
    EXPECT_EQ(UserDefaults().integer("ticks"), -1) << "the same bits, read as signed";
    EXPECT_NE(contentsOf(second_ / fileName).find("18446744073709551615"), std::string::npos);
}

TEST_F(UserDefaultsTest, OnlyThisUserCanReadTheFile) {
    UserDefaults().set("key", std::int64_t{1});
    struct stat status {};
    ASSERT_EQ(::stat((first_ / fileName).c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0600U);
    for (const auto& folder : {first_, first_.parent_path()}) {
        ASSERT_EQ(::stat(folder.c_str(), &status), 0);
        EXPECT_EQ(status.st_mode & 0777U, 0700U) << folder;
    }
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
        EXPECT_EQ(contentsOf(directory / "user-defaults.json.damaged-2"), text);
        EXPECT_EQ(contentsOf(directory / "user-defaults.json.damaged"), "from before");
        UserDefaults().set("key", std::int64_t{3});
        EXPECT_EQ(contentsOf(directory / fileName), R"({"key":3})");
    }
}

TEST_F(UserDefaultsTest, WhatElseIsInTheFileStays) {
    writeTo(first_ / fileName, R"({"name": "x", "key": 1})");
    EXPECT_EQ(UserDefaults().integer("name"), 0);
    EXPECT_EQ(UserDefaults().integer("key"), 1);
    UserDefaults().set("key", std::int64_t{2});
    EXPECT_EQ(contentsOf(first_ / fileName), R"({"name":"x","key":2})");
}

TEST_F(UserDefaultsTest, ADirectoryThatCannotBeWrittenCostsPersistenceOnly) {
    writeTo(directory_.path() / "file", "no folder");
    use(directory_.path() / "file" / "preferences");
    UserDefaults().set("key", std::int64_t{4});
    EXPECT_EQ(UserDefaults().integer("key"), 4);
}

TEST_F(UserDefaultsTest, ADirectoryOfAnotherProcessIsOnlyRead) {
    writeTo(first_ / fileName, R"({"key": 1})");
    const int other = ::open((first_ / FolderClaim::fileName).c_str(), O_CREAT | O_RDWR, 0600);
    ASSERT_EQ(::flock(other, LOCK_EX | LOCK_NB), 0);
    EXPECT_EQ(UserDefaults().integer("key"), 1);
    UserDefaults().set("key", std::int64_t{5});
    EXPECT_EQ(UserDefaults().integer("key"), 5);
    EXPECT_EQ(contentsOf(first_ / fileName), R"({"key": 1})");
    ::close(other);
}

TEST_F(UserDefaultsTest, ThreadsMayReadAndWriteAtTheSameTime) {
    std::vector<std::thread> threads;
    for (std::int64_t i = 0; i < 4; ++i) {
        threads.emplace_back([i] {
            UserDefaults mine;
            const std::string key = "key" + std::to_string(i);
            for (std::int64_t j = 1; j <= 50; ++j) {
                mine.set(key, j);
                EXPECT_EQ(mine.integer(key), j);
            }
        });
    }
    for (auto& thread : threads)
        thread.join();
    restart();
    for (int i = 0; i < 4; ++i)
        EXPECT_EQ(UserDefaults().integer("key" + std::to_string(i)), 50);
}

}  // namespace
}  // namespace zentara
