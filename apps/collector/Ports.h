#pragma once

#include <optional>
#include <string>

#include "collector/Front.h"
#include "collector/Options.h"
#include "collector/RequestLog.h"
#include "collector/http/CertificateFiles.h"
#include "collector/http/HttpServer.h"

namespace zentara::collector {

/// The ports of the program. Everything is on the port for HTTP and on that for HTTPS, unless the
/// page has a port of its own: then these two have the services only. For one thread at a time.
class Ports {
  public:
    /// `targets` and `log` outlive the ports.
    Ports(const Options& options, Front::Targets targets, RequestLog& log);
    Ports(const Ports&) = delete;
    Ports& operator=(const Ports&) = delete;

    /// Starts to listen, and writes the addresses to standard output for programs and to the log
    /// for users. Throws `std::runtime_error` with a message for the user.
    void listen();

    /// Whether the certificate comes from files, to be looked at from time to time.
    [[nodiscard]] bool hasCertificateFiles() const noexcept { return certificate_.has_value(); }
    /// Reads the certificate again if its files have changed.
    void refreshCertificate();
    /// Reads it again. If it cannot be used, the previous one stays in use, with a message.
    void reloadCertificate();

    /// Stops accepting, answers the open requests and ends. Other ports end after that of the
    /// services.
    void stop();

    /// Of the ports of the services.
    [[nodiscard]] HttpConnectionCounts connections() const { return server_.connections(); }

  private:
    /// What `listen` writes.
    struct Announcement {
        std::string lines;  ///< for standard output
        std::string trust;  ///< how to trust a new authority; empty if it is not new
        std::string page;   ///< its URL
    };

    void listenForServices(Announcement& announcement);
    void listenForHTTPS(Announcement& announcement);
    void listenForOperators(Announcement& announcement);

    const Options options_;
    const Front::Targets targets_;
    RequestLog& log_;
    std::optional<CertificateFiles> certificate_;

    Front services_;
    Front page_;
    Front metrics_;
    HttpServer server_;
    std::optional<HttpServer> pageServer_;     // unless the page is on the server of the services
    std::optional<HttpServer> metricsServer_;  // if wanted
};

}  // namespace zentara::collector
