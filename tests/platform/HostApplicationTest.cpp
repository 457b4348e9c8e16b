#include "platform/HostApplication.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <map>
#include <optional>
#include <string>

namespace zentara {
namespace {

using Value = std::optional<std::string>;

void setVariable(const char* name, const Value& value) {
    if (value) {
        ::setenv(name, value->c_str(), 1);
    } else {
        ::unsetenv(name);
    }
}

/// Restores what the host application is known by, and the environment.
class HostApplicationTest : public testing::Test {
  protected:
    HostApplicationTest() { useDefaults(); }
    ~HostApplicationTest() override {
        HostApplication::setBundleIdentifier(identifier_);
        useDefaults();
        for (const auto& [name, value] : variables_)
            setVariable(name, value);
    }

  private:
    static void useDefaults() {
        HostApplication::setDocumentsDirectory({});
        HostApplication::setPreferencesDirectory({});
    }
    static Value variable(const char* name) {
        const char* const value = ::getenv(name);
        return value == nullptr ? Value() : Value(value);
    }

    const std::string identifier_ = HostApplication::bundleIdentifier();
    const std::map<const char*, Value> variables_{{"HOME", variable("HOME")},
                                                  {"XDG_DATA_HOME", variable("XDG_DATA_HOME")},
                                                  {"XDG_CONFIG_HOME", variable("XDG_CONFIG_HOME")}};
};

TEST_F(HostApplicationTest, IsNamedAfterItsExecutable) {
    EXPECT_EQ(HostApplication::bundleIdentifier(),
              std::filesystem::read_symlink("/proc/self/exe").filename().string());
}

TEST_F(HostApplicationTest, FindsItsDefaultDirectories) {
    const struct {
        Value home, data, config;
        Value documents, preferences;
    } cases[] = {
        {"/h", {}, {}, "/h/.local/share/app", "/h/.config/app"},
        {"/h", "/d", "/c", "/d/app", "/c/app"},
        {"/h", "relative", "", "/h/.local/share/app", "/h/.config/app"},
        {{}, "relative", "./c", {}, {}},
        {{}, {}, {}, {}, {}},
    };
    HostApplication::setBundleIdentifier("app");
    const auto text = [](const std::optional<std::filesystem::path>& path) {
        return path ? Value(path->string()) : Value();
    };
    for (const auto& each : cases) {
        setVariable("HOME", each.home);
        setVariable("XDG_DATA_HOME", each.data);
        setVariable("XDG_CONFIG_HOME", each.config);
        EXPECT_EQ(text(HostApplication::documentsDirectory()), each.documents);
        EXPECT_EQ(text(HostApplication::preferencesDirectory()), each.preferences);
    }
}

TEST_F(HostApplicationTest, AnIdentifierCannotLeadOutOfTheBaseDirectory) {
    setVariable("XDG_DATA_HOME", "/data");
    for (const char* const identifier : {"..", ".", "", "/etc", "../../etc", "a/b"}) {
        HostApplication::setBundleIdentifier(identifier);
        EXPECT_EQ(HostApplication::bundleIdentifier(), identifier);
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
