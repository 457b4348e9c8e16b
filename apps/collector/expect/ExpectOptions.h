#pragma once

#include <optional>
#include <string>

#include "collector/expect/Expectation.h"

namespace zentara::collector {

/// The exit codes of `zentara-collector expect`.
enum ExpectExitCode : int {
    exitMet = 0,
    exitNotMet = 1,
    exitWrongUsage = 2,   ///< the command line is invalid, or the report cannot be written
    exitNoCollector = 3,  ///< it cannot be reached, or its answer is invalid
};

/// The command line.
struct ExpectOptions {
    std::string collector = "http://127.0.0.1:8080";
    std::string authorityFile;  ///< empty for those of the system
    Expectation expectation;
    std::string junitFile;  ///< empty for none
};

/// The options, or the code to exit with; help or a message is then already printed.
struct ParsedExpectOptions {
    std::optional<ExpectOptions> options;
    int exitCode = exitMet;
};

[[nodiscard]] ParsedExpectOptions parseExpectOptions(int argc, const char* const* argv);

}  // namespace zentara::collector
