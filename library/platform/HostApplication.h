#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include <zentara/Export.h>
#include <zentara/Language.h>

namespace zentara {

/// What the library knows about the application and the device it runs in.
///
/// Every fact has a default taken from the operating system and can be replaced by the host
/// before its first `ZentaraClient::get`; later changes reach only what is built afterwards. All
/// operations may be called from any thread.
class ZENTARA_EXPORT HostApplication {
  public:
    /// The facts about the device that go into the user agent.
    struct Device {
        std::string systemName;     ///< for example "Linux"
        std::string systemVersion;  ///< for example "6.1.0"
        std::string hardwareModel;  ///< for example "x86_64"
    };

    HostApplication() = delete;

    /// Names the application, for example "com.example.news". Default: the name of the executable.
    static void setBundleIdentifier(std::string identifier);
    [[nodiscard]] static std::string bundleIdentifier();

    /// The directory that holds the library's queue, cache and identity files; made with the first
    /// file, readable by this user only. Default: `$XDG_DATA_HOME/<bundle id>`, or
    /// `~/.local/share/<bundle id>`, where `~` is `$HOME` or what the password database has.
    /// Nothing when no such place can be named. An empty path restores the default.
    static void setDocumentsDirectory(std::filesystem::path directory);
    [[nodiscard]] static std::optional<std::filesystem::path> documentsDirectory();

    /// The directory of the library's preferences file. Default: `$XDG_CONFIG_HOME/<bundle id>`,
    /// or `~/.config/<bundle id>`. Nothing when no such place can be named; preferences then live
    /// in memory only. An empty path restores the default.
    static void setPreferencesDirectory(std::filesystem::path directory);
    [[nodiscard]] static std::optional<std::filesystem::path> preferencesDirectory();

    static void setDevice(Device device);
    [[nodiscard]] static Device device();

  private:
    static std::string executableName();
};

}  // namespace zentara
