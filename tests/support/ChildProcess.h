#pragma once

#include <signal.h>

#include <cstdio>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace zentara::test {

/// A program that runs beside the test. Its standard output is read line by line; its standard
/// error is the test's. Killed at the end of its scope if it still runs.
class ChildProcess {
  public:
    explicit ChildProcess(std::vector<std::string> command,
                          const std::optional<std::filesystem::path>& input = std::nullopt);
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    /// Waits for the next line of its output; nothing at the end.
    [[nodiscard]] std::optional<std::string> readLine();

    /// Reads its output to the end.
    [[nodiscard]] std::vector<std::string> readLines();

    [[nodiscard]] pid_t id() const { return process_; }

    void signal(int number) const { ::kill(process_, number); }

    /// Its exit code, or minus the number of the signal that ended it.
    int wait();

  private:
    pid_t process_ = -1;
    std::FILE* output_ = nullptr;
    std::optional<int> result_;
};

}  // namespace zentara::test
