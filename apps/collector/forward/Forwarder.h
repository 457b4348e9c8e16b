#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "collector/forward/Outbox.h"
#include "collector/forward/Sink.h"

namespace zentara::collector {

/// Hands on what is in an outbox, in order, on a thread of its own. An event leaves the outbox
/// after the sink has it; if the process ends in between, it is handed on again.
class Forwarder {
  public:
    struct Settings {
        std::function<void(const std::string& text)> complain;  ///< for users; any thread
        std::chrono::milliseconds shortestPause{500};           ///< after a failure; doubled
        std::chrono::milliseconds longestPause{30'000};
    };

    struct Statistics {
        std::uint64_t delivered = 0;
        std::uint64_t refused = 0;
        std::uint64_t failures = 0;          ///< batches that were tried again
        std::chrono::milliseconds delay{0};  ///< from arrival to delivery, of all delivered events
    };

    /// `outbox` outlives the forwarder.
    Forwarder(Outbox& outbox, std::unique_ptr<Sink> sink, Settings settings);
    ~Forwarder() { stop(); }
    Forwarder(const Forwarder&) = delete;
    Forwarder& operator=(const Forwarder&) = delete;

    /// Returns when the outbox is empty, or after `time`.
    void drain(std::chrono::milliseconds time);
    /// What is not handed on stays in the outbox. A second call does nothing.
    void stop();

    [[nodiscard]] Statistics statistics() const;

  private:
    using Batch = std::shared_ptr<const Outbox::Batch>;

    void run();
    // Whether nothing has failed.
    [[nodiscard]] bool handOnAll();
    [[nodiscard]] bool handOn(const Batch& batch);
    [[nodiscard]] std::vector<Handover> deliver(const Outbox::Batch& batch);
    void settle(const Batch& batch, std::vector<Handover> results);
    /// False if a batch of this round could not be settled.
    bool waitUntilSettled();
    void count(const Outbox::Batch& batch, const std::vector<Handover>& results);
    void complain(const std::string& text);
    /// False once stopped.
    [[nodiscard]] bool pause(std::chrono::milliseconds time);

    Outbox& outbox_;
    const std::unique_ptr<Sink> sink_;
    const Settings settings_;
    // Used by the thread.
    std::string lastComplaint_;
    std::future<bool> settled_;  // the last batch; not valid if there is none
    bool isSettled_ = true;

    mutable std::mutex mutex_;
    std::condition_variable changed_;
    Statistics statistics_;    // guarded by mutex_
    bool hasStopped_ = false;  // guarded by mutex_
    std::thread thread_;       // after all that it uses
};

}  // namespace zentara::collector
