#pragma once

#include <sys/wait.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "support/Files.h"

namespace zentara::schemas {

/// What zentara-schemas has printed.
struct ProgramRun {
    int exitCode = -1;
    std::string output, errors;
};

/// Runs zentara-schemas in a folder. The shell reads the arguments.
inline ProgramRun runProgram(const std::string& arguments, const std::filesystem::path& folder) {
    const test::TemporaryDirectory streams;
    const auto output = streams.path() / "output";
    const auto errors = streams.path() / "errors";
    auto command = "cd '" + folder.string() + "' && ";
    for (const std::string word : {ZENTARA_SCHEMAS_PROGRAM})
        command += "'" + word + "' ";
    command += arguments + " > '" + output.string() + "' 2> '" + errors.string() + "'";
    const int status = std::system(command.c_str());
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, test::contentsOf(output),
            test::contentsOf(errors)};
}

}  // namespace zentara::schemas
