#pragma once

#include <sys/resource.h>

#include <csignal>
#include <cstdint>
#include <functional>

namespace zentara::test {

/// Runs `action` while no file of this process can grow beyond `size`, as on a full disk.
inline void withFullDisk(std::uintmax_t size, const std::function<void()>& action) {
    auto* const handler = std::signal(SIGXFSZ, SIG_IGN);
    rlimit before{};
    ::getrlimit(RLIMIT_FSIZE, &before);
    const rlimit limited{size, before.rlim_max};
    ::setrlimit(RLIMIT_FSIZE, &limited);
    action();
    ::setrlimit(RLIMIT_FSIZE, &before);
    (void)std::signal(SIGXFSZ, handler);
}

}  // namespace zentara::test
