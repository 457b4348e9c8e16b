#include "support/ChildProcess.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <stdexcept>

namespace zentara::test {

ChildProcess::ChildProcess(std::vector<std::string> command,
                           const std::optional<std::filesystem::path>& input) {
    std::array<int, 2> pipe{};
    if (::pipe2(pipe.data(), O_CLOEXEC) != 0) throw std::runtime_error("no pipe can be made");
    posix_spawn_file_actions_t actions;
    ::posix_spawn_file_actions_init(&actions);
    ::posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, input ? input->c_str() : "/dev/null",
                                       O_RDONLY, 0);
    ::posix_spawn_file_actions_adddup2(&actions, pipe[1], STDOUT_FILENO);
    std::vector<char*> arguments;
    for (auto& word : command)
        arguments.push_back(word.data());
    arguments.push_back(nullptr);
    const int error =
        ::posix_spawn(&process_, arguments[0], &actions, nullptr, arguments.data(), environ);
    ::posix_spawn_file_actions_destroy(&actions);
    ::close(pipe[1]);
    output_ = ::fdopen(pipe[0], "r");
    if (error != 0) {
        std::fclose(output_);
        throw std::runtime_error("cannot start " + command[0]);
    }
}

ChildProcess::~ChildProcess() {
    if (!result_) {
        signal(SIGKILL);
        wait();
    }
    std::fclose(output_);
}

std::optional<std::string> ChildProcess::readLine() {
    std::string line;
    int c = 0;
    while ((c = std::getc(output_)) != EOF && c != '\n')
        line += static_cast<char>(c);
    if (c == EOF && line.empty()) return std::nullopt;
    return line;
}

std::vector<std::string> ChildProcess::readLines() {
    std::vector<std::string> lines;
    while (auto line = readLine())
        lines.push_back(*std::move(line));
    return lines;
}

int ChildProcess::wait() {
    if (!result_) {
        int status = 0;
        while (::waitpid(process_, &status, 0) < 0 && errno == EINTR) {
        }
        result_ = WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
    }
    return *result_;
}

}  // namespace zentara::test
