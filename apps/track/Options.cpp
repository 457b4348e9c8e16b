#include "track/Options.h"

#include <cmath>

#include "commandline/CommandLine.h"

namespace zentara::track {

namespace {

constexpr const char* description =
    "Sends events from a file or a pipe through ZentaraClient, until the queue is empty.";

constexpr const char* details = R"(Each line of input is one event, a JSON object:
  {"schemaId":"page-view","schemaVersion":"1","contentType":"application/json",
   "url":"https://example.com/","referer":"","properties":{"title":"Home"},"relationId":null}
Only schemaId and schemaVersion are required. A line that is not an event (or is longer than 1 MiB)
is reported and skipped. A member with another name is reported and ignored. "expected", in which
zentara-schemas sample notes why an event will be refused, is ignored without a word.

Without --no-drain events are delivered after every 1000 and at the end, since the queue holds 8000
and evicts its oldest beyond that. Events that cannot be delivered stay in the documents directory
and are sent by the next run. Ctrl-C and SIGTERM print their number.

Exit codes: 0 every line accepted and delivered; 1 a line was refused or unreadable, the others were
delivered; 2 events are still queued; 3 the command line, a file or the configuration is invalid;
4 no schemas within --ready-timeout, nothing was sent.

Example: zentara-track --collector http://127.0.0.1:8080 examples/events.jsonl)";

std::string checkLoggedUser(const std::string& text) {
    return parseLoggedUser(text) ? "" : "QVNID:TOKEN, GST:TOKEN or EXT_ID:TOKEN is expected";
}

std::string checkSeconds(const std::string& text) {
    const auto seconds = commandline::readNumber(text);
    if (seconds && 0 <= *seconds && *seconds <= 1e6) return "";
    return "seconds from 0 to 1000000 are expected, not " + text;
}

std::chrono::milliseconds milliseconds(double seconds) {
    return std::chrono::milliseconds(std::llround(seconds * 1000));
}

}  // namespace

std::optional<LoggedUser> parseLoggedUser(const std::string& text) {
    const auto colon = text.find(':');
    if (colon == std::string::npos || colon + 1 == text.size()) return std::nullopt;
    for (std::int64_t raw = 0; const auto type = userTokenType(raw); ++raw) {
        if (text.substr(0, colon) == userTokenTypeName(*type)) {
            return LoggedUser{*type, text.substr(colon + 1)};
        }
    }
    return std::nullopt;
}

ParsedOptions parseOptions(int argc, const char* const* argv) {
    Options options;
    std::string environment = "qa";
    std::string loggedUser;
    double readyTimeout = 30;
    double drainTimeout = 30;
    bool noDrain = false;

    commandline::CommandLine program("zentara-track", description, details);
    program.option("events", &options.input, "FILE", "The file of events; - for standard input")
        .showDefault();
    program.option("--tenant", &options.tenant, "NAME", "The tenant that the events belong to")
        .showDefault();
    program.option("--environment", &environment, "NAME", "production or qa")
        .oneOf({"production", "qa"})
        .showDefault();
    program.option("--collector", &options.collector, "URL", "The collector of the environment");
    program.option("--schemas", &options.schemas, "URL",
                   "The schemas service of the environment (default: --collector when given)");
    program
        .option("--ca", &options.certificateAuthority, "FILE",
                "A PEM file of the certificate authorities to trust, instead of the system's")
        .existingFile();
    program.option("--advertising-id", &options.advertisingId, "ID", "The advertising id");
    program
        .option("--logged-user", &loggedUser, "TYPE:TOKEN",
                "The user: QVNID:, GST: or EXT_ID: and a token")
        .check(checkLoggedUser);
    program.option("--bundle-id", &options.bundleIdentifier, "ID", "The name of the application");
    program.option("--documents", &options.documents, "DIR",
                   "Where the queue and the identity are kept");
    program.option("--preferences", &options.preferences, "DIR",
                   "Where the preferences are kept (default: --documents when given)");
    program.option("--ready-timeout", &readyTimeout, "SECONDS", "Seconds to wait for the schemas")
        .check(checkSeconds)
        .showDefault();
    program
        .option("--drain-timeout", &drainTimeout, "SECONDS",
                "Seconds without a delivery after which it gives up")
        .check(checkSeconds)
        .showDefault();
    program.flag("--no-drain", noDrain, "Leave the events in the queue");
    program.option("--results", &options.results, "FILE",
                   "Write a JSON line for each line of input: line, schema, outcome, message");
    program.flag("--verbose", options.verbose, "Print the outcome of every line");
    using enum commandline::CommandLine::Outcome;
    if (const auto outcome = program.parse(argc, argv); outcome != accepted)
        return {std::nullopt, outcome == helpShown ? exitComplete : exitUsage};

    options.environment =
        environment == "qa" ? ZentaraEnvironment::qa : ZentaraEnvironment::production;
    if (options.schemas.empty()) options.schemas = options.collector;
    if (options.preferences.empty()) options.preferences = options.documents;
    options.loggedUser = parseLoggedUser(loggedUser);
    options.readyTimeout = milliseconds(readyTimeout);
    options.drainTimeout = milliseconds(drainTimeout);
    options.drain = !noDrain;
    return {options, exitComplete};
}

}  // namespace zentara::track
