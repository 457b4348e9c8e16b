#include "platform/HostApplication.h"

#include <gtest/gtest.h>
#include <pwd.h>
#include <stdlib.h>

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

}  // namespace
}  // namespace zentara
