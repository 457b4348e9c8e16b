#include "collector/Options.h"

#include <filesystem>
#include <iostream>
#include <variant>

#include "collector/forward/SinkModule.h"
#include "commandline/CommandLine.h"
#include "network/InternetAddress.h"

namespace zentara::collector {

namespace {

constexpr const char* description =
    "A local collector for development and tests. It serves schemas, issues identities, accepts,\n"
    "checks and stores events, and shows them on a web page.";

constexpr const char* details = R"(
On standard output, one line each, once connections are accepted:
  listening http://127.0.0.1:8080
  listening https://127.0.0.1:8443
  authority /home/me/.local/share/zentara-collector/ca.pem
The page is at the first of them, or at "page URL" if it has a port of its own. Standard error has a line for each event and for each other
request to the services.

Services:   GET /schemas, GET /id, POST /event
Queries:    GET /received/summary, /received/events, /received/wait and others; DELETE /received
Schemas:    GET /catalogue shows the events to people, GET /received/schemas the faults of schemas
Faults:     GET /faults, PUT and DELETE /faults/{schemas|id|event|all}
Operation:  GET /health, /health/live, /health/ready and /metrics
docs/collector.md describes them, and docs/deployment.md the options of a service.

HTTPS: the certificate is signed by an authority of this machine, which is made at the first start
and kept in the data folder. Name its file to the application (ZentaraEndpoints), to
zentara-track --ca or to curl --cacert.

Faults, for example:
  --fault event:status=503                        every envelope is refused
  --fault event:answer=lost,rate=0.1              a tenth is stored but not acknowledged
  --fault all:latency=2000                        every answer is 2 s late
  --fault event:answer=none,times=1               the next envelope gets no answer
  answer is one of normal, status, none, dropped, lost, truncated, garbage, not-http;
  readingPace=N reads N bytes a second of what is posted.

SIGTERM and SIGINT end the program with exit code 0 after the requests in flight are answered. It
ends with 1 if a port, a file or a folder cannot be used, and with 2 if the command line is
invalid.

Example: zentara-collector --schemas examples/schemas --database events.sqlite)";

constexpr int defaultPagePort = 8081;

std::string checkPort(const std::string& text) {
    return commandline::readPort(text) ? "" : "a port from 0 to 65535 is expected, not " + text;
}

/// The options of an outbox in the units of the command line.
struct OutboxOptions {
    std::string file;
    std::int64_t megabytes = 1024;
    std::int64_t hours = 168;
    std::int64_t shown = 10'000;

    void copyTo(Forwarding::Options& options) const {
        options.outbox = file;
        options.limits.bytes = megabytes * 1'000'000;
        options.limits.age = std::chrono::hours(hours);
        options.shown = static_cast<std::size_t>(shown);
    }
};

bool isSameFile(const std::filesystem::path& one, const std::filesystem::path& other) {
    return std::filesystem::weakly_canonical(one) == std::filesystem::weakly_canonical(other);
}

commandline::Check readsFault(Options& options) {
    return [&options](const std::string& text) -> std::string {
        auto read = readFaultOption(text);
        if (const auto* reason = std::get_if<std::string>(&read)) return *reason;
        for (const auto& switched : std::get<0>(read))
            options.faults.push_back(switched);
        return {};
    };
}

}  // namespace

void addForwarding(commandline::CommandLine& program, Forwarding::Options& options,
                   OutboxOptions& outbox) {
    program
        .option("--forward", &options.url, "URL",
                "Hand every event on to kafka://BROKER,BROKER/TOPIC or to a database, "
                "postgresql://HOST/NAME")
        .check([](const std::string& url) {
            if (!sinkModuleFor(url).empty()) return std::string();
            return "kafka://BROKER/TOPIC or postgresql://HOST/NAME is expected, not " + url;
        });
    program
        .option("--forward-settings", &options.settings, "FILE",
                "More about it, with its passwords: lines NAME=VALUE in librdkafka's format")
        .existingFile()
        .needs("--forward");
    program
        .option("--outbox", &outbox.file, "FILE",
                "Keep each event in this SQLite file from before its acknowledgement until it is "
                "handed on")
        .needs("--forward");
    program
        .option("--outbox-megabytes", &outbox.megabytes, "COUNT",
                "When so much waits, refuse events with 503, so that clients keep them")
        .between(1, 1'000'000)
        .showDefault();
    program
        .option("--outbox-hours", &outbox.hours, "COUNT",
                "The same when an event has waited so long")
        .between(1, 10'000)
        .showDefault();
    program.flag(
        "--flush-before-answer", options.limits.flush,
        "Write events to the disk before they are acknowledged, so that they survive a loss of "
        "power");
    program
        .option("--show", &outbox.shown, "COUNT",
                "With --forward, the number of events that the page and the queries know")
        .between(1, 10'000'000)
        .showDefault();
}

ParsedOptions parseOptions(int argc, const char* const* argv) {
    Options options;
    bool noHttps = false;
    std::vector<std::string> faults;
    OutboxOptions outbox;

    commandline::CommandLine program("zentara-collector", description, details);
    program.option("--port", &options.port, "PORT", "The port for HTTP; 0 for a free one")
        .check(checkPort)
        .showDefault();
    const auto httpsPort =
        program
            .option("--https-port", &options.httpsPort, "PORT",
                    "The port for HTTPS; 0 for a free one, as by default when --port is 0")
            .check(checkPort)
            .showDefault();
    program.flag("--no-https", noHttps, "Serve HTTP only; no data folder is needed then");
    program
        .option("--schemas", &options.schemas, "DIR|FILE",
                "A folder of files {id}-{version}.json, or a file with one object of them, the "
                "schemas to serve; changes are seen while running")
        .existingPath();
    program.option("--database", &options.database, "FILE",
                   "Store what is received in this SQLite file; in memory by default");
    program.option("--record", &options.record, "FILE",
                   "Append each received event to this file, as a JSON line");
    program.option("--data", &options.data, "DIR",
                   "The folder of the certificate authority; by default "
                   "$XDG_DATA_HOME/zentara-collector or ~/.local/share/zentara-collector");
    program
        .option("--fault", &faults, "SERVICE:SETTINGS",
                "A fault to imitate, see below; may be repeated")
        .check(readsFault(options));
    program
        .option("--host", &options.host, "ADDRESS",
                "The address to listen on; beyond loopback only with the flag that follows")
        .showDefault();
    addForwarding(program, options.forwarding, outbox);
    program.flag("--quiet", options.quiet, "No line for each event and request");
    const ServiceOptions serviceOptions(program, options.service);

    bool isExpect = false;
    program.subcommand(std::string(expectSubcommand),
                       "Waits for events at a running collector, for tests; expect --help lists "
                       "its options",
                       "", [&isExpect] { isExpect = true; });

    const auto outcome = program.parse(argc, argv, [&]() -> std::string {
        if (isExpect) return "expect is the first argument, or none";
        if (!options.service.isReachable && !isLoopbackHost(options.host)) {
            return "--host " + options.host +
                   " would let other machines send events and read the schemas; if that is "
                   "wanted, add --reachable-from-the-network";
        }
        const bool forwards = !options.forwarding.url.empty();
        if (forwards && outbox.file.empty()) return "--forward needs --outbox";
        if (forwards && !(options.record.empty() && options.database.empty()))
            return "--forward keeps events in --outbox, not in --database or --record";
        if (noHttps && !options.service.certificate.empty())
            return "--certificate is for HTTPS, which --no-https turns off";
        if (!options.record.empty() && isSameFile(options.record, options.database))
            return "--record and --database name the same file";
        return {};
    });
    using enum commandline::CommandLine::Outcome;
    if (outcome != accepted) return {std::nullopt, outcome == helpShown ? exitStopped : exitUsage};
    options.https = !noHttps;
    outbox.copyTo(options.forwarding);
    if (options.port == 0 && !httpsPort.isGiven()) options.httpsPort = 0;
    if (options.service.isReachable && !options.service.pagePort)
        options.service.pagePort = options.port == 0 ? 0 : defaultPagePort;
    return {options, exitStopped};
}

}  // namespace zentara::collector
