#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <unordered_map>

namespace zentara::collector {

/// Limits the requests of each client: a burst of one second's number, then an even pace. Any
/// thread.
///
/// Remembers at most `mostClients` clients, each until it could send a burst again. Further clients
/// are not limited meanwhile.
class RequestRate {
  public:
    using Clock = std::chrono::steady_clock;

    static constexpr std::size_t defaultClients = 65'536;

    /// `perSecond` is above 0.
    explicit RequestRate(double perSecond, std::size_t mostClients = defaultClients,
                         std::function<Clock::time_point()> now = &Clock::now);

    /// Counts a request, or returns how long the client has to wait for its next.
    [[nodiscard]] std::optional<Clock::duration> take(const std::string& client);

    [[nodiscard]] std::size_t clients() const;

  private:
    [[nodiscard]] bool makesRoom(Clock::time_point now);

    const Clock::duration interval_;
    const Clock::duration burst_;  // how far a client may be ahead of the pace
    const std::size_t mostClients_;
    const std::function<Clock::time_point()> now_;

    mutable std::mutex mutex_;
    // When the client's next request would be due at an even pace; guarded by mutex_
    std::unordered_map<std::string, Clock::time_point> due_;
    Clock::time_point nextSweep_{};  // guarded by mutex_
};

}  // namespace zentara::collector
