#include <pthread.h>
#include <sys/resource.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <exception>
#include <filesystem>
#include <iostream>
#include <optional>
#include <string>
#include <utility>

#include "collector/ExpectProgram.h"
#include "collector/Faults.h"
#include "collector/Health.h"
#include "collector/Metrics.h"
#include "collector/Options.h"
#include "collector/Ports.h"
#include "collector/QueryInterface.h"
#include "collector/RequestLog.h"
#include "collector/Services.h"
#include "collector/data/EventRecorder.h"
#include "collector/data/SchemaCatalogue.h"
#include "collector/data/Store.h"

namespace {

using namespace zentara::collector;

// What is not handed on by then stays in the outbox.
constexpr std::chrono::seconds longestDrain{5};

/// Blocks the signals that the program waits for, here and in the threads started from now on.
sigset_t blockSignals(const Options& options) {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGTERM);
    sigaddset(&signals, SIGINT);
    if (!options.service.certificate.empty()) sigaddset(&signals, SIGHUP);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    return signals;
}

/// A second signal ends the program at once.
void unblock(const sigset_t& signals) {
    std::signal(SIGTERM, SIG_DFL);
    std::signal(SIGINT, SIG_DFL);
    if (sigismember(&signals, SIGHUP) == 1) std::signal(SIGHUP, SIG_IGN);
    pthread_sigmask(SIG_UNBLOCK, &signals, nullptr);
}

/// Every connection needs a descriptor, and the default limit is low on some systems.
void raiseDescriptorLimit() {
    constexpr rlim_t enough = 65'536;
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0 || limit.rlim_cur >= enough) return;
    limit.rlim_cur = std::min(limit.rlim_max, enough);
    (void)setrlimit(RLIMIT_NOFILE, &limit);
}

LogFormat formatOf(const Options& options) {
    return options.service.logsJSON ? LogFormat::json : LogFormat::text;
}

template <typename Text>
std::optional<Text> unlessEmpty(const std::string& text) {
    return text.empty() ? std::nullopt : std::optional<Text>(text);
}

/// Waits for a signal that ends the program. Meanwhile keeps a certificate in files current.
void waitForEnd(const sigset_t& signals, Ports& ports) {
    constexpr timespec betweenLooks{1, 0};
    for (int signal = 0;;) {
        if (!ports.hasCertificateFiles()) {
            sigwait(&signals, &signal);
            return;
        }
        signal = sigtimedwait(&signals, nullptr, &betweenLooks);
        if (signal == SIGHUP) {
            ports.reloadCertificate();
        } else if (signal > 0) {
            return;
        } else {
            ports.refreshCertificate();
        }
    }
}

int serve(const Options& options) {
    const sigset_t signals = blockSignals(options);
    // A closed log must not end the collector.
    std::signal(SIGPIPE, SIG_IGN);

    raiseDescriptorLimit();
    RequestLog log(formatOf(options));
    const auto complain = [&log](const std::string& message) {
        log.write(RequestLog::Level::warning, message);
    };

    Store store(unlessEmpty<std::filesystem::path>(options.database));
    SchemaCatalogue catalogue(unlessEmpty<std::filesystem::path>(options.schemas), complain);
    Faults faults;
    for (const auto& [service, fault] : options.faults)
        faults.set(service, fault);
    std::optional<EventRecorder> recorder;
    if (!options.record.empty()) recorder.emplace(options.record);

    std::optional<Forwarding> forwarding;
    if (!options.forwarding.url.empty()) forwarding.emplace(options.forwarding, store, complain);

    Metrics metrics(catalogue);
    Health health;
    Services::Options serviceOptions;
    serviceOptions.forwarding = forwarding ? &*forwarding : nullptr;
    serviceOptions.recorder = recorder ? &*recorder : nullptr;
    serviceOptions.complaint = complain;
    serviceOptions.report = [&, isQuiet = options.quiet](const auto& report) {
        metrics.count(report);
        if (!isQuiet) log.write(report);
    };
    Services services(store, catalogue, faults, std::move(serviceOptions));
    QueryInterface queries(store, catalogue, faults);
    store.onChange([&queries] { queries.notify(); });
    Ports ports(options, {services, queries, metrics, health}, log);
    metrics.add([&ports](std::string& text) { appendConnections(text, ports.connections()); });
    if (forwarding) {
        metrics.add([&forwarding](std::string& text) { text += forwarding->metrics(); });
        health.add([&forwarding] { return forwarding->whyFull(RequestLog::now()); });
    }
    ports.listen();
    if (catalogue.refreshed()->schemas.empty()) {
        complain(options.schemas.empty()
                     ? "no schemas to serve; --schemas names their folder or bundle"
                     : "no schema named {id}-{version} in " + options.schemas);
    }

    waitForEnd(signals, ports);
    unblock(signals);
    health.beginStop();
    ports.stop();
    if (forwarding) forwarding->stop(longestDrain);
    return exitStopped;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc > 1 && argv[1] == expectSubcommand) return becomeExpectProgram(argv + 1);
    const ParsedOptions parsed = parseOptions(argc, argv);
    if (!parsed.options) return parsed.exitCode;
    try {
        return serve(*parsed.options);
    } catch (const std::exception& error) {
        std::cerr << RequestLog::messageLine(formatOf(*parsed.options), RequestLog::Level::error,
                                             error.what(), RequestLog::now());
        return exitFailure;
    }
}
