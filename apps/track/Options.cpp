#include "track/Options.h"

#include <CLI/CLI.hpp>
#include <cmath>

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
    double seconds = -1;
    const bool isNumber = CLI::detail::lexical_cast(text, seconds);
    if (isNumber && 0 <= seconds && seconds <= 1e6) return "";
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

    CLI::App app(description, "zentara-track");
    app.footer(details);
    app.set_version_flag("--version", ZENTARA_VERSION);
    app.add_option("events", options.input, "The file of events; - for standard input")
        ->type_name("FILE")
        ->capture_default_str();
    app.add_option("--tenant", options.tenant, "The tenant that the events belong to")
        ->type_name("NAME")
        ->capture_default_str();
    app.add_option("--environment", environment, "production or qa")
        ->type_name("NAME")
        ->check(CLI::IsMember({"production", "qa"}).description(""))
        ->capture_default_str();
    app.add_option("--collector", options.collector, "The collector of the environment")
        ->type_name("URL");
    app.add_option("--schemas", options.schemas,
                   "The schemas service of the environment (default: --collector when given)")
        ->type_name("URL");
    app.add_option("--ca", options.certificateAuthority,
                   "A PEM file of the certificate authorities to trust, instead of the system's")
        ->type_name("FILE")
        ->check(CLI::ExistingFile.description(""));
    app.add_option("--advertising-id", options.advertisingId, "The advertising id")
        ->type_name("ID");
    app.add_option("--logged-user", loggedUser, "The user: QVNID:, GST: or EXT_ID: and a token")
        ->type_name("TYPE:TOKEN")
        ->check(CLI::Validator(checkLoggedUser, ""));
    app.add_option("--bundle-id", options.bundleIdentifier, "The name of the application")
        ->type_name("ID");
    app.add_option("--documents", options.documents, "Where the queue and the identity are kept")
        ->type_name("DIR");
    app.add_option("--preferences", options.preferences,
                   "Where the preferences are kept (default: --documents when given)")
        ->type_name("DIR");
    app.add_option("--ready-timeout", readyTimeout, "Seconds to wait for the schemas")
        ->type_name("SECONDS")
        ->check(CLI::Validator(checkSeconds, ""))
        ->capture_default_str();
    app.add_option("--drain-timeout", drainTimeout,
                   "Seconds without a delivery after which it gives up")
        ->type_name("SECONDS")
        ->check(CLI::Validator(checkSeconds, ""))
        ->capture_default_str();
    app.add_flag("--no-drain", noDrain, "Leave the events in the queue");
    app.add_option("--results", options.results,
                   "Write a JSON line for each line of input: line, schema, outcome, message")
        ->type_name("FILE");
    app.add_flag("--verbose", options.verbose, "Print the outcome of every line");
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return {std::nullopt, app.exit(error) == 0 ? exitComplete : exitUsage};
    }

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
