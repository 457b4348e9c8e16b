#pragma once

#include <functional>

namespace zentara {

/// Whether this process was forked from a parent in which the library was working. The library's
/// threads, and the holders of its locks, exist only in the parent: a forked child must neither
/// take a lock nor write the files. False on a system without `fork`.
[[nodiscard]] bool isForkedChild() noexcept;

/// Called when the library begins to work. Marks children that are forked from now on.
void markForkedChildren();

/// Runs `work` when this process returns from main or calls exit, the latest registered first. Not
/// run in a forked child.
void runAtExit(std::function<void()> work);

/// Starts a thread that is never joined and that leaves the signals of the process to the host's
/// threads. Returns false when the system gives no more threads.
[[nodiscard]] bool startDetachedThread(std::function<void()> body);

/// Runs `work` on a thread of the library. An exception that leaves it is a fatal error.
void runGuarded(const std::function<void()>& work) noexcept;

/// How a component asks for work to run when the process ends.
using ExitHook = void (*)(std::function<void()> work);

}  // namespace zentara
