#include "platform/HostApplication.h"

#include <gtest/gtest.h>
#include <pwd.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <set>

#include "support/UUID.h"

namespace {

/// The home of each user in the password database; null if it has no entry.
const char* registeredHome = nullptr;

}  // namespace

/// Replaces the system's.
extern "C" __attribute__((visibility("default"))) int getpwuid_r(uid_t, passwd* entry, char*,
                                                                 size_t, passwd** found) {
    entry->pw_dir = const_cast<char*>(registeredHome);
    *found = registeredHome != nullptr ? entry : nullptr;
    return 0;
}

namespace zentara {
namespace {

class HostApplicationTest : public testing::Test {
  protected:
    HostApplicationTest() {
        HostApplication::setDocumentsDirectory({});
        HostApplication::setPreferencesDirectory({});
    }
    ~HostApplicationTest() override { HostApplication::setBundleIdentifier(identifier_); }

    const std::string identifier_ = HostApplication::bundleIdentifier();
};

TEST_F(HostApplicationTest, FindsItsDefaultDirectories) {
    EXPECT_EQ(identifier_, std::filesystem::read_symlink("/proc/self/exe").filename().string());
    using Place = std::optional<std::filesystem::path>;
    const struct {
        const char *home, *data, *config, *registered;
        Place documents, preferences;
    } cases[] = {
        {"/h", "", "", "/r", "/h/.local/share/app", "/h/.config/app"},
        {"/h", "/d", "/c", "/r", "/d/app", "/c/app"},
        {"/h", "relative", "", "/r", "/h/.local/share/app", "/h/.config/app"},
        {"", "relative", "./c", "/r", "/r/.local/share/app", "/r/.config/app"},
        {"", "", "", "relative", {}, {}},
        {"", "", "", nullptr, {}, {}},
    };
    HostApplication::setBundleIdentifier("app");
    for (const auto& each : cases) {
        ::setenv("HOME", each.home, 1);
        ::setenv("XDG_DATA_HOME", each.data, 1);
        ::setenv("XDG_CONFIG_HOME", each.config, 1);
        registeredHome = each.registered;
        EXPECT_EQ(HostApplication::documentsDirectory(), each.documents);
        EXPECT_EQ(HostApplication::preferencesDirectory(), each.preferences);
    }
}

TEST_F(HostApplicationTest, IdentifierCannotLeaveTheBaseDirectory) {
    ::setenv("XDG_DATA_HOME", "/data", 1);
    for (const char* const identifier : {"..", ".", "", "/etc", "../../etc"}) {
        HostApplication::setBundleIdentifier(identifier);
        const auto directory = HostApplication::documentsDirectory().value().lexically_normal();
        EXPECT_EQ(directory.parent_path(), "/data") << identifier;
        EXPECT_TRUE(directory.has_filename()) << identifier;
    }
}

TEST_F(HostApplicationTest, RelativeDirectoryStartsAtTheCurrentOne) {
    HostApplication::setDocumentsDirectory("queue");
    EXPECT_EQ(HostApplication::documentsDirectory(), std::filesystem::current_path() / "queue");
}

TEST(UUIDTest, ForkedChildRepeatsNoneOfItsParent) {
    std::set<std::string> known{lowerCaseUUID()};
    std::array<int, 2> pipe{};
    ASSERT_EQ(::pipe(pipe.data()), 0);
    const auto child = ::fork();
    if (child == 0) {
        const auto own = randomUUID();
        const auto written = ::write(pipe[1], own.characters.data(), own.characters.size());
        ::_exit(written == 36 ? 0 : 1);
    }
    std::string text(36, ' ');
    EXPECT_EQ(::read(pipe[0], text.data(), text.size()), 36);
    ::waitpid(child, nullptr, 0);
    ::close(pipe[0]);
    ::close(pipe[1]);
    EXPECT_TRUE(known.insert(text).second);
    // More than the system is asked for at once.
    for (int i = 0; i < 40; ++i)
        EXPECT_TRUE(known.insert(lowerCaseUUID()).second);
}

}  // namespace
}  // namespace zentara
