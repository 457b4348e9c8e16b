#include "platform/FolderClaim.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <unistd.h>

#include "support/Files.h"
#include "support/TemporaryDirectory.h"

namespace zentara {
namespace {

using Answer = FolderClaim::Answer;

/// Takes the folder like another process, as far as the system's locks can tell. Returns -1 if it
/// is taken.
int takeElsewhere(const std::filesystem::path& folder) {
    const auto file = folder / FolderClaim::fileName;
    const int descriptor = ::open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (::flock(descriptor, LOCK_EX | LOCK_NB) == 0) return descriptor;
    ::close(descriptor);
    return -1;
}

TEST(FolderClaimTest, OneProcessHoldsAFolderAndTheAnswerStays) {
    const test::TemporaryDirectory directory;
    const auto free = directory.path() / "deep" / "free";
    EXPECT_EQ(FolderClaim::take(free), Answer::held);
    EXPECT_EQ(FolderClaim::take(free / ""), Answer::held);
    EXPECT_EQ(takeElsewhere(free), -1);

    // A claim behind a link would be the file of another program.
    const auto linked = directory.path() / "linked";
    std::filesystem::create_directories(linked);
    std::filesystem::create_symlink(directory.path() / "victim", linked / FolderClaim::fileName);
    EXPECT_EQ(FolderClaim::take(linked), Answer::unknown);
    EXPECT_FALSE(std::filesystem::exists(directory.path() / "victim"));
}

TEST(FolderClaimTest, AReleasedFolderGoesUnlessSomethingIsInIt) {
    const test::TemporaryDirectory directory;
    const auto empty = directory.path() / "empty";
    const auto full = directory.path() / "full";
    test::writeTo(full / "file", "");
    for (const auto& folder : {empty, full}) {
        ASSERT_EQ(FolderClaim::take(folder), Answer::held);
        FolderClaim::release(folder);
    }
    EXPECT_EQ(test::namesIn(directory.path()), std::set<std::string>{"full"});
    EXPECT_EQ(test::namesIn(full), std::set<std::string>{"file"});
    const int other = takeElsewhere(full);
    EXPECT_GE(other, 0);
    EXPECT_EQ(FolderClaim::take(full), Answer::heldElsewhere);
    ::close(other);
    EXPECT_EQ(FolderClaim::take(full), Answer::heldElsewhere) << "it works somewhere else by now";
    FolderClaim::release(full);
    EXPECT_TRUE(std::filesystem::exists(full / FolderClaim::fileName)) << "it is the other's";
}

}  // namespace
}  // namespace zentara
