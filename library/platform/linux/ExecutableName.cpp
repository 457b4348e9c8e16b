#include <string_view>
#include <system_error>

#include "platform/HostApplication.h"

namespace zentara {

std::string HostApplication::executableName() {
    std::error_code error;
    std::string name = std::filesystem::read_symlink("/proc/self/exe", error).filename().string();
    // The kernel marks a program whose file was replaced while it runs.
    constexpr std::string_view mark = " (deleted)";
    if (name.ends_with(mark)) name.resize(name.size() - mark.size());
    return name;
}

}  // namespace zentara
