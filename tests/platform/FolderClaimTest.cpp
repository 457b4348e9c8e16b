#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <unistd.h>

#include "platform/FileSystem.h"
#include "support/Files.h"
#include "support/TemporaryDirectory.h"

namespace zentara {
namespace {

/// Takes the folder like another process, as far as the system's locks can tell. Returns -1 if it
/// is taken.
int takeElsewhere(const std::filesystem::path& folder) {
    const auto file = folder / FileSystem::claimName;
    const int descriptor = ::open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (::flock(descriptor, LOCK_EX | LOCK_NB) == 0) return descriptor;
    ::close(descriptor);
    return -1;
}

TEST(FolderClaimTest, OneProcessHoldsAFolderAndTheAnswerStays) {
    const test::TemporaryDirectory directory;
    const auto free = directory.path() / "deep" / "free";
    EXPECT_EQ(systemFiles().claim(free), FolderClaim::held);
    EXPECT_EQ(systemFiles().claim(free / ""), FolderClaim::held);
    EXPECT_EQ(takeElsewhere(free), -1);

    // A claim behind a link would be the file of another program.
    const auto linked = directory.path() / "linked";
    std::filesystem::create_directories(linked);
    std::filesystem::create_symlink(directory.path() / "victim", linked / FileSystem::claimName);
    EXPECT_EQ(systemFiles().claim(linked), FolderClaim::unknown);
    EXPECT_FALSE(std::filesystem::exists(directory.path() / "victim"));
}

TEST(FolderClaimTest, AReleasedFolderGoesUnlessSomethingIsInIt) {
    const test::TemporaryDirectory directory;
    const auto empty = directory.path() / "empty";
    const auto full = directory.path() / "full";
    test::writeTo(full / "file", "");
    for (const auto& folder : {empty, full}) {
        ASSERT_EQ(systemFiles().claim(folder), FolderClaim::held);
        systemFiles().release(folder);
    }
    EXPECT_EQ(test::namesIn(directory.path()), std::set<std::string>{"full"});
    EXPECT_EQ(test::namesIn(full), std::set<std::string>{"file"});
    const int other = takeElsewhere(full);
    EXPECT_GE(other, 0);
    EXPECT_EQ(systemFiles().claim(full), FolderClaim::heldElsewhere);
    ::close(other);
    EXPECT_EQ(systemFiles().claim(full), FolderClaim::heldElsewhere)
        << "it works somewhere else by now";
    systemFiles().release(full);
    EXPECT_TRUE(std::filesystem::exists(full / FileSystem::claimName)) << "it is the other's";
}

}  // namespace
}  // namespace zentara
