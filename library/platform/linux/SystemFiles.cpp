#include "platform/posix/SystemFiles.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <string_view>

namespace zentara {

int exchangeNames(const char* one, const char* other) noexcept {
    return ::renameat2(AT_FDCWD, one, AT_FDCWD, other, RENAME_EXCHANGE);
}

std::string bootIdentity() {
    const int descriptor = ::open("/proc/sys/kernel/random/boot_id", O_RDONLY | O_CLOEXEC);
    if (descriptor < 0) return {};
    std::array<char, 64> text{};
    const auto length = ::read(descriptor, text.data(), text.size());
    ::close(descriptor);
    if (length <= 0) return {};
    const std::string_view line(text.data(), static_cast<std::size_t>(length));
    return std::string(line.substr(0, line.find('\n')));
}

}  // namespace zentara
