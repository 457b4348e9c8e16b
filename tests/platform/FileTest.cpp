#include "platform/File.h"

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
    ASSERT_EQ(writeFileAtomically(path, "bytes"), nullptr);
    struct stat status {};
    ::stat(path.parent_path().c_str(), &status);
    EXPECT_EQ(status.st_mode & 0777U, 0700U);
    EXPECT_EQ(readFile(path).bytes, "bytes");
}

TEST(File, ReadsRegularFilesOfABoundedSizeOnly) {
    const TemporaryDirectory directory;
    const auto at = [&](const char* name) {
        return directory.path() / name;
    };
    EXPECT_FALSE(readFile(at("none")).error);
    EXPECT_FALSE(readFile(at("none")).bytes);
    EXPECT_TRUE(readFile(directory.path()).error);
    ASSERT_EQ(::mkfifo(at("pipe").c_str(), 0600), 0);
    EXPECT_TRUE(readFile(at("pipe")).error) << "must not wait for a writer";
    writeTo(at("huge"), "");
    std::filesystem::resize_file(at("huge"), maximumFileSize + 1);
    EXPECT_TRUE(readFile(at("huge")).error);
}

TEST(File, ViewOfTruncatedFileFailsToWrite) {
    const TemporaryDirectory directory;
    File source;
    File target;
    ASSERT_EQ(File::create(directory.path() / "source", source), nullptr);
    ASSERT_EQ(File::create(directory.path() / "target", target), nullptr);
    const std::string bytes(100'000, 'x');
    ASSERT_EQ(source.write(bytes, 0), nullptr);
    if (source.view(bytes.size()).empty()) return;  // not on this file system
    ASSERT_EQ(target.write(source.view(bytes.size()), 0), nullptr);
    EXPECT_EQ(contentsOf(directory.path() / "target"), bytes);
    ASSERT_EQ(source.truncate(0), nullptr);
    EXPECT_NE(target.write(source.view(bytes.size()), 0), nullptr);
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
    File file;
    ASSERT_EQ(File::create(path, file), nullptr);
    ASSERT_EQ(file.write("before ", 0), nullptr);
    EXPECT_EQ(file.write(parts, 7), nullptr);
    EXPECT_EQ(contentsOf(path), all);

    // The system stops in the middle of a part, and then refuses the rest of it.
    rlimit former{};
    ::getrlimit(RLIMIT_FSIZE, &former);
    const rlimit tight{5001, former.rlim_max};
    ::signal(SIGXFSZ, SIG_IGN);
    ::setrlimit(RLIMIT_FSIZE, &tight);
    const auto error = file.truncate(7) ? nullptr : file.write(parts, 7);
    ::setrlimit(RLIMIT_FSIZE, &former);
    ::signal(SIGXFSZ, SIG_DFL);
    EXPECT_NE(error, nullptr);
    EXPECT_EQ(contentsOf(path), all.substr(0, 5001));
}

}  // namespace
}  // namespace zentara
