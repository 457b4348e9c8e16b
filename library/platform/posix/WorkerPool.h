#pragma once

#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <functional>
#include <utility>

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
    // Keeps idle workers waiting instead of leaving.
    boost::asio::executor_work_guard<boost::asio::io_context::executor_type> guard_;
};

/// Ends the process because of the exception that is being handled.
[[noreturn]] void currentExceptionIsFatal() noexcept;

/// Runs `work`, which no exception may leave: on a thread of the library nobody could catch it.
template <typename Work>
void runGuarded(Work&& work) noexcept {
    try {
        std::forward<Work>(work)();
    } catch (...) {
        currentExceptionIsFatal();
    }
}

/// Starts a thread that nobody waits for and that leaves the signals of the process to the host's
/// threads. Returns false when the system gives no more threads.
[[nodiscard]] bool startDetachedThread(std::function<void()> body);

}  // namespace zentara
