#include "collector/http/HttpServer.h"

#include <array>
#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <mutex>
#include <stdexcept>
#include <thread>
#include <vector>

#include "collector/http/HttpConnections.h"
#include "collector/http/HttpListener.h"

namespace zentara::collector {

class HttpServer::Implementation {
  public:
    Implementation(HttpHandler& handler, const HttpTimeouts& timeouts, const HttpLimits& limits)
        : handler_(handler),
          timeouts_(timeouts),
          connections_(std::make_shared<HttpConnections>(limits.connections)),
          bodies_(std::make_shared<BodyBudget>(limits.bodies)) {
        for (auto& thread : threads_)
            thread = std::thread([this] { run(); });
    }

    int listen(const std::string& address, int port,
               const std::optional<TLSCredentials>& credentials) {
        const std::lock_guard lock(mutex_);
        if (hasStopped_) throw std::runtime_error("the server has stopped");
        auto listener =
            std::make_shared<HttpListener>(context_, address, port, credentials,
                                           HttpConnection::Common{.handler = handler_,
                                                                  .timeouts = timeouts_,
                                                                  .connections = connections_,
                                                                  .bodies = bodies_,
                                                                  .context = context_});
        listener->start();
        listeners_.push_back(listener);
        return listener->port();
    }

    void stop() {
        const std::lock_guard lock(mutex_);
        if (hasStopped_) return;
        hasStopped_ = true;
        connections_->close();
        for (const auto& listener : listeners_)
            listener->stop();
        for (const auto& connection : connections_->all())
            connection->stop();
        connections_->waitUntilEmpty(timeouts_.stop);

        context_->stop();
        for (auto& thread : threads_)
            thread.join();
        for (const auto& connection : connections_->all())
            connection->abandon();
        listeners_.clear();
    }

  private:
    void run() {
        for (;;) {
            try {
                context_->run();
                return;
            } catch (const std::exception&) {
                // Out of memory. The connection concerned is lost; the others continue.
            }
        }
    }

    static constexpr std::size_t threadCount = 4;

    HttpHandler& handler_;
    const HttpTimeouts timeouts_;
    const std::shared_ptr<HttpConnections> connections_;
    const std::shared_ptr<BodyBudget> bodies_;
    // Shared with the exchanges, which may outlive the server.
    const std::shared_ptr<asio::io_context> context_ =
        std::make_shared<asio::io_context>(static_cast<int>(threadCount));
    const asio::executor_work_guard<asio::io_context::executor_type> work_{
        context_->get_executor()};

    std::mutex mutex_;
    bool hasStopped_ = false;                               // guarded by mutex_
    std::vector<std::shared_ptr<HttpListener>> listeners_;  // guarded by mutex_
    std::array<std::thread, threadCount> threads_;          // after all that they use
};

HttpServer::HttpServer(HttpHandler& handler, const HttpTimeouts& timeouts, const HttpLimits& limits)
    : implementation_(std::make_unique<Implementation>(handler, timeouts, limits)) {}

HttpServer::~HttpServer() {
    stop();
}

int HttpServer::listen(const std::string& address, int port,
                       const std::optional<TLSCredentials>& credentials) {
    return implementation_->listen(address, port, credentials);
}

void HttpServer::stop() {
    implementation_->stop();
}

}  // namespace zentara::collector
