#pragma once

#include <functional>

namespace zentara {

/// Starts a thread that is never joined and that leaves the signals of the process to the host's
/// threads. Returns false when the system gives no more threads.
[[nodiscard]] bool startDetachedThread(std::function<void()> body);

/// Runs `work` on a thread of the library. An exception that leaves it is a fatal error.
void runGuarded(const std::function<void()>& work) noexcept;

}  // namespace zentara
