#include "platform/FileSystem.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <vector>

#include "support/Files.h"
#include "support/TemporaryDirectory.h"

namespace zentara {
namespace {

using namespace test;

TEST(File, MakesPrivateFoldersOnItsWay) {
    const TemporaryDirectory directory;
    const auto path = directory.path() / "a" / "b" / "file";
    ASSERT_TRUE(systemFiles().writeAtomically(path, "bytes").ok());
    struct stat status {};
    ::stat(path.parent_path().c_str(), &status);
    EXPECT_EQ(status.st_mode & 0777U, 0700U);
    EXPECT_EQ(*systemFiles().read(path), "bytes");
}

TEST(File, ReadsRegularFilesOfABoundedSizeOnly) {
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
    std::filesystem::resize_file(at("huge"), maximumFileSize + 1);
    EXPECT_TRUE(isUnfit(statusOf("huge")));
    EXPECT_FALSE(isMissing(statusOf("huge")));
}

TEST(File, FlushSucceedsWhereThereIsNone) {
    const auto file = systemFiles().open("/proc/self/comm");
    ASSERT_TRUE(file.ok());
    EXPECT_TRUE((*file)->flush().ok());
    EXPECT_TRUE(systemFiles().flushFolder("/proc/self").ok());
    EXPECT_FALSE(systemFiles().flushFolder("/none").ok());
}

TEST(File, RemovesWhatIsThere) {
    const TemporaryDirectory directory;
    writeTo(directory.path() / "file", "");
    for (int i = 0; i < 2; ++i)
        EXPECT_TRUE(systemFiles().remove(directory.path() / "file").ok());
    EXPECT_FALSE(systemFiles().remove(directory.path()).ok());
    EXPECT_EQ(*systemFiles().names(directory.path()), std::vector<std::string>());
}

TEST(File, WritesManyPartsInTheirOrderAsFarAsTheyFit) {
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

    // The system stops in the middle of a part, and then refuses the rest of it.
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

}  // namespace
}  // namespace zentara
