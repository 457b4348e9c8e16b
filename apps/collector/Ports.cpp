#include "collector/Ports.h"

#include <zentara/HostApplication.h>

#include <filesystem>
#include <iostream>
#include <stdexcept>
#include <utility>

#include "collector/http/LocalAuthority.h"

namespace zentara::collector {

namespace {

constexpr const char* loopback = "127.0.0.1";

std::filesystem::path dataFolder(const Options& options) {
    if (!options.data.empty()) return options.data;
    HostApplication::setBundleIdentifier("zentara-collector");
    if (auto folder = HostApplication::documentsDirectory()) return *std::move(folder);
    throw std::runtime_error(
        "no home directory for the certificate authority; name a folder with --data, or serve HTTP "
        "only with --no-https");
}

std::string urlOf(const std::string& scheme, const std::string& host, int port) {
    const std::string name = host.find(':') == std::string::npos ? host : "[" + host + "]";
    return scheme + "://" + name + ":" + std::to_string(port);
}

HttpTimeouts timeoutsFor(const Options& options) {
    HttpTimeouts timeouts;
    if (options.service.drain) timeouts.stop = *options.service.drain;
    return timeouts;
}

HttpLimits limitsFor(const Options& options) {
    HttpLimits limits;
    limits.connectionsPerAddress = options.service.connectionsPerAddress.value_or(0);
    limits.exempt = options.service.trustedProxies;
    return limits;
}

/// Listens; the message of a failure names `option`.
int listenOn(HttpServer& server, const std::string& host, int port, const std::string& option,
             const std::optional<TLSCredentials>& credentials = std::nullopt,
             HostNames names = HostNames::byAddress) {
    try {
        return server.listen(host, port, credentials, names);
    } catch (const std::runtime_error& error) {
        throw std::runtime_error(std::string(error.what()) + "; see " + option +
                                 " (0 selects a free port)");
    }
}

}  // namespace

Ports::Ports(const Options& options, Front::Targets targets, RequestLog& log)
    : options_(options),
      targets_(targets),
      log_(log),
      services_(targets,
                {.services = true,
                 .page = !options.service.pagePort,
                 .metrics = !options.service.pagePort},
                {options.service.trustedProxies, options.service.requestsPerAddress}),
      page_(targets, {.page = true, .metrics = true}),
      metrics_(targets, {.metrics = true}),
      server_(services_, timeoutsFor(options), limitsFor(options)) {
    const auto& service = options.service;
    if (!service.certificate.empty()) certificate_.emplace(service.certificate, service.key);
    if (service.pagePort) pageServer_.emplace(page_, HttpTimeouts{}, HttpLimits{.threads = 2});
    if (service.metrics) metricsServer_.emplace(metrics_, HttpTimeouts{}, HttpLimits{.threads = 1});
}

void Ports::listen() {
    Announcement announcement;
    listenForServices(announcement);
    if (options_.https) listenForHTTPS(announcement);
    listenForOperators(announcement);
    std::cout << announcement.lines << std::flush;
    const auto tell = [this](const std::string& message) {
        log_.write(RequestLog::Level::info, message);
    };
    if (!announcement.trust.empty()) tell(announcement.trust);
    if (!options_.quiet) tell("the page is at " + announcement.page + "/");
}

void Ports::listenForServices(Announcement& announcement) {
    const int port = listenOn(server_, options_.host, options_.port, "--host and --port",
                              std::nullopt, options_.service.names());
    announcement.page = urlOf("http", options_.host, port);
    announcement.lines += "listening " + announcement.page + "\n";
}

void Ports::listenForHTTPS(Announcement& announcement) {
    const auto listenWith = [&](const TLSCredentials& credentials) {
        const int port = listenOn(server_, options_.host, options_.httpsPort,
                                  "--host and --https-port", credentials, options_.service.names());
        announcement.lines += "listening " + urlOf("https", options_.host, port) + "\n";
    };
    if (certificate_) return listenWith(certificate_->read());
    const LocalAuthority authority(dataFolder(options_));
    const std::string file = authority.certificateFile().string();
    listenWith(authority.issue({options_.host}));
    announcement.lines += "authority " + file + "\n";
    if (!authority.isNew()) return;
    announcement.trust = "made a certificate authority; to trust it on this machine: sudo cp " +
                         file +
                         " /usr/local/share/ca-certificates/zentara-collector.crt && sudo "
                         "update-ca-certificates";
}

void Ports::listenForOperators(Announcement& announcement) {
    if (pageServer_) {
        const int port =
            listenOn(*pageServer_, loopback, *options_.service.pagePort, "--page-port");
        announcement.page = urlOf("http", loopback, port);
        announcement.lines += "page " + announcement.page + "\n";
    }
    if (metricsServer_) {
        const auto& [host, wanted] = *options_.service.metrics;
        const int port = listenOn(*metricsServer_, host, wanted, "--metrics");
        announcement.lines += "metrics " + urlOf("http", host, port) + "\n";
    }
}

void Ports::refreshCertificate() {
    if (certificate_->haveChanged()) reloadCertificate();
}

void Ports::reloadCertificate() {
    try {
        server_.replaceCredentials(certificate_->read());
        log_.write(RequestLog::Level::info, "the certificate was read again");
    } catch (const std::runtime_error& error) {
        log_.write(RequestLog::Level::error,
                   std::string(error.what()) + "; the previous certificate stays in use");
    }
}

void Ports::stop() {
    // Requests that wait for events would delay the end of the port that they are on.
    if (!pageServer_) targets_.queries.stop();
    server_.stop();
    if (pageServer_) {
        targets_.queries.stop();
        pageServer_->stop();
    }
    if (metricsServer_) metricsServer_->stop();
}

}  // namespace zentara::collector
