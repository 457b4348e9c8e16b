#include "support/ChildProcess.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <stdexcept>
#include <utility>

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
    output_ = pipe[0];
    if (error != 0) {
        ::close(output_);
        throw std::runtime_error("cannot start " + command[0]);
    }
}

ChildProcess::~ChildProcess() {
    if (!result_) {
        signal(SIGKILL);
        wait();
    }
    ::close(output_);
}

std::optional<std::string> ChildProcess::readLine() {
    for (;;) {
        if (const auto end = received_.find('\n'); end != std::string::npos) {
            auto line = received_.substr(0, end);
            received_.erase(0, end + 1);
            return line;
        }
        std::array<char, 65536> buffer;
        const auto count = ::read(output_, buffer.data(), buffer.size());
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) {
            if (received_.empty()) return std::nullopt;
            return std::exchange(received_, {});
        }
        received_.append(buffer.data(), static_cast<std::size_t>(count));
    }
}

std::vector<std::string> ChildProcess::readLines() {
    std::vector<std::string> lines;
    while (auto line = readLine())
        lines.push_back(*std::move(line));
    return lines;
}

void ChildProcess::signal(int number) const {
    ::kill(process_, number);
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
