#pragma once

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/steady_timer.hpp>
#include <memory>
#include <optional>
#include <string>

#include "collector/http/ByteStream.h"
#include "collector/http/HttpConnection.h"

namespace zentara::collector {

/// One listening address of a server. Creates an `HttpConnection` for each client.
class HttpListener : public std::enable_shared_from_this<HttpListener> {
  public:
    /// Listens. Throws `std::runtime_error` with a message for the user if it cannot.
    HttpListener(const std::shared_ptr<asio::io_context>& context, const std::string& address,
                 int port, const std::optional<TLSCredentials>& credentials, HostNames names,
                 HttpConnection::Common common);
    HttpListener(const HttpListener&) = delete;
    HttpListener& operator=(const HttpListener&) = delete;

    [[nodiscard]] int port() const noexcept { return port_; }

    /// Starts to accept connections. Any thread, once.
    void start();
    /// Stops accepting. Any thread.
    void stop();
    /// For new connections, if they use TLS. Any thread.
    void replaceTLS(std::shared_ptr<asio::ssl::context> tls);

  private:
    void accept();
    void welcome(asio::ip::tcp::socket socket);

    asio::io_context& context_;
    asio::ip::tcp::acceptor acceptor_;  // like the timer, used on its executor after `start`
    asio::steady_timer pause_;
    int port_ = 0;
    std::shared_ptr<asio::ssl::context> tls_;  // used on the acceptor's executor after `start`
    std::shared_ptr<HttpConnection::Common> common_;
};

}  // namespace zentara::collector
