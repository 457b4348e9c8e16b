#include "track/Interruption.h"

#include <pthread.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <iostream>
#include <string>
#include <thread>

#include "track/Sender.h"

namespace zentara::track {

namespace {

std::atomic<std::size_t> sentLines = 0;

bool isIgnored(int signal) {
    struct sigaction action {};
    return sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

/// Ends the process by the signal itself.
void endBy(int signal) {
    std::signal(signal, SIG_DFL);
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, signal);
    pthread_sigmask(SIG_UNBLOCK, &signals, nullptr);
    std::raise(signal);
}

}  // namespace

void reportInterruptions() {
    sigset_t signals;
    sigemptyset(&signals);
    for (const int signal : {SIGINT, SIGTERM}) {
        if (!isIgnored(signal)) sigaddset(&signals, signal);
    }
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    std::thread([signals] {
        int signal = 0;
        if (sigwait(&signals, &signal) != 0) return;
        // The terminal has just printed ^C.
        const std::string start = isatty(STDERR_FILENO) == 1 ? "\n" : "";
        std::cerr << start + "zentara-track: interrupted after line " + std::to_string(sentLines) +
                         "; " + Sender::queuedEvents() + '\n';
        endBy(signal);
    }).detach();
}

void noteSentLine(std::size_t number) noexcept {
    sentLines = number;
}

}  // namespace zentara::track
