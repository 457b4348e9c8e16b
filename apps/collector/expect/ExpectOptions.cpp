#include "collector/expect/ExpectOptions.h"

#include <chrono>
#include <cstdint>
#include <string_view>
#include <utility>
#include <vector>

#include "commandline/CommandLine.h"

namespace zentara::collector {

namespace {

using std::chrono::milliseconds;

constexpr const char* expectDescription =
    "Waits until events have arrived at a running collector, and tells what arrived instead.\n"
    "For tests in shell scripts and CI.";

constexpr const char* expectDetails = R"(
All options that select events must match. Events are good, bad or both (--any) as the collector has
checked them against their schemas.

A property is named by its path, with dots between the members of nested objects; a number, a
boolean or null is compared by its JSON text.

With --none and --exactly the whole time passes, unless too many events arrive.

Exit codes: 0 met; 1 not met; 2 the command line is invalid or the report cannot be written; 3 the
collector cannot be reached.

Examples:
  zentara-collector expect --schema page-view-1 --count 3 --property section=home
  zentara-collector expect --bad --none --within 0s --junit bad-events.xml)";

// As long as the collector lets a request wait.
constexpr milliseconds longestWithin = std::chrono::minutes(10);

/// "500ms", "10s" or "2m".
std::optional<milliseconds> readDuration(std::string_view text) {
    const std::pair<std::string_view, double> units[] = {{"ms", 1}, {"s", 1e3}, {"m", 60e3}};
    for (const auto& [unit, size] : units) {
        if (!text.ends_with(unit)) continue;
        const auto number =
            commandline::readNumber(std::string(text.substr(0, text.size() - unit.size())));
        if (!number || !(*number >= 0) || *number * size > longestWithin.count()) continue;
        return milliseconds(static_cast<std::int64_t>(*number * size));
    }
    return std::nullopt;
}

commandline::Check readsDuration(milliseconds& duration) {
    return [&duration](const std::string& text) -> std::string {
        const auto read = readDuration(text);
        if (!read) return "a time such as 500ms, 10s or 2m is expected, at most 10m, not " + text;
        duration = *read;
        return {};
    };
}

commandline::Check readsProperty(EventSelection& selection) {
    return [&selection](const std::string& text) -> std::string {
        const auto equals = text.find('=');
        if (equals == std::string::npos || equals == 0) {
            return "PATH=VALUE is expected, not " + text;
        }
        selection.properties.emplace_back(text.substr(0, equals), text.substr(equals + 1));
        return {};
    };
}

void addSelection(commandline::Command& program, EventSelection& selection,
                  std::vector<std::string>& properties) {
    program.option("--schema", &selection.schema, "ID-VERSION", "Events of this schema");
    program
        .option("--property", &properties, "PATH=VALUE",
                "Events with this property; may be repeated")
        .check(readsProperty(selection));
    program.option("--user", &selection.user, "TOKEN", "Events of this user: TOKEN or TYPE=TOKEN");
    program.option("--tenant", &selection.tenant, "NAME", "Events of this tenant");
    program.option("--client", &selection.client, "UUID", "Events of this client");
    program.option("--text", &selection.text, "TEXT",
                   "Events with this text anywhere in their JSON");
}

}  // namespace

ParsedExpectOptions parseExpectOptions(int argc, const char* const* argv) {
    ExpectOptions options;
    Expectation& expectation = options.expectation;
    EventSelection& selection = expectation.selection;
    std::vector<std::string> properties;
    std::string within = "10s";
    std::uint64_t count = 1;
    std::int64_t since = 0;
    bool bad = false;
    bool any = false;
    bool none = false;

    commandline::CommandLine program("zentara-collector expect", expectDescription, expectDetails);
    program
        .option("--collector", &options.collector, "URL", "The address that the collector prints")
        .showDefault();
    addSelection(program, selection, properties);
    const auto sinceOption = program.option(
        "--since", &since, "TIME", "Events received then or later, in milliseconds since 1970");
    program.flag("--bad", bad, "Bad events instead of good ones");
    program.flag("--any", any, "Good and bad events");
    const auto countOption =
        program.option("--count", &count, "NUMBER", "How many events are to arrive at least")
            .between(1, std::int64_t{1} << 53)
            .showDefault();
    program.flag("--exactly", expectation.exactly, "No more than that number");
    program.flag("--none", none, "No event at all");
    program
        .option("--within", &within, "TIME",
                "How long to wait: 500ms, 10s or 2m; 0s for what has arrived already")
        .check(readsDuration(expectation.within))
        .showDefault();
    program.option("--junit", &options.junitFile, "FILE",
                   "Write a report with one test case, in JUnit's XML");
    program
        .option("--ca", &options.authorityFile, "FILE",
                "The certificate authority of the collector, for https")
        .existingFile();

    const auto outcome = program.parse(argc, argv, [&]() -> std::string {
        if (bad && any) return "--bad and --any exclude each other";
        if (none && (countOption.isGiven() || expectation.exactly)) {
            return "--none excludes --count and --exactly";
        }
        return {};
    });
    using enum commandline::CommandLine::Outcome;
    if (outcome != accepted) return {std::nullopt, outcome == helpShown ? exitMet : exitWrongUsage};
    expectation.count = none ? 0 : count;
    expectation.exactly |= none;
    if (sinceOption.isGiven()) selection.since = since;
    if (bad) selection.verdict = EventSelection::Verdict::bad;
    if (any) selection.verdict = EventSelection::Verdict::any;
    return {std::move(options), exitMet};
}

}  // namespace zentara::collector
