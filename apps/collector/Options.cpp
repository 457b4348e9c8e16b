#include "collector/Options.h"

#include <CLI/CLI.hpp>
#include <filesystem>
#include <iostream>
#include <variant>

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
The page is at the first of them. Standard error has a line for each event and for each other
request to the services.

Services:   GET /schemas, GET /id, POST /event
Queries:    GET /received/summary, /received/events, /received/wait and others; DELETE /received
Schemas:    GET /catalogue shows the events to people, GET /received/schemas the faults of schemas
Faults:     GET /faults, PUT and DELETE /faults/{schemas|id|event|all}
docs/collector.md describes them.

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

/// Uses a check of CLI11 without its text in the help.
CLI::Validator quietly(CLI::Validator check) {
    return check.description("");
}

std::string checkPort(const std::string& text) {
    int port = -1;
    if (CLI::detail::lexical_cast(text, port) && 0 <= port && port <= 65535) return "";
    return "a port from 0 to 65535 is expected, not " + text;
}

bool isSameFile(const std::filesystem::path& one, const std::filesystem::path& other) {
    return std::filesystem::weakly_canonical(one) == std::filesystem::weakly_canonical(other);
}

CLI::Validator readsFault(Options& options) {
    return {[&options](const std::string& text) -> std::string {
                auto read = readFaultOption(text);
                if (const auto* reason = std::get_if<std::string>(&read)) return *reason;
                for (const auto& switched : std::get<0>(read))
                    options.faults.push_back(switched);
                return {};
            },
            ""};
}

}  // namespace

ParsedOptions parseOptions(int argc, const char* const* argv) {
    Options options;
    bool reachable = false;
    bool noHttps = false;
    std::vector<std::string> faults;

    CLI::App app(description, "zentara-collector");
    app.footer(details);
    app.set_version_flag("--version", ZENTARA_VERSION);
    app.add_option("--port", options.port, "The port for HTTP; 0 for a free one")
        ->type_name("PORT")
        ->check(CLI::Validator(checkPort, ""))
        ->capture_default_str();
    auto* httpsPort =
        app.add_option("--https-port", options.httpsPort,
                       "The port for HTTPS; 0 for a free one, as by default when --port is 0")
            ->type_name("PORT")
            ->check(CLI::Validator(checkPort, ""))
            ->capture_default_str();
    app.add_flag("--no-https", noHttps, "Serve HTTP only; no data folder is needed then");
    app.add_option("--schemas", options.schemas,
                   "A folder of files {id}-{version}.json, or a file with one object of them, the "
                   "schemas to serve; changes are seen while running")
        ->type_name("DIR|FILE")
        ->check(quietly(CLI::ExistingPath));
    app.add_option("--database", options.database,
                   "Store what is received in this SQLite file; in memory by default")
        ->type_name("FILE");
    app.add_option("--record", options.record,
                   "Append each received event to this file, as a JSON line")
        ->type_name("FILE");
    app.add_option("--data", options.data,
                   "The folder of the certificate authority; by default "
                   "$XDG_DATA_HOME/zentara-collector or ~/.local/share/zentara-collector")
        ->type_name("DIR");
    app.add_option("--fault", faults, "A fault to imitate, see below; may be repeated")
        ->type_name("SERVICE:SETTINGS")
        ->check(readsFault(options));
    app.add_option("--host", options.host,
                   "The address to listen on; beyond loopback only with the flag that follows")
        ->type_name("ADDRESS")
        ->capture_default_str();
    app.add_flag("--reachable-from-the-network", reachable,
                 "Let other machines read, send and delete; there are no passwords");
    app.add_flag("--quiet", options.quiet, "No line for each event and request");
    try {
        app.parse(argc, argv);
        if (!reachable && !isLoopbackHost(options.host)) {
            throw CLI::ValidationError(
                "--host " + options.host +
                " would let other machines read, send and delete what is here; if that is wanted, "
                "add --reachable-from-the-network");
        }
        if (!options.record.empty() && isSameFile(options.record, options.database)) {
            throw CLI::ValidationError("--record and --database name the same file");
        }
    } catch (const CLI::ParseError& error) {
        return {std::nullopt, app.exit(error) == 0 ? exitStopped : exitUsage};
    }
    options.https = !noHttps;
    if (options.port == 0 && httpsPort->count() == 0) options.httpsPort = 0;
    return {options, exitStopped};
}

}  // namespace zentara::collector
