#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <filesystem>
#include <limits>
#include <string>
#include <vector>

#include "platform/FileSystem.h"
#include "platform/HostApplication.h"
#include "platform/UserDefaults.h"
#include "support/Diagnostics.h"
#include "support/FailureReporter.h"
#include "support/Files.h"
#include "support/WaitFor.h"

namespace zentara {
namespace {

namespace fs = std::filesystem;
using namespace test;

TEST(File, MissingFoldersAreMadePrivate) {
    const TemporaryDirectory directory;
    const auto path = directory.path() / "a" / "b" / "file";
    ASSERT_TRUE(systemFiles().writeAtomically(path, "bytes").ok());
    struct stat status {};
    ::stat(path.parent_path().c_str(), &status);
    EXPECT_EQ(status.st_mode & 0777U, 0700U);
    EXPECT_EQ(*systemFiles().read(path), "bytes");
}

TEST(File, OnlyRegularFilesOfBoundedSizeAreRead) {
    const TemporaryDirectory directory;
    const auto at = [&](const char* name) {
        return directory.path() / name;
    };
    const auto statusOf = [&](const char* name) {
        return systemFiles().read(at(name)).status();
    };
    EXPECT_TRUE(isMissing(statusOf("none")));
    EXPECT_FALSE(isUnfit(statusOf("none")));
    EXPECT_TRUE(isUnfit(statusOf("")));
    ASSERT_EQ(::mkfifo(at("pipe").c_str(), 0600), 0);
    EXPECT_TRUE(isUnfit(statusOf("pipe"))) << "must not wait for a writer";
    writeTo(at("huge"), "");
    fs::resize_file(at("huge"), maximumFileSize + 1);
    EXPECT_TRUE(isUnfit(statusOf("huge")));
    EXPECT_FALSE(isMissing(statusOf("huge")));
}

TEST(File, FlushSucceedsOnFilesWithoutStorage) {
    const auto file = systemFiles().open("/proc/self/comm");
    ASSERT_TRUE(file.ok());
    EXPECT_TRUE((*file)->flush().ok());
    EXPECT_TRUE(systemFiles().flushFolder("/proc/self").ok());
    EXPECT_FALSE(systemFiles().flushFolder("/none").ok());
}

TEST(File, PartsAreWrittenInOrderUntilTheDiskIsFull) {
    const TemporaryDirectory directory;
    const auto path = directory.path() / "file";
    std::vector<std::string> texts;
    std::string all = "before ";
    for (int number = 0; number < 3000; ++number) {
        texts.push_back(number % 7 == 0 ? "" : std::to_string(number) + ",");
        all += texts.back();
    }
    const std::vector<std::string_view> parts(texts.begin(), texts.end());
    auto created = systemFiles().create(path);
    ASSERT_TRUE(created.ok());
    auto& file = **created;
    const std::string_view before = "before ";
    ASSERT_TRUE(file.write(std::span(&before, 1), 0).ok());
    EXPECT_TRUE(file.write(parts, 7).ok());
    EXPECT_EQ(contentsOf(path), all);

    // The limit is reached in the middle of a part.
    rlimit former{};
    ::getrlimit(RLIMIT_FSIZE, &former);
    const rlimit tight{5001, former.rlim_max};
    ::signal(SIGXFSZ, SIG_IGN);
    ::setrlimit(RLIMIT_FSIZE, &tight);
    const auto truncated = file.truncate(7);
    const auto written = file.write(parts, 7);
    ::setrlimit(RLIMIT_FSIZE, &former);
    ::signal(SIGXFSZ, SIG_DFL);
    EXPECT_TRUE(truncated.ok());
    EXPECT_FALSE(written.ok());
    EXPECT_EQ(contentsOf(path), all.substr(0, 5001));
}

/// Locks the folder as another process would. Returns -1 if it is locked.
int takeElsewhere(const fs::path& folder) {
    const auto file = folder / FileSystem::claimName;
    const int descriptor = ::open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (::flock(descriptor, LOCK_EX | LOCK_NB) == 0) return descriptor;
    ::close(descriptor);
    return -1;
}

TEST(FolderClaimTest, OneProcessHoldsAFolder) {
    const TemporaryDirectory directory;
    const auto free = directory.path() / "deep" / "free";
    EXPECT_EQ(systemFiles().claim(free), FolderClaim::held);
    EXPECT_EQ(systemFiles().claim(free / ""), FolderClaim::held);
    EXPECT_EQ(takeElsewhere(free), -1);

    // A link could lead to a file of another program.
    const auto linked = directory.path() / "linked";
    fs::create_directories(linked);
    fs::create_symlink(directory.path() / "victim", linked / FileSystem::claimName);
    EXPECT_EQ(systemFiles().claim(linked), FolderClaim::unknown);
    EXPECT_FALSE(fs::exists(directory.path() / "victim"));
}

TEST(FolderClaimTest, ReleaseRemovesAnEmptyFolderOnly) {
    const TemporaryDirectory directory;
    const auto empty = directory.path() / "empty";
    const auto full = directory.path() / "full";
    writeTo(full / "file", "");
    for (const auto& folder : {empty, full}) {
        ASSERT_EQ(systemFiles().claim(folder), FolderClaim::held);
        systemFiles().release(folder);
    }
    EXPECT_EQ(namesIn(directory.path()), std::set<std::string>{"full"});
    EXPECT_EQ(namesIn(full), std::set<std::string>{"file"});
    const int other = takeElsewhere(full);
    EXPECT_GE(other, 0);
    EXPECT_EQ(systemFiles().claim(full), FolderClaim::heldElsewhere);
    ::close(other);
    EXPECT_EQ(systemFiles().claim(full), FolderClaim::heldElsewhere) << "the answer stays";
    systemFiles().release(full);
    EXPECT_TRUE(fs::exists(full / FileSystem::claimName))
        << "the claim belongs to the other process";
}

std::int64_t integerIn(const UserDefaults& defaults, std::string_view key) {
    const auto [value, same] = defaults.integers(key, key);
    EXPECT_EQ(value, same);
    return value;
}

class UserDefaultsTest : public testing::Test {
  protected:
    UserDefaultsTest() { use(first_); }
    ~UserDefaultsTest() override { use({}); }

    static void use(const fs::path& directory) {
        HostApplication::setPreferencesDirectory(directory);
    }

    static constexpr const char* fileName = "user-defaults.json";
    TemporaryDirectory directory_;
    const fs::path first_ = directory_.path() / "deep" / "first";
};

TEST_F(UserDefaultsTest, ValuesAreReadFromAndWrittenToTheFile) {
    writeTo(first_ / fileName, R"({"name": "x", "key": 1, "large": 18446744073709551615})");
    auto& defaults = UserDefaults::current();
    EXPECT_EQ(integerIn(defaults, "none"), 0);
    EXPECT_EQ(integerIn(defaults, "name"), 0);
    EXPECT_EQ(integerIn(defaults, "key"), 1);
    EXPECT_EQ(integerIn(defaults, "large"), -1) << "the same bits, read as signed";
    defaults.set({{"key", -5}});
    defaults.set({{"ticks", std::numeric_limits<std::uint64_t>::max()}});
    EXPECT_EQ(integerIn(defaults, "key"), -5);
    EXPECT_EQ(contentsOf(first_ / fileName),
              R"({"name":"x","key":-5,"large":18446744073709551615,"ticks":18446744073709551615})");
}

TEST_F(UserDefaultsTest, DamagedFileIsSetAside) {
    const std::string damaged[] = {R"({"key": 1)", "[1]", "", "\xff"};
    int number = 0;
    for (const auto& text : damaged) {
        const fs::path directory = directory_.path() / std::to_string(number++);
        writeTo(directory / fileName, text);
        writeTo(directory / "user-defaults.json.damaged", "from before");
        use(directory);
        EXPECT_EQ(integerIn(UserDefaults::current(), "key"), 0);
        EXPECT_EQ(lastFailure(Component::storage).text, "user-defaults.json: is damaged");
        EXPECT_EQ(contentsOf(directory / "user-defaults.json.damaged-2"), text);
        EXPECT_EQ(contentsOf(directory / "user-defaults.json.damaged"), "from before");
        UserDefaults::current().set({{"key", 3}});
        EXPECT_EQ(contentsOf(directory / fileName), R"({"key":3})");
        EXPECT_FALSE(isFailing(Component::storage));
    }
}

TEST_F(UserDefaultsTest, UnwritableFolderCostsPersistenceOnly) {
    writeTo(directory_.path() / "file", "not a folder");
    use(directory_.path() / "file" / "preferences");
    UserDefaults::current().set({{"key", 4}});
    EXPECT_EQ(integerIn(UserDefaults::current(), "key"), 4);
    EXPECT_TRUE(lastFailure(Component::storage).text.ends_with(": Not a directory"));

    const std::string others = R"({"key": 1})";
    writeTo(first_ / fileName, others);
    const int another = ::open((first_ / FileSystem::claimName).c_str(), O_CREAT | O_RDWR, 0600);
    ASSERT_EQ(::flock(another, LOCK_EX | LOCK_NB), 0);
    use(first_);
    EXPECT_EQ(integerIn(UserDefaults::current(), "key"), 1);
    UserDefaults::current().set({{"key", 5}});
    EXPECT_EQ(integerIn(UserDefaults::current(), "key"), 5);
    EXPECT_EQ(contentsOf(first_ / fileName), others) << "the file of another process";
    ::close(another);
}

TEST_F(UserDefaultsTest, ThreadsReadAndWriteAtTheSameTime) {
    inThreads(4, [](int number) {
        auto& mine = UserDefaults::current();
        const std::string key = "key" + std::to_string(number);
        for (std::int64_t i = 1; i <= 50; ++i) {
            mine.set({{key, i}});
            EXPECT_EQ(integerIn(mine, key), i);
        }
    });
    for (int i = 0; i < 4; ++i) {
        const auto last = "\"key" + std::to_string(i) + "\":50";
        EXPECT_NE(contentsOf(first_ / fileName).find(last), std::string::npos) << last;
    }
}

TEST(Diagnostics, WarningsDoNotWaitForAReader) {
    std::array<int, 2> ends{};
    ASSERT_EQ(::pipe(ends.data()), 0);
    const int standardError = ::dup(STDERR_FILENO);
    ::dup2(ends[1], STDERR_FILENO);
    printWarning("first");
    ::fcntl(ends[1], F_SETFL, O_NONBLOCK);
    const std::string block(4096, '-');
    while (::write(ends[1], block.data(), block.size()) > 0)
        continue;
    ::fcntl(ends[1], F_SETFL, 0);
    printWarning("second");
    ::dup2(standardError, STDERR_FILENO);
    ::close(standardError);
    ::close(ends[1]);

    std::string written;
    std::array<char, 4096> buffer{};
    for (ssize_t size = 1; size > 0;) {
        size = ::read(ends[0], buffer.data(), buffer.size());
        written.append(buffer.data(), size > 0 ? static_cast<std::size_t>(size) : 0);
    }
    ::close(ends[0]);
    EXPECT_TRUE(written.starts_with("first\n-"));
    EXPECT_TRUE(written.ends_with('-'));
}

}  // namespace
}  // namespace zentara
