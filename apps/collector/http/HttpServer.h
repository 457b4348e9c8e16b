#pragma once

#include <memory>
#include <optional>
#include <string>

#include "collector/http/Exchange.h"
#include "collector/http/HttpLimits.h"
#include "collector/http/HttpTimeouts.h"
#include "collector/http/TLSCredentials.h"

namespace zentara::collector {

/// Serves HTTP/1.1 and HTTPS. A few threads serve all connections, so that an open connection or
/// an answer that is long in coming costs none; a handler that blocks, however, holds one up.
///
/// - Who listens on an address of the loopback interface answers as localhost only (421 otherwise),
///   so that no web page can reach it under a name of its own.
/// - HEAD is handled like any method; the body of its answer is not sent, but counted.
/// - An exchange may be answered at any time, even when the server has stopped or is gone; then
///   nothing happens.
/// - An exception of the handler becomes an answer with status 500.
///
/// Any thread, except that `stop` is not for the handler to call.
class HttpServer {
  public:
    /// `handler` outlives the server.
    explicit HttpServer(HttpHandler& handler, const HttpTimeouts& timeouts = {},
                        const HttpLimits& limits = {});
    /// Stops.
    ~HttpServer();
    HttpServer(const HttpServer&) = delete;
    HttpServer& operator=(const HttpServer&) = delete;

    /// Listens on an IP address, or "localhost", and returns the port, a free one for 0. With
    /// credentials clients have to speak TLS. Throws `std::runtime_error` in words for the user
    /// when the port cannot be had. Several may be listened on; none after `stop`.
    int listen(const std::string& address, int port,
               const std::optional<TLSCredentials>& credentials = std::nullopt);

    /// Takes no more connections, closes those that wait for nothing, streams and held ones, sends
    /// the answers that are due without their delay, and waits for the handler to answer the other
    /// requests under way, for as long as `HttpTimeouts::stop` says. The handler is not called
    /// again once this returns. Called again, it does nothing.
    void stop();

  private:
    class Implementation;
    std::unique_ptr<Implementation> implementation_;
};

}  // namespace zentara::collector
