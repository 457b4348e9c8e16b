#include "collector/ServiceOptions.h"

#include <cmath>

#include "collector/http/ClientAddress.h"
#include "commandline/CommandLine.h"

namespace zentara::collector {

namespace {

constexpr double mostDrainSeconds = 86'400;
constexpr double mostOfAnAddress = 1'000'000;

/// Splits "127.0.0.1:9100" and "[::1]:9100".
std::optional<std::pair<std::string, int>> hostAndPort(const std::string& text) {
    const std::size_t colon = text.rfind(':');
    if (colon == std::string::npos || colon == 0) return std::nullopt;
    const auto port = commandline::readPort(text.substr(colon + 1));
    if (!port) return std::nullopt;
    std::string host = text.substr(0, colon);
    if (host.starts_with('[') && host.ends_with(']')) host = host.substr(1, host.size() - 2);
    return std::pair(std::move(host), *port);
}

std::optional<std::chrono::milliseconds> drainTime(const std::string& text) {
    const auto seconds = commandline::readNumber(text);
    if (!seconds || !(*seconds >= 0 && *seconds <= mostDrainSeconds)) return std::nullopt;
    return std::chrono::milliseconds(std::llround(*seconds * 1000));
}

std::optional<std::size_t> connectionCount(const std::string& text) {
    const auto number = commandline::readNumber(text);
    if (!number || !(*number >= 1 && *number <= mostOfAnAddress) || std::trunc(*number) != *number)
        return std::nullopt;
    return static_cast<std::size_t>(*number);
}

/// Reads "5" and "5/s".
std::optional<double> requestsPerSecond(const std::string& text) {
    const bool hasUnit = text.ends_with("/s");
    const auto number = commandline::readNumber(text.substr(0, text.size() - (hasUnit ? 2 : 0)));
    if (!number || !(*number > 0 && *number <= mostOfAnAddress)) return std::nullopt;
    return number;
}

/// Reads a text into `target`; the message of a failure names what is expected.
template <typename Value, typename Read>
commandline::Check reads(std::optional<Value>& target, Read read, const std::string& expected) {
    return [&target, read, expected](const std::string& text) -> std::string {
        target = read(text);
        return target ? "" : expected + " is expected, not " + text;
    };
}

}  // namespace

ServiceOptions::ServiceOptions(commandline::CommandLine& program, ServiceSettings& settings) {
    program.flag("--reachable-from-the-network", settings.isReachable,
                 "Let other machines use the three services; there are no passwords. The page, "
                 "queries, faults and metrics move to --page-port");
    program
        .option("--page-port", &pagePort_, "PORT",
                "A port on loopback of their own for the page, queries, faults and metrics; with "
                "the flag above 8081 by default, or a free one when --port is 0")
        .check(reads(settings.pagePort, commandline::readPort, "a port from 0 to 65535"));
    program
        .option("--metrics", &metrics_, "HOST:PORT",
                "Serve /metrics and /health, and nothing else, there too")
        .check(reads(settings.metrics, hostAndPort, "HOST:PORT"));
    auto certificate =
        program
            .option("--certificate", &settings.certificate, "FILE",
                    "The certificate for HTTPS with its chain, in PEM, instead of the local "
                    "authority's; read again when it changes and on SIGHUP")
            .existingFile();
    program.option("--key", &settings.key, "FILE", "The private key of --certificate, in PEM")
        .existingFile()
        .needs("--certificate");
    certificate.needs("--key");
    program
        .option("--drain", &drain_, "SECONDS",
                "The time that open requests have at the end before they are cut off")
        .check(reads(settings.drain, drainTime, "a number of seconds up to 86400"));
    program
        .option("--connections-per-address", &connections_, "N",
                "Close connections beyond this number from an address at once")
        .check(reads(settings.connectionsPerAddress, connectionCount, "a number from 1 on"));
    program
        .option("--requests-per-address", &requests_, "N/s",
                "Refuse requests of an address beyond this number a second, with status 429")
        .check(reads(settings.requestsPerAddress, requestsPerSecond, "a number above 0, or N/s,"));
    program
        .option("--trusted-proxy", &proxies_, "ADDRESS",
                "Take the address of a client from X-Forwarded-For if this proxy sends it; may be "
                "repeated")
        .check([&settings](const std::string& text) -> std::string {
            auto address = canonicalAddress(text);
            if (!address) return "an IP address is expected, not " + text;
            settings.trustedProxies.push_back(*std::move(address));
            return {};
        });
    program
        .option("--log", &log_, "FORMAT", "The lines on standard error: text, or json for programs")
        .check([&settings](const std::string& text) -> std::string {
            settings.logsJSON = text == "json";
            return settings.logsJSON || text == "text" ? ""
                                                       : "text or json is expected, not " + text;
        })
        .showDefault();
}

}  // namespace zentara::collector
