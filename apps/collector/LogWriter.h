#pragma once

#include <condition_variable>
#include <cstddef>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

namespace zentara::collector {

/// Writes text to a file descriptor on a thread of its own, so that a slow reader delays no caller.
/// Lines beyond `mostUnwritten` are dropped, and their number is written.
class LogWriter {
  public:
    static constexpr std::size_t mostUnwritten = 4UL * 1024 * 1024;  ///< bytes

    /// The line that tells how many lines were dropped, with its end of line.
    using DroppedLine = std::function<std::string(std::size_t)>;

    /// `descriptor` is left open.
    LogWriter(int descriptor, DroppedLine droppedLine);
    /// Writes what the descriptor takes without delay of the rest.
    ~LogWriter();
    LogWriter(const LogWriter&) = delete;
    LogWriter& operator=(const LogWriter&) = delete;

    /// Adds whole lines. Any thread; never waits.
    void add(const std::string& lines);

  private:
    void run();
    /// False if the descriptor is broken, or takes nothing while the writer ends.
    [[nodiscard]] bool write(const std::string& text);
    [[nodiscard]] bool isEnding();

    const int descriptor_;
    const DroppedLine droppedLine_;
    std::mutex mutex_;
    std::condition_variable changed_;
    std::string unwritten_;    // guarded by mutex_
    std::size_t dropped_ = 0;  // lines; guarded by mutex_
    bool hasEnded_ = false;    // guarded by mutex_
    std::thread thread_;
};

}  // namespace zentara::collector
