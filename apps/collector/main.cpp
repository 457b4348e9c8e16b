#include <pthread.h>
#include <sys/resource.h>
#include <unistd.h>
#include <zentara/HostApplication.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <iostream>
#include <optional>
#include <string>
#include <utility>

#include "collector/ExpectProgram.h"
#include "collector/Faults.h"
#include "collector/Front.h"
#include "collector/LogWriter.h"
#include "collector/Options.h"
#include "collector/QueryInterface.h"
#include "collector/Services.h"
#include "collector/TerminalLog.h"
#include "collector/data/EventRecorder.h"
#include "collector/data/SchemaCatalogue.h"
#include "collector/data/Store.h"
#include "collector/http/HttpServer.h"
#include "collector/http/LocalAuthority.h"

namespace {

using namespace zentara::collector;

// What is not handed on by then stays in the outbox.
constexpr std::chrono::seconds longestDrain{5};

std::string complaint(const std::string& message) {
    return "zentara-collector: " + message + "\n";
}

/// Blocks the signals that end the program, here and in the threads started from now on.
sigset_t blockEndSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGTERM);
    sigaddset(&signals, SIGINT);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    return signals;
}

/// A second signal ends the program at once.
void unblock(const sigset_t& signals) {
    std::signal(SIGTERM, SIG_DFL);
    std::signal(SIGINT, SIG_DFL);
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

std::filesystem::path dataFolder(const Options& options) {
    if (!options.data.empty()) return options.data;
    zentara::HostApplication::setBundleIdentifier("zentara-collector");
    if (auto folder = zentara::HostApplication::documentsDirectory()) return *std::move(folder);
    throw std::runtime_error(
        "no home directory for the certificate authority; name a folder with --data, or serve HTTP "
        "only with --no-https");
}

template <typename Text>
std::optional<Text> unlessEmpty(const std::string& text) {
    return text.empty() ? std::nullopt : std::optional<Text>(text);
}

std::string inURL(const std::string& host) {
    return host.find(':') == std::string::npos ? host : "[" + host + "]";
}

/// Listens; the message of a failure names `option`.
int listenOn(HttpServer& server, const std::string& host, int port, const std::string& option,
             const std::optional<TLSCredentials>& credentials = std::nullopt) {
    try {
        return server.listen(host, port, credentials);
    } catch (const std::runtime_error& error) {
        throw std::runtime_error(std::string(error.what()) + "; see --host and " + option +
                                 " (0 selects a free port)");
    }
}

/// Starts to listen, and writes the addresses to standard output for programs and to standard
/// error for users.
void listen(HttpServer& server, const Options& options, LogWriter& log) {
    const std::string host = inURL(options.host) + ":";
    const std::string page =
        "http://" + host + std::to_string(listenOn(server, options.host, options.port, "--port"));
    std::string lines = "listening " + page + "\n";
    std::string trust;
    if (options.https) {
        const LocalAuthority authority(dataFolder(options));
        const int port = listenOn(server, options.host, options.httpsPort, "--https-port",
                                  authority.issue({options.host}));
        const std::string file = authority.certificateFile().string();
        lines += "listening https://" + host + std::to_string(port) + "\nauthority " + file + "\n";
        if (authority.isNew()) {
            trust = "made a certificate authority; to trust it on this machine: sudo cp " + file +
                    " /usr/local/share/ca-certificates/zentara-collector.crt && sudo "
                    "update-ca-certificates";
        }
    }
    std::cout << lines << std::flush;
    if (!trust.empty()) log.add(complaint(trust));
    if (!options.quiet) log.add(complaint("the page is at " + page + "/"));
}

int serve(const Options& options) {
    const sigset_t endSignals = blockEndSignals();
    // A closed log must not end the collector.
    std::signal(SIGPIPE, SIG_IGN);

    raiseDescriptorLimit();
    LogWriter log(STDERR_FILENO);
    const auto complain = [&log](const std::string& message) {
        log.add(complaint(message));
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

    Services::Options serviceOptions;
    serviceOptions.forwarding = forwarding ? &*forwarding : nullptr;
    serviceOptions.recorder = recorder ? &*recorder : nullptr;
    serviceOptions.complaint = complain;
    if (!options.quiet) {
        serviceOptions.report = [&log, style = TerminalLog::styleFor(stderr)](const auto& report) {
            log.add(TerminalLog::lines(report, style));
        };
    }
    Services services(store, catalogue, faults, std::move(serviceOptions));
    QueryInterface queries(store, catalogue, faults);
    store.onChange([&queries] { queries.notify(); });
    Front front(services, queries);
    HttpServer server(front);
    listen(server, options, log);
    if (catalogue.refreshed()->schemas.empty()) {
        complain(options.schemas.empty()
                     ? "no schemas to serve; --schemas names their folder or bundle"
                     : "no schema named {id}-{version} in " + options.schemas);
    }

    int signal = 0;
    sigwait(&endSignals, &signal);
    unblock(endSignals);
    queries.stop();
    server.stop();
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
        std::cerr << complaint(error.what());
        return exitFailure;
    }
}
