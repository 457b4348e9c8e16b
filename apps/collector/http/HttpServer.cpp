#include "collector/http/HttpServer.h"

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
          connections_(std::make_shared<HttpConnections>(limits)),
          bodies_(std::make_shared<BodyBudget>(limits.bodies)),
          context_(std::make_shared<asio::io_context>(static_cast<int>(limits.threads))) {
        for (std::size_t number = 0; number < limits.threads; ++number)
            threads_.emplace_back([this] { run(); });
    }

    int listen(const std::string& address, int port,
               const std::optional<TLSCredentials>& credentials, HostNames names) {
        const std::lock_guard lock(mutex_);
        if (hasStopped_) throw std::runtime_error("the server has stopped");
        auto listener =
            std::make_shared<HttpListener>(context_, address, port, credentials, names,
                                           HttpConnection::Common{.handler = handler_,
                                                                  .timeouts = timeouts_,
                                                                  .connections = connections_,
                                                                  .bodies = bodies_,
                                                                  .context = context_});
        listener->start();
        listeners_.push_back(listener);
        return listener->port();
    }

    void replaceCredentials(const TLSCredentials& credentials) {
        const auto tls = serverContext(credentials);
        const std::lock_guard lock(mutex_);
        for (const auto& listener : listeners_)
            listener->replaceTLS(tls);
    }

    [[nodiscard]] HttpConnectionCounts connections() const { return connections_->counts(); }

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

    HttpHandler& handler_;
    const HttpTimeouts timeouts_;
    const std::shared_ptr<HttpConnections> connections_;
    const std::shared_ptr<BodyBudget> bodies_;
    // Shared with the exchanges, which may outlive the server.
    const std::shared_ptr<asio::io_context> context_;
    const asio::executor_work_guard<asio::io_context::executor_type> work_{
        context_->get_executor()};

    std::mutex mutex_;
    bool hasStopped_ = false;                               // guarded by mutex_
    std::vector<std::shared_ptr<HttpListener>> listeners_;  // guarded by mutex_
    std::vector<std::thread> threads_;                      // after all that they use
};

HttpServer::HttpServer(HttpHandler& handler, const HttpTimeouts& timeouts, const HttpLimits& limits)
    : implementation_(std::make_unique<Implementation>(handler, timeouts, limits)) {}

HttpServer::~HttpServer() {
    stop();
}

int HttpServer::listen(const std::string& address, int port,
                       const std::optional<TLSCredentials>& credentials, HostNames names) {
    return implementation_->listen(address, port, credentials, names);
}

void HttpServer::replaceCredentials(const TLSCredentials& credentials) {
    implementation_->replaceCredentials(credentials);
}

HttpConnectionCounts HttpServer::connections() const {
    return implementation_->connections();
}

void HttpServer::stop() {
    implementation_->stop();
}

}  // namespace zentara::collector
