#include "support/Diagnostics.h"

#include <poll.h>
#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <iterator>
#include <string>

#include "platform/LogTarget.h"

namespace zentara {

namespace {

/// Blocks SIGPIPE, which would end the host when the reader of the stream has gone.
class BrokenPipeGuard {
  public:
    BrokenPipeGuard() {
        ::sigemptyset(&brokenPipe_);
        ::sigaddset(&brokenPipe_, SIGPIPE);
        sigset_t pending;
        ::sigpending(&pending);
        wasPending_ = ::sigismember(&pending, SIGPIPE) == 1;
        ::pthread_sigmask(SIG_BLOCK, &brokenPipe_, &previous_);
    }
    ~BrokenPipeGuard() {
        const timespec now{};
        if (!wasPending_) ::sigtimedwait(&brokenPipe_, nullptr, &now);
        ::pthread_sigmask(SIG_SETMASK, &previous_, nullptr);
    }
    BrokenPipeGuard(const BrokenPipeGuard&) = delete;
    BrokenPipeGuard& operator=(const BrokenPipeGuard&) = delete;

  private:
    sigset_t brokenPipe_{};
    sigset_t previous_{};
    bool wasPending_ = false;
};

void print(std::FILE* stream, std::string_view line) {
    const BrokenPipeGuard guard;
    std::string whole(line);
    whole += '\n';
    // A line for a closed stream is lost. Flushed while the guard blocks the signal.
    static_cast<void>(std::fwrite(whole.data(), 1, whole.size(), stream));
    static_cast<void>(std::fflush(stream));
}

}  // namespace

void printDiagnostic(std::string_view line) {
    if (!handToSink(LogLevel::info, "client", line)) print(stdout, line);
}

void printWarning(std::string_view line, std::string_view component) {
    if (handToSink(LogLevel::warning, component, line)) return;
    // The caller may hold locks, so the line is dropped when the pipe is full.
    pollfd place{::fileno(stderr), POLLOUT, 0};
    if (::poll(&place, 1, 0) != 0) print(stderr, line);
}

void fatalError(std::string_view cause) noexcept {
    if (handFatalLineToSink(cause)) std::abort();
    // Fixed buffers need no memory. Lines of other threads cannot mix into a line of one buffer.
    constexpr std::string_view prefix = "ZentaraClient: fatal error: ";
    char buffer[1024];
    char* end = std::copy(prefix.begin(), prefix.end(), buffer);
    for (bool isWhole = false; !isWhole; end = buffer) {
        const auto length =
            std::min(cause.size(), static_cast<std::size_t>(std::end(buffer) - end));
        end = std::replace_copy_if(
            cause.data(), cause.data() + length, end,
            [](unsigned char character) { return character < ' '; }, ' ');
        cause.remove_prefix(length);
        isWhole = end != std::end(buffer);
        if (isWhole) *end++ = '\n';
        if (::write(STDERR_FILENO, buffer, static_cast<std::size_t>(end - buffer)) < 0) break;
    }
    std::abort();
}

}  // namespace zentara
