#include "support/threads/DetachedThread.h"

#include <pthread.h>
#include <signal.h>

#include <exception>
#include <string>
#include <system_error>
#include <thread>
#include <utility>

#include "support/Diagnostics.h"

namespace zentara {

bool startDetachedThread(std::function<void()> body) {
    // A thread inherits its creator's mask. Signals of faulty instructions stay deliverable, or a
    // crash handler of the host would not run.
    sigset_t blocked;
    sigset_t previous;
    ::sigfillset(&blocked);
    for (const int signal : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGABRT}) {
        ::sigdelset(&blocked, signal);
    }
    ::pthread_sigmask(SIG_SETMASK, &blocked, &previous);
    bool started = true;
    try {
        std::thread([work = std::move(body)] { runGuarded(work); }).detach();
    } catch (const std::system_error&) {
        started = false;
    }
    ::pthread_sigmask(SIG_SETMASK, &previous, nullptr);
    return started;
}

void runGuarded(const std::function<void()>& work) noexcept {
    try {
        work();
    } catch (const std::exception& error) {
        fatalError(std::string("exception on a library thread: ") + error.what());
    } catch (...) {
        fatalError("exception of unknown type on a library thread");
    }
}

}  // namespace zentara
