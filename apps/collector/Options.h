#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "collector/Faults.h"
#include "collector/ServiceOptions.h"
#include "collector/forward/Forwarding.h"

namespace zentara::collector {

/// The exit codes of the program.
enum ExitCode : int {
    exitStopped = 0,  ///< ended by SIGTERM or SIGINT
    exitFailure = 1,  ///< a port, a file or the data folder cannot be used
    exitUsage = 2,    ///< the command line is invalid
};

/// As the first argument it selects the program of this name, which has a command line of its own.
inline constexpr std::string_view expectSubcommand = "expect";

/// The command line.
struct Options {
    std::string host = "127.0.0.1";
    int port = 8080;       ///< 0 for a free one
    int httpsPort = 8443;  ///< 0 for a free one
    bool https = true;
    std::string data;      ///< folder of the certificate authority; empty for the user's
    std::string database;  ///< empty to keep everything in memory
    std::string schemas;   ///< folder or bundle; empty for no schemas
    std::string record;    ///< empty for none
    std::vector<std::pair<Service, Fault>> faults;
    bool quiet = false;
    Forwarding::Options forwarding;  ///< without a URL: none
    ServiceSettings service;
};

/// The options, or the code to exit with; help or a message is then already printed.
struct ParsedOptions {
    std::optional<Options> options;
    int exitCode = exitStopped;
};

[[nodiscard]] ParsedOptions parseOptions(int argc, const char* const* argv);

}  // namespace zentara::collector
