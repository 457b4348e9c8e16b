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

/// One listening address of a server: makes a connection of each client that comes.
class HttpListener : public std::enable_shared_from_this<HttpListener> {
  public:
    /// Listens. Throws `std::runtime_error` in words for the user when it cannot.
    HttpListener(const std::shared_ptr<asio::io_context>& context, const std::string& address,
                 int port, const std::optional<TLSCredentials>& credentials,
                 HttpConnection::Surroundings surroundings);
    HttpListener(const HttpListener&) = delete;
    HttpListener& operator=(const HttpListener&) = delete;

    [[nodiscard]] int port() const noexcept { return port_; }

    /// Begins to take connections. Any thread, once.
    void start();
    /// Takes no more. Any thread.
    void stop();

  private:
    void accept();
    void welcome(asio::ip::tcp::socket socket);

    asio::io_context& context_;
    asio::ip::tcp::acceptor acceptor_;  // as the timer, of its executor once it has started
    asio::steady_timer pause_;
    int port_ = 0;
    std::shared_ptr<asio::ssl::context> tls_;
    std::shared_ptr<HttpConnection::Surroundings> surroundings_;
};

}  // namespace zentara::collector
