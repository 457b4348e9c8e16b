#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "collector/http/HttpSettings.h"

namespace zentara::collector {

class HttpConnection;

/// The open connections of a server. Any thread.
class HttpConnections {
  public:
    explicit HttpConnections(const HttpLimits& limits);

    /// False if a limit is reached, also that of the client's address, or `close` was called.
    [[nodiscard]] bool add(const std::shared_ptr<HttpConnection>& connection,
                           const std::string& client);
    void remove(const HttpConnection* connection);

    /// No connection is added after this.
    void close();
    [[nodiscard]] std::vector<std::shared_ptr<HttpConnection>> all() const;
    void waitUntilEmpty(std::chrono::milliseconds atMost);
    [[nodiscard]] HttpConnectionCounts counts() const;

  private:
    struct Entry {
        std::weak_ptr<HttpConnection> connection;
        std::string group;  ///< of addresses that count as a client; empty if it has no limit
    };

    /// False, without a change, if the limit is reached.
    [[nodiscard]] bool hasPlace(const std::string& group);

    const std::size_t most_;
    const std::size_t mostPerGroup_;
    const std::vector<std::string> exempt_;
    mutable std::mutex mutex_;
    std::condition_variable isEmpty_;
    bool isClosed_ = false;                                         // guarded by mutex_
    std::uint64_t refused_ = 0;                                     // guarded by mutex_
    std::unordered_map<const HttpConnection*, Entry> connections_;  // guarded by mutex_
    std::unordered_map<std::string, std::size_t> byGroup_;          // guarded by mutex_
};

/// The memory that the bodies of all requests may take together. Any thread.
class BodyBudget {
  public:
    explicit BodyBudget(std::size_t bytes) : left_(bytes) {}

    /// The part that one body takes, returned at the end. For one thread at a time.
    class Share {
      public:
        explicit Share(std::shared_ptr<BodyBudget> budget) : budget_(std::move(budget)) {}
        ~Share() { budget_->left_ += bytes_; }
        Share(const Share&) = delete;
        Share& operator=(const Share&) = delete;

        /// False, without a change, if not as much is left.
        [[nodiscard]] bool growTo(std::size_t bytes) {
            if (bytes <= bytes_) return true;
            const std::size_t more = bytes - bytes_;
            std::size_t left = budget_->left_;
            do {
                if (more > left) return false;
            } while (!budget_->left_.compare_exchange_weak(left, left - more));
            bytes_ = bytes;
            return true;
        }

      private:
        const std::shared_ptr<BodyBudget> budget_;
        std::size_t bytes_ = 0;
    };

  private:
    std::atomic<std::size_t> left_;
};

}  // namespace zentara::collector
