#include "support/Diagnostics.h"

#include <poll.h>
#include <pthread.h>
#include <signal.h>

#include <cstdio>
#include <ctime>
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

}  // namespace zentara
