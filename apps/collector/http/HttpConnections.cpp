#include "collector/http/HttpConnections.h"

#include <algorithm>

#include "collector/http/ClientAddress.h"

namespace zentara::collector {

HttpConnections::HttpConnections(const HttpLimits& limits)
    : most_(limits.connections),
      mostPerGroup_(limits.connectionsPerAddress),
      exempt_(limits.exempt) {}

bool HttpConnections::add(const std::shared_ptr<HttpConnection>& connection,
                          const std::string& client) {
    const bool isLimited =
        mostPerGroup_ > 0 && std::find(exempt_.begin(), exempt_.end(), client) == exempt_.end();
    std::string group = isLimited ? addressGroup(client) : std::string();
    const std::lock_guard lock(mutex_);
    if (isClosed_) return false;
    if (connections_.size() >= most_ || !hasPlace(group)) {
        ++refused_;
        return false;
    }
    if (!group.empty()) ++byGroup_[group];
    connections_.emplace(connection.get(), Entry{connection, std::move(group)});
    return true;
}

bool HttpConnections::hasPlace(const std::string& group) {
    const auto found = byGroup_.find(group);
    return found == byGroup_.end() || found->second < mostPerGroup_;
}

HttpConnectionCounts HttpConnections::counts() const {
    const std::lock_guard lock(mutex_);
    return {connections_.size(), refused_};
}

void HttpConnections::remove(const HttpConnection* connection) {
    const std::lock_guard lock(mutex_);
    const auto found = connections_.find(connection);
    if (found == connections_.end()) return;
    const auto group = byGroup_.find(found->second.group);
    if (group != byGroup_.end() && --group->second == 0) byGroup_.erase(group);
    connections_.erase(found);
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
    for (const auto& [address, entry] : connections_) {
        if (auto open = entry.connection.lock()) all.push_back(std::move(open));
    }
    return all;
}

void HttpConnections::waitUntilEmpty(std::chrono::milliseconds atMost) {
    std::unique_lock lock(mutex_);
    isEmpty_.wait_for(lock, atMost, [this] { return connections_.empty(); });
}

}  // namespace zentara::collector
