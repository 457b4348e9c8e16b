#pragma once

#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <string>
#include <thread>

namespace zentara::collector {

/// Writes text to a file descriptor on a thread of its own, so that nobody who has something to say
/// waits for somebody to read it. What is too much to be kept is left out, and that is said.
class LogWriter {
  public:
    static constexpr std::size_t mostUnwritten = 4UL * 1024 * 1024;  ///< bytes

    /// `descriptor` is left open.
    explicit LogWriter(int descriptor);
    /// Writes what is left, as far as it is read without delay.
    ~LogWriter();
    LogWriter(const LogWriter&) = delete;
    LogWriter& operator=(const LogWriter&) = delete;

    /// Adds whole lines. Any thread; never waits.
    void add(const std::string& lines);

  private:
    void run();
    /// False once nobody reads and the end has come, or nobody will ever read again.
    [[nodiscard]] bool write(const std::string& text);
    [[nodiscard]] bool isEnding();

    const int descriptor_;
    std::mutex mutex_;
    std::condition_variable changed_;
    std::string unwritten_;    // guarded by mutex_
    std::size_t leftOut_ = 0;  // lines; guarded by mutex_
    bool hasEnded_ = false;    // guarded by mutex_
    std::thread thread_;
};

}  // namespace zentara::collector
