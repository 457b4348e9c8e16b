#pragma once

#include <zentara/ClientSettings.h>

#include <chrono>
#include <optional>
#include <string>

namespace zentara::track {

/// The exit codes of the program.
enum ExitCode : int {
    exitComplete = 0,     ///< every line was accepted and everything was delivered
    exitRefused = 1,      ///< a line was refused or could not be read; the others were delivered
    exitUndelivered = 2,  ///< events are still queued
    exitUsage = 3,        ///< the command line, a file or the configuration is invalid
    exitNotReady = 4,     ///< there were no schemas in time; nothing was sent
};

struct LoggedUser {
    UserTokenType type = UserTokenType::qvnId;
    std::string token;
};

/// Reads TYPE:TOKEN, for example "GST:abc"; nothing if it is not that.
[[nodiscard]] std::optional<LoggedUser> parseLoggedUser(const std::string& text);

/// The command line.
struct Options {
    std::string input = "-";  ///< a file, or "-" for standard input
    std::string tenant = "zentara-track";
    ZentaraEnvironment environment = ZentaraEnvironment::qa;
    std::string collector;             ///< empty for the endpoint of the build
    std::string schemas;               ///< likewise
    std::string certificateAuthority;  ///< empty for the system's
    std::string bundleIdentifier;      ///< empty for the name of the program
    std::string documents;             ///< empty for the default of the bundle identifier
    std::string preferences;           ///< likewise
    std::optional<std::string> advertisingId;
    std::optional<LoggedUser> loggedUser;
    std::string results;  ///< empty for none
    std::chrono::milliseconds readyTimeout{30'000};
    std::chrono::milliseconds drainTimeout{30'000};
    bool drain = true;
    bool verbose = false;
};

/// The options, or the code to exit with; help or a message is then already printed.
struct ParsedOptions {
    std::optional<Options> options;
    int exitCode = exitComplete;
};

[[nodiscard]] ParsedOptions parseOptions(int argc, const char* const* argv);

}  // namespace zentara::track
