#include <pthread.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <array>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <ctime>
#include <exception>
#include <iostream>
#include <optional>
#include <string>

#include "collector/EventRecorder.h"
#include "collector/SchemaFolder.h"
#include "collector/Server.h"
#include "collector/Services.h"
#include "collector/Store.h"

namespace {

using namespace zentara::collector;

constexpr int exitFailure = 1;
constexpr int exitUsage = 2;

struct Options {
    int port = 8080;
    std::string schemas;
    std::string record;
    bool quiet = false;
};

constexpr const char* description =
    "A collector and schemas service for development and tests, on this machine only.";

constexpr const char* details = R"(Services:
  GET    /schemas             the table of all schemas, keyed "{id}-{version}"
  GET    /id                  an anonymous identity; the cookie qvn_uid renews it
  POST   /event               takes an envelope; 400, 415 or 422 tell what is wrong with it
What was received:
  GET    /received/summary    counts: envelopes, events, distinct actions, duplicates, schemas
  GET    /received/events     events with the facts of their envelope (?schema=ID-VERSION)
  GET    /received/envelopes  envelopes as posted, with the request's headers
  GET    /received/requests   requests to the services above
  DELETE /received            forgets all of it
The lists take ?offset=N and ?limit=N. Bodies have at most 16 MiB.

Everything is kept in memory until the end: all envelopes and events, and the latest 100000
requests. The first line on standard output is "listening http://127.0.0.1:PORT"; requests are
logged on standard error. SIGTERM or SIGINT ends the program with exit code 0; it ends with 1 when
the port or a file cannot be had, and with 2 when the command line is not understood.

Example: zentara-collector --schemas examples/schemas --record received.jsonl)";

void logLine(const std::string& message) {
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    std::array<char, 16> clock{};
    std::strftime(clock.data(), clock.size(), "%H:%M:%S", &local);
    const std::string line = std::string(clock.data()) + " " + message + "\n";
    std::fwrite(line.data(), 1, line.size(), stderr);
}

std::string schemasTable(const std::string& folder) {
    if (folder.empty()) return "{}";
    SchemaTable table = readSchemaFolder(folder);
    for (const auto& problem : table.problems) {
        std::cerr << "zentara-collector: schema left out: " << problem << '\n';
    }
    return std::move(table.json);
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

int serve(const Options& options) {
    const sigset_t endSignals = blockEndSignals();

    Store store;
    std::optional<EventRecorder> recorder;
    if (!options.record.empty()) recorder.emplace(options.record);
    Services services(store, {.schemasTable = schemasTable(options.schemas),
                              .recorder = recorder ? &*recorder : nullptr,
                              .log = options.quiet ? nullptr : logLine});

    std::atomic<bool> broken = false;
    Server server(services);
    const int port = server.start(options.port, [&broken] {
        broken = true;
        kill(getpid(), SIGTERM);
    });
    std::cout << "listening http://127.0.0.1:" << port << std::endl;

    int signal = 0;
    sigwait(&endSignals, &signal);
    server.stop();
    if (broken) std::cerr << "zentara-collector: the listening socket broke\n";
    return broken ? exitFailure : 0;
}

}  // namespace

int main(int argc, char** argv) {
    Options options;
    CLI::App app(description, "zentara-collector");
    app.footer(details);
    app.add_option("--port", options.port, "The port to listen on; 0 for a free one")
        ->type_name("PORT")
        ->check(CLI::Range(0, 65535).description(""))
        ->capture_default_str();
    app.add_option("--schemas", options.schemas,
                   "A folder of files {id}-{version}.json, the schemas to serve")
        ->type_name("DIR")
        ->check(CLI::Validator(CLI::ExistingDirectory).description(""));
    app.add_option("--record", options.record,
                   "Append each received event to this file, as a JSON line")
        ->type_name("FILE");
    app.add_flag("--quiet", options.quiet, "Do not log requests");
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? 0 : exitUsage;
    }

    try {
        return serve(options);
    } catch (const std::exception& error) {
        std::cerr << "zentara-collector: " << error.what() << '\n';
        return exitFailure;
    }
}
