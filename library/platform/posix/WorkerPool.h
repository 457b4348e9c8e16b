#pragma once

#include <boost/asio/io_context.hpp>
#include <functional>

namespace zentara {

/// The threads behind `GlobalQueue`, `TimerSource` and the completions of `URLSession`.
///
/// The pool is never destroyed. When the process begins to end, workers finish what they run and
/// take up nothing new.
class WorkerPool {
  public:
    [[nodiscard]] static WorkerPool& shared();

    WorkerPool(const WorkerPool&) = delete;
    WorkerPool& operator=(const WorkerPool&) = delete;

    [[nodiscard]] boost::asio::io_context& context() noexcept { return context_; }

  private:
    WorkerPool();

    boost::asio::io_context context_;
};

/// Runs `work`; an exception that leaves it is a fatal error that tells where it came from.
void runGuarded(const std::function<void()>& work) noexcept;

/// Starts a thread that nobody waits for and that leaves the signals of the process to the host's
/// threads. Returns false when the system gives no more threads.
[[nodiscard]] bool startDetachedThread(std::function<void()> body);

}  // namespace zentara
