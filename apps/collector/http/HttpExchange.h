#pragma once

#include <atomic>
#include <boost/asio/io_context.hpp>
#include <memory>

#include "collector/http/Exchange.h"
#include "collector/http/HttpConnections.h"

namespace zentara::collector {

class HttpConnection;

/// A request of a connection that is with the handler.
class HttpExchange : public Exchange {
  public:
    /// `context` runs the connection; it is kept so that the exchange can outlive the server.
    /// `share` is that of the request's body.
    HttpExchange(std::shared_ptr<boost::asio::io_context> context,
                 std::shared_ptr<HttpConnection> connection, HttpRequest request,
                 std::unique_ptr<const BodyBudget::Share> share);
    ~HttpExchange() override;
    HttpExchange(const HttpExchange&) = delete;
    HttpExchange& operator=(const HttpExchange&) = delete;

    [[nodiscard]] const HttpRequest& request() const override { return request_; }
    [[nodiscard]] bool isOpen() const override;
    void deliver(Delivery delivery) override;
    [[nodiscard]] std::shared_ptr<EventStream> openStream() override;

  private:
    // Destroyed after the connection.
    const std::shared_ptr<boost::asio::io_context> context_;
    const std::shared_ptr<HttpConnection> connection_;
    const std::unique_ptr<const BodyBudget::Share> share_;
    const HttpRequest request_;
    std::atomic<bool> isAnswered_ = false;
};

}  // namespace zentara::collector
