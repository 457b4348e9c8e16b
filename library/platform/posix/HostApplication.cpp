#include "platform/HostApplication.h"

#include <pwd.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include "support/Mutex.h"
#include "support/NoDestructor.h"
#include "text/Unicode.h"

namespace zentara {

namespace {

using Path = std::filesystem::path;

/// The facts that the host has set.
struct Facts {
    Guarded<std::optional<std::string>> bundleIdentifier;
    Guarded<std::optional<Path>> documentsDirectory;
    Guarded<std::optional<Path>> preferencesDirectory;
    Guarded<std::optional<HostApplication::Device>> device;
};

Facts& facts() {
    static NoDestructor<Facts> facts;
    return *facts;
}

/// The identifier as the name of one folder, whatever characters it holds.
std::string folderName(std::string identifier) {
    std::replace_if(
        identifier.begin(), identifier.end(), [](char c) { return c == '/' || c == '\0'; }, '_');
    if (identifier.empty() || identifier == "." || identifier == "..") return "ZentaraClient";
    return identifier;
}

std::optional<Path> absoluteDirectory(const char* variable) {
    const char* const value = std::getenv(variable);
    if (value == nullptr || *value != '/') return std::nullopt;
    return Path(value);
}

/// The home directory in the password database.
std::optional<Path> registeredHome() {
    std::vector<char> texts(1024);
    passwd entry{};
    passwd* found = nullptr;
    while (::getpwuid_r(::getuid(), &entry, texts.data(), texts.size(), &found) == ERANGE)
        texts.resize(texts.size() * 2);
    if (found == nullptr || found->pw_dir == nullptr || *found->pw_dir != '/') return std::nullopt;
    return Path(found->pw_dir);
}

std::optional<Path> defaultDirectory(const char* variable, const char* belowHome) {
    const auto folder = folderName(HostApplication::bundleIdentifier());
    if (const auto base = absoluteDirectory(variable)) return *base / folder;
    auto home = absoluteDirectory("HOME");
    if (!home) home = registeredHome();
    if (!home) return std::nullopt;
    return *home / belowHome / folder;
}

/// The directory made absolute, since the host may change its working directory later.
std::optional<Path> absoluteOrNone(Path directory) {
    if (directory.empty()) return std::nullopt;
    std::error_code error;
    Path absolute = std::filesystem::absolute(directory, error);
    return error ? std::move(directory) : std::move(absolute);
}

}  // namespace

void HostApplication::setBundleIdentifier(std::string identifier) {
    facts().bundleIdentifier.set(withValidUTF8(std::move(identifier)));
}

std::string HostApplication::bundleIdentifier() {
    auto identifier = facts().bundleIdentifier.get();
    return identifier ? *std::move(identifier) : executableName();
}

void HostApplication::setDocumentsDirectory(std::filesystem::path directory) {
    facts().documentsDirectory.set(absoluteOrNone(std::move(directory)));
}

std::optional<std::filesystem::path> HostApplication::documentsDirectory() {
    auto directory = facts().documentsDirectory.get();
    return directory ? directory : defaultDirectory("XDG_DATA_HOME", ".local/share");
}

void HostApplication::setPreferencesDirectory(std::filesystem::path directory) {
    facts().preferencesDirectory.set(absoluteOrNone(std::move(directory)));
}

std::optional<std::filesystem::path> HostApplication::preferencesDirectory() {
    auto directory = facts().preferencesDirectory.get();
    return directory ? directory : defaultDirectory("XDG_CONFIG_HOME", ".config");
}

void HostApplication::setDevice(Device device) {
    facts().device.set(Device{withValidUTF8(std::move(device.systemName)),
                              withValidUTF8(std::move(device.systemVersion)),
                              withValidUTF8(std::move(device.hardwareModel))});
}

HostApplication::Device HostApplication::device() {
    if (auto device = facts().device.get()) return *std::move(device);
    utsname system{};
    if (::uname(&system) != 0) return {};
    // The version of "6.1.0-18-amd64" is "6.1.0".
    const std::string_view release = system.release;
    return {system.sysname,
            std::string(release.substr(0, release.find_first_not_of("0123456789."))),
            system.machine};
}

}  // namespace zentara
