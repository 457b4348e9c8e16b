#include "platform/HostApplication.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <optional>
#include <string>

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
        const char *home, *data, *config;
        Place documents, preferences;
    } cases[] = {
        {"/h", "", "", "/h/.local/share/app", "/h/.config/app"},
        {"/h", "/d", "/c", "/d/app", "/c/app"},
        {"/h", "relative", "", "/h/.local/share/app", "/h/.config/app"},
        {"", "relative", "./c", {}, {}},
    };
    HostApplication::setBundleIdentifier("app");
    for (const auto& each : cases) {
        ::setenv("HOME", each.home, 1);
        ::setenv("XDG_DATA_HOME", each.data, 1);
        ::setenv("XDG_CONFIG_HOME", each.config, 1);
        EXPECT_EQ(HostApplication::documentsDirectory(), each.documents);
        EXPECT_EQ(HostApplication::preferencesDirectory(), each.preferences);
    }
}

TEST_F(HostApplicationTest, AnIdentifierCannotLeadOutOfTheBaseDirectory) {
    ::setenv("XDG_DATA_HOME", "/data", 1);
    for (const char* const identifier : {"..", ".", "", "/etc", "../../etc"}) {
        HostApplication::setBundleIdentifier(identifier);
        const auto directory = HostApplication::documentsDirectory().value().lexically_normal();
        EXPECT_EQ(directory.parent_path(), "/data") << identifier;
        EXPECT_TRUE(directory.has_filename()) << identifier;
    }
}

TEST_F(HostApplicationTest, AGivenDirectoryIsMeantFromWhereTheHostWasThen) {
    HostApplication::setDocumentsDirectory("queue");
    EXPECT_EQ(HostApplication::documentsDirectory(), std::filesystem::current_path() / "queue");
}

}  // namespace
}  // namespace zentara
