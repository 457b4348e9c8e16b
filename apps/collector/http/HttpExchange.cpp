#include "collector/http/HttpExchange.h"

#include <utility>

#include "collector/http/HttpConnection.h"

namespace zentara::collector {

namespace {

class HttpEventStream : public EventStream {
  public:
    HttpEventStream(std::shared_ptr<boost::asio::io_context> context,
                    std::shared_ptr<HttpConnection> connection)
        : context_(std::move(context)), connection_(std::move(connection)) {}
    ~HttpEventStream() override { connection_->endStream(); }
    HttpEventStream(const HttpEventStream&) = delete;
    HttpEventStream& operator=(const HttpEventStream&) = delete;

    void write(std::string text) override { connection_->writeToStream(std::move(text)); }
    [[nodiscard]] bool isOpen() const override { return connection_->isStreamOpen(); }

  private:
    // Destroyed after the connection.
    const std::shared_ptr<boost::asio::io_context> context_;
    const std::shared_ptr<HttpConnection> connection_;
};

/// Returned when an exchange is answered a second time.
class ClosedStream : public EventStream {
  public:
    void write(std::string) override {}
    [[nodiscard]] bool isOpen() const override { return false; }
};

}  // namespace

HttpExchange::HttpExchange(std::shared_ptr<boost::asio::io_context> context,
                           std::shared_ptr<HttpConnection> connection, HttpRequest request,
                           std::unique_ptr<const BodyBudget::Share> share)
    : context_(std::move(context)),
      connection_(std::move(connection)),
      share_(std::move(share)),
      request_(std::move(request)) {}

HttpExchange::~HttpExchange() {
    if (!isAnswered_) connection_->drop();
}

bool HttpExchange::isOpen() const {
    return !isAnswered_ && connection_->hasClient();
}

void HttpExchange::deliver(Delivery delivery) {
    if (!isAnswered_.exchange(true)) connection_->deliver(std::move(delivery));
}

std::shared_ptr<EventStream> HttpExchange::openStream() {
    if (isAnswered_.exchange(true)) return std::make_shared<ClosedStream>();
    connection_->openStream();
    return std::make_shared<HttpEventStream>(context_, connection_);
}

}  // namespace zentara::collector
