#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "collector/data/Envelope.h"
#include "collector/data/Store.h"
#include "collector/http/HttpMessage.h"

namespace zentara::collector {

/// An envelope that was taken, with the request that brought it.
struct TakenEnvelope {
    std::shared_ptr<const HttpRequest> request;  ///< its body is not compressed
    std::shared_ptr<const Envelope> envelope;
    std::shared_ptr<const std::vector<std::vector<Finding>>> findings;  ///< one for each action
    Store::RequestNote note;
};

/// Shows the latest of what a collector takes, when its events are kept elsewhere: puts it into a
/// store for the page and the queries, on a thread of its own, and removes what is older. What
/// comes faster than `mostEventsPerSecond` is not shown, since the requests must not wait for it.
class ShownEvents {
  public:
    static constexpr std::size_t mostEventsPerSecond = 1000;

    /// Shows the latest `capacity` events or some more. The store outlives it.
    ShownEvents(Store& store, std::size_t capacity,
                std::function<void(const std::string& text)> complain);
    ~ShownEvents();
    ShownEvents(const ShownEvents&) = delete;
    ShownEvents& operator=(const ShownEvents&) = delete;

    /// Any thread; does not block.
    void offer(TakenEnvelope taken);

    /// The events that were not shown.
    [[nodiscard]] std::uint64_t skipped() const;

  private:
    using Clock = std::chrono::steady_clock;

    void run();
    [[nodiscard]] bool hasTimeFor(std::size_t events);

    Store& store_;
    const std::size_t capacity_;
    const std::function<void(const std::string& text)> complain_;

    mutable std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<TakenEnvelope> waiting_;  // guarded by mutex_
    Clock::time_point second_{};         // when the current second began; guarded by mutex_
    std::size_t inSecond_ = 0;           // the events in it; guarded by mutex_
    std::uint64_t skipped_ = 0;          // guarded by mutex_
    bool isEnding_ = false;              // guarded by mutex_
    std::thread thread_;                 // after all that it uses
};

}  // namespace zentara::collector
