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

/// Tells those who wait for it that something was received: tests that wait for events, and pages
/// that show them live. A thread of its own looks at the store, some tens of times a second at
/// most, however much arrives.
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

    /// `summary` gives the JSON text that streams are sent, on the thread of the watch. The store
    /// outlives the watch.
    Watch(const Store& store, std::function<std::string()> summary);
    ~Watch();
    Watch(const Watch&) = delete;
    Watch& operator=(const Watch&) = delete;

    /// Something has changed. Any thread; quick.
    void notify();

    /// Everything was forgotten; what waits counts from the beginning. Any thread.
    void reset();

    /// Answers `exchange` once `wait.count` events match or the time is over. Any thread.
    void wait(std::shared_ptr<Exchange> exchange, Wait wait);

    /// Sends `exchange` the summary now and whenever something changes. Any thread.
    void follow(const std::shared_ptr<Exchange>& exchange);

    /// Answers those who still wait, and ends. Streams are left to the server.
    void stop();

  private:
    struct Waiting {
        std::shared_ptr<Exchange> exchange;
        Wait wait;
        Clock::time_point deadline;
        std::int64_t seen = 0;     ///< the latest event that was looked at
        std::size_t matching = 0;  ///< so far
        std::vector<std::string> shown = {};
    };

    void run();
    [[nodiscard]] Clock::time_point nextWakeUp() const;
    /// Answers those for whom enough has arrived, whose time is over, or who have gone.
    void serveWaits(bool isChanged);
    /// Looks at what has arrived since the last look.
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

    // Of the thread alone:
    std::list<Waiting> waits_;
    std::list<std::shared_ptr<EventStream>> streams_;
    bool hasUnwritten_ = false;  // something changed that the streams were not told
    Clock::time_point lastWrite_ = Clock::now();

    std::thread thread_;
};

}  // namespace zentara::collector
