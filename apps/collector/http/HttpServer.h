#pragma once

#include <memory>
#include <optional>
#include <string>

#include "collector/http/Exchange.h"
#include "collector/http/HttpSettings.h"

namespace zentara::collector {

/// Serves HTTP/1.1 and HTTPS. A few threads serve all connections. An open connection or a late
/// answer occupies no thread; a handler that blocks does.
///
/// - On a loopback address the server answers as localhost only (421 otherwise), unless told, so
///   that a web page cannot reach it under a name of its own.
/// - HEAD is handled like any method; the body of its answer is counted but not sent.
/// - An exchange may be answered at any time; after the server has stopped this does nothing.
/// - An exception of the handler becomes an answer with status 500.
///
/// Any thread, except that the handler must not call `stop`.
class HttpServer {
  public:
    /// `handler` outlives the server.
    explicit HttpServer(HttpHandler& handler, const HttpTimeouts& timeouts = {},
                        const HttpLimits& limits = {});
    /// Stops.
    ~HttpServer();
    HttpServer(const HttpServer&) = delete;
    HttpServer& operator=(const HttpServer&) = delete;

    /// Listens on an IP address or "localhost" and returns the port; 0 selects a free port. With
    /// credentials clients must use TLS. Throws `std::runtime_error` with a message for the user if
    /// it cannot listen. May be called several times, but not after `stop`.
    int listen(const std::string& address, int port,
               const std::optional<TLSCredentials>& credentials = std::nullopt,
               HostNames names = HostNames::byAddress);

    /// New connections over TLS get these credentials. Throws `std::runtime_error` and changes
    /// nothing if they cannot be used.
    void replaceCredentials(const TLSCredentials& credentials);

    [[nodiscard]] HttpConnectionCounts connections() const;

    /// Accepts no more connections, closes idle connections, streams and held requests, sends
    /// delayed answers at once, and waits up to `HttpTimeouts::stop` for the handler to answer the
    /// other requests. The handler is not called after this returns. A second call does nothing.
    void stop();

  private:
    class Implementation;
    std::unique_ptr<Implementation> implementation_;
};

}  // namespace zentara::collector
