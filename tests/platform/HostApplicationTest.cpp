#include "platform/HostApplication.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <map>
#include <optional>
#include <string>

namespace zentara {
namespace {

/// Sets variables of the environment and puts them back.
class Environment {
  public:
    using Variables = std::map<std::string, std::optional<std::string>>;

    explicit Environment(const Variables& variables) {
        for (const auto& [name, value] : variables) {
            const char* const old = ::getenv(name.c_str());
            previous_[name] = old == nullptr ? std::nullopt : std::optional<std::string>(old);
            set(name, value);
        }
    }
    ~Environment() {
        for (const auto& [name, value] : previous_)
            set(name, value);
    }
    Environment(const Environment&) = delete;
    Environment& operator=(const Environment&) = delete;

  private:
    static void set(const std::string& name, const std::optional<std::string>& value) {
        if (value) {
            ::setenv(name.c_str(), value->c_str(), 1);
        } else {
            ::unsetenv(name.c_str());
        }
    }

    Variables previous_;
};

/// Restores what the host application is known by.
class HostApplicationTest : public testing::Test {
  protected:
    void SetUp() override {
        HostApplication::setDocumentsDirectory({});
        HostApplication::setPreferencesDirectory({});
    }
    void TearDown() override {
        HostApplication::setBundleIdentifier(identifier_);
        SetUp();
    }

  private:
    const std::string identifier_ = HostApplication::bundleIdentifier();
};

TEST_F(HostApplicationTest, IsNamedAfterItsExecutableUntilTheHostSaysOtherwise) {
    EXPECT_EQ(HostApplication::bundleIdentifier(),
              std::filesystem::read_symlink("/proc/self/exe").filename().string());
    HostApplication::setBundleIdentifier("com.example.news");
    EXPECT_EQ(HostApplication::bundleIdentifier(), "com.example.news");
}

TEST_F(HostApplicationTest, FindsItsDefaultDirectories) {
    using Value = std::optional<std::string>;
    const struct {
        Value home, data, config;
        Value documents, preferences;
    } cases[] = {
        {"/h", {}, {}, "/h/.local/share/app", "/h/.config/app"},
        {"/h", "/d", "/c", "/d/app", "/c/app"},
        {{}, "/d", "/c", "/d/app", "/c/app"},
        {"/h", "relative", "", "/h/.local/share/app", "/h/.config/app"},
        {{}, "relative", "./c", {}, {}},
        {"", {}, {}, {}, {}},
        {{}, {}, {}, {}, {}},
    };
    HostApplication::setBundleIdentifier("app");
    const auto text = [](const std::optional<std::filesystem::path>& path) {
        return path ? Value(path->string()) : Value();
    };
    for (const auto& each : cases) {
        const Environment environment(
            {{"HOME", each.home}, {"XDG_DATA_HOME", each.data}, {"XDG_CONFIG_HOME", each.config}});
        EXPECT_EQ(text(HostApplication::documentsDirectory()), each.documents);
        EXPECT_EQ(text(HostApplication::preferencesDirectory()), each.preferences);
    }
}

TEST_F(HostApplicationTest, AnIdentifierCannotLeadOutOfTheBaseDirectory) {
    const Environment environment(Environment::Variables{{"XDG_DATA_HOME", "/data"}});
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

TEST_F(HostApplicationTest, KnowsTheDevice) {
    const auto device = HostApplication::device();
    EXPECT_FALSE(device.systemName.empty());
    EXPECT_FALSE(device.hardwareModel.empty());
    EXPECT_EQ(device.systemVersion.find_first_not_of("0123456789."), std::string::npos);
    EXPECT_FALSE(device.systemVersion.empty());
}

}  // namespace
}  // namespace zentara
