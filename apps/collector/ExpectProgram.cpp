#include "collector/ExpectProgram.h"

#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <iostream>
#include <system_error>

#include "collector/Options.h"

namespace zentara::collector {

int becomeExpectProgram(char** arguments) {
    std::error_code error;
    const auto self = std::filesystem::read_symlink("/proc/self/exe", error);
    const auto program = (self.parent_path() / ZENTARA_EXPECT_PROGRAM).lexically_normal();
    ::execv(program.c_str(), arguments);
    std::cerr << "zentara-collector: cannot start " << program.string() << ": "
              << std::system_category().message(errno) << '\n';
    return exitUsage;
}

}  // namespace zentara::collector
