#include "collector/http/RequestRate.h"

#include <algorithm>
#include <utility>

namespace zentara::collector {

namespace {

constexpr std::chrono::seconds burstTime{1};

}  // namespace

RequestRate::RequestRate(double perSecond, std::size_t mostClients,
                         std::function<Clock::time_point()> now)
    : interval_(std::chrono::duration_cast<Clock::duration>(
          std::chrono::duration<double>(1 / perSecond))),
      burst_(std::max(Clock::duration::zero(), burstTime - interval_)),
      mostClients_(mostClients),
      now_(std::move(now)) {}

std::optional<RequestRate::Clock::duration> RequestRate::take(const std::string& client) {
    const auto now = now_();
    const std::lock_guard lock(mutex_);
    auto found = due_.find(client);
    if (found == due_.end()) {
        if (due_.size() >= mostClients_ && !makesRoom(now)) return std::nullopt;
        found = due_.emplace(client, now).first;
    }
    auto& due = found->second;
    if (due > now + burst_) return due - burst_ - now;
    due = std::max(due, now) + interval_;
    return std::nullopt;
}

/// Forgets the clients that could send a burst again. Looks at all of them, so not at each request.
bool RequestRate::makesRoom(Clock::time_point now) {
    if (now < nextSweep_) return false;
    nextSweep_ = now + burstTime;
    std::erase_if(due_, [now](const auto& entry) { return entry.second <= now; });
    return due_.size() < mostClients_;
}

std::size_t RequestRate::clients() const {
    const std::lock_guard lock(mutex_);
    return due_.size();
}

}  // namespace zentara::collector
