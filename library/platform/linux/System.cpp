#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <ctime>
#include <fstream>
#include <string_view>
#include <system_error>

#include "platform/HostApplication.h"
#include "platform/posix/SystemFiles.h"
#include "support/Clocks.h"
#include "support/NoDestructor.h"

namespace zentara {

int exchangeNames(const char* one, const char* other) noexcept {
    return ::renameat2(AT_FDCWD, one, AT_FDCWD, other, RENAME_EXCHANGE);
}

std::string bootIdentity() {
    std::string identity;
    std::getline(std::ifstream("/proc/sys/kernel/random/boot_id"), identity);
    return identity;
}

const ControlTime& ControlTime::shared() {
    static NoDestructor<ControlTime> instance;
    return *instance;
}

std::uint64_t ControlTime::currentMonotonicValue() const {
    timespec now{};
    // Counts through suspend, as CLOCK_MONOTONIC and its raw form do not on Linux: an event sent
    // after the device slept must carry the time that passed. It is never set, only steered.
    clock_gettime(CLOCK_BOOTTIME, &now);
    return static_cast<std::uint64_t>(now.tv_sec) * 10'000'000U +
           static_cast<std::uint64_t>(now.tv_nsec) / 100U;
}

std::string HostApplication::executableName() {
    std::error_code error;
    std::string name = std::filesystem::read_symlink("/proc/self/exe", error).filename().string();
    // The kernel marks a program whose file was replaced while it runs.
    constexpr std::string_view mark = " (deleted)";
    if (name.ends_with(mark)) name.resize(name.size() - mark.size());
    return name;
}

}  // namespace zentara
