#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "collector/data/EventFilter.h"
#include "collector/data/Store.h"
#include "collector/http/Exchange.h"

namespace zentara::collector {

/// Notifies tests that wait for events, and pages that show them live. A thread of its own queries
/// the store, at most some tens of times a second.
class Watch {
  public:
    using Clock = std::chrono::steady_clock;

    static constexpr std::size_t mostWaits = 256;
    static constexpr std::size_t mostStreams = 64;
    static constexpr std::size_t mostEventsShown = 100;

    struct Wait {
        EventFilter filter;
        std::size_t count = 1;
        std::chrono::milliseconds timeout{10'000};
    };

    /// `summary` returns the JSON text for the streams, on the thread of the watch. The store
    /// outlives the watch.
    Watch(const Store& store, std::function<std::string()> summary);
    ~Watch();
    Watch(const Watch&) = delete;
    Watch& operator=(const Watch&) = delete;

    /// To be called when the store has changed. Any thread; does not block.
    void notify();

    /// To be called when the store was emptied: waits count from the beginning. Any thread.
    void reset();

    /// Answers `exchange` once `wait.count` events match or the timeout has passed. Any thread.
    void wait(std::shared_ptr<Exchange> exchange, Wait wait);

    /// Sends `exchange` the summary now and whenever something changes; what `notify` does not
    /// tell, about a second later. Any thread.
    void follow(const std::shared_ptr<Exchange>& exchange);

    /// Answers the remaining waits and ends. The server closes the streams.
    void stop();

  private:
    struct Waiting {
        std::shared_ptr<Exchange> exchange;
        Wait wait;
        Clock::time_point deadline;
        std::int64_t seen = 0;     ///< the number of the last event that was examined
        std::size_t matching = 0;  ///< so far
        std::vector<std::string> shown = {};
    };

    void run();
    [[nodiscard]] Clock::time_point nextWakeUp() const;
    /// Answers waits that are satisfied or overdue, and drops those whose client has gone.
    void serveWaits(bool isChanged);
    /// Counts the events since `seen`.
    void look(Waiting& waiting) const;
    void writeStreams(const std::list<std::shared_ptr<Exchange>>& arrived);

    const Store& store_;
    const std::function<std::string()> summary_;

    std::mutex mutex_;
    std::condition_variable changed_;
    bool dirty_ = false;                               // guarded by mutex_
    bool wasReset_ = false;                            // guarded by mutex_
    std::list<Waiting> newWaits_;                      // guarded by mutex_
    std::list<std::shared_ptr<Exchange>> newStreams_;  // guarded by mutex_
    std::size_t waitCount_ = 0;                        // guarded by mutex_
    std::size_t streamCount_ = 0;                      // guarded by mutex_

    std::atomic<bool> stopped_ = false;  // set under mutex_

    // Used by the thread only:
    std::list<Waiting> waits_;
    std::list<std::shared_ptr<EventStream>> streams_;
    bool hasUnwritten_ = false;  // a change was not yet written to the streams
    Clock::time_point lastWrite_ = Clock::now();
    Clock::time_point lastSummary_ = Clock::now();
    std::string written_;  // the latest summary

    std::thread thread_;
};

}  // namespace zentara::collector
