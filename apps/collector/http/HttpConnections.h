#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <memory>
#include <mutex>
#include <unordered_map>
#include <vector>

namespace zentara::collector {

class HttpConnection;

/// The open connections of a server. Any thread.
class HttpConnections {
  public:
    explicit HttpConnections(std::size_t most) : most_(most) {}

    /// False, without a change, if the limit is reached or `close` was called.
    [[nodiscard]] bool add(const std::shared_ptr<HttpConnection>& connection);
    void remove(const HttpConnection* connection);

    /// No connection is added after this.
    void close();
    [[nodiscard]] std::vector<std::shared_ptr<HttpConnection>> all() const;
    void waitUntilEmpty(std::chrono::milliseconds atMost);

  private:
    const std::size_t most_;
    mutable std::mutex mutex_;
    std::condition_variable isEmpty_;
    bool isClosed_ = false;  // guarded by mutex_
    // guarded by mutex_
    std::unordered_map<const HttpConnection*, std::weak_ptr<HttpConnection>> connections_;
};

}  // namespace zentara::collector
