#include "collector/http/HttpConnections.h"

namespace zentara::collector {

bool HttpConnections::add(const std::shared_ptr<HttpConnection>& connection) {
    const std::lock_guard lock(mutex_);
    if (isClosed_ || connections_.size() >= most_) return false;
    connections_.emplace(connection.get(), connection);
    return true;
}

void HttpConnections::remove(const HttpConnection* connection) {
    const std::lock_guard lock(mutex_);
    connections_.erase(connection);
    if (connections_.empty()) isEmpty_.notify_all();
}

void HttpConnections::close() {
    const std::lock_guard lock(mutex_);
    isClosed_ = true;
}

std::vector<std::shared_ptr<HttpConnection>> HttpConnections::all() const {
    std::vector<std::shared_ptr<HttpConnection>> all;
    const std::lock_guard lock(mutex_);
    all.reserve(connections_.size());
    for (const auto& [address, connection] : connections_) {
        if (auto open = connection.lock()) all.push_back(std::move(open));
    }
    return all;
}

void HttpConnections::waitUntilEmpty(std::chrono::milliseconds atMost) {
    std::unique_lock lock(mutex_);
    isEmpty_.wait_for(lock, atMost, [this] { return connections_.empty(); });
}

}  // namespace zentara::collector
