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

namespace zentara {

namespace {

/// Keeps a stream whose reader has gone from ending the host: without this, writing to it raises
/// SIGPIPE on the host's own thread.
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
    // Losing a line to a closed stream is better than troubling the host with it. Flushed here,
    // where the guard is.
    static_cast<void>(std::fwrite(whole.data(), 1, whole.size(), stream));
    static_cast<void>(std::fflush(stream));
}

}  // namespace

void printDiagnostic(std::string_view line) {
    print(stdout, line);
}

void printWarning(std::string_view line) {
    // The caller may hold locks, so a full pipe whose reader has stalled loses the line.
    pollfd place{::fileno(stderr), POLLOUT, 0};
    if (::poll(&place, 1, 0) != 0) print(stderr, line);
}

void fatalError(std::string_view cause) noexcept {
    // One write of one line from a fixed buffer: it must not need memory, and lines of other
    // threads must not get into it.
    constexpr std::string_view prefix = "ZentaraClient: fatal error: ";
    char line[1024];
    const std::size_t length = std::min(cause.size(), sizeof line - prefix.size() - 1);
    char* end = std::copy(prefix.begin(), prefix.end(), line);
    end = std::replace_copy_if(
        cause.data(), cause.data() + length, end,
        [](unsigned char character) { return character < ' '; }, ' ');
    *end++ = '\n';
    const char* next = line;
    while (next != end) {
        const ssize_t written = ::write(
            STDERR_FILENO, next, static_cast<std::size_t>(std::distance<const char*>(next, end)));
        if (written <= 0) break;
        next += written;
    }
    std::abort();
}

}  // namespace zentara
