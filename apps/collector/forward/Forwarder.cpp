#include "collector/forward/Forwarder.h"

#include <algorithm>
#include <exception>
#include <future>
#include <utility>

namespace zentara::collector {

namespace {

// Enough for a sink to be busy while one batch is read and the last is removed.
constexpr std::size_t mostEventsAtOnce = 10'000;
constexpr std::int64_t mostBytesAtOnce = std::int64_t{16} << 20;

std::chrono::milliseconds sinceReceived(const ForwardedEvent& event) {
    return std::chrono::duration_cast<std::chrono::milliseconds>(
               std::chrono::system_clock::now().time_since_epoch()) -
           std::chrono::milliseconds(event.receivedAt);
}

}  // namespace

Forwarder::Forwarder(Outbox& outbox, std::unique_ptr<Sink> sink, Settings settings)
    : outbox_(outbox), sink_(std::move(sink)), settings_(std::move(settings)) {
    thread_ = std::thread([this] { run(); });
}

void Forwarder::drain(std::chrono::milliseconds time) {
    std::unique_lock lock(mutex_);
    changed_.wait_for(lock, time, [this] { return outbox_.statistics().events == 0; });
}

void Forwarder::stop() {
    {
        const std::lock_guard lock(mutex_);
        if (hasStopped_) return;
        hasStopped_ = true;
    }
    changed_.notify_all();
    outbox_.endWaiting();
    sink_->stop();
    thread_.join();
}

Forwarder::Statistics Forwarder::statistics() const {
    const std::lock_guard lock(mutex_);
    return statistics_;
}

void Forwarder::run() {
    auto wait = settings_.shortestPause;
    while (outbox_.waitForEvents()) {
        bool isDone = false;
        try {
            isDone = handOn();
        } catch (const std::exception& error) {
            complain(std::string("events cannot be handed on: ") + error.what());
        }
        if (isDone) {
            wait = settings_.shortestPause;
            lastComplaint_.clear();
        } else if (pause(wait)) {
            wait = std::min(2 * wait, settings_.longestPause);
        }
    }
}

bool Forwarder::handOn() {
    const Outbox::Batch batch = outbox_.head(mostEventsAtOnce, mostBytesAtOnce);
    std::vector<Handover> results = sink_->deliver(batch.events());
    bool isDone = true;
    for (const Handover& result : results) {
        if (result.outcome == Handover::Outcome::refused)
            complain("an event was refused and is set aside: " + result.reason);
        if (result.outcome != Handover::Outcome::failed) continue;
        if (isDone) complain("events cannot be handed on: " + result.reason);
        isDone = false;
    }
    count(batch, results);
    settle(batch, std::move(results));
    return isDone;
}

// Without this they would be handed on again.
void Forwarder::settle(const Outbox::Batch& batch, std::vector<Handover> results) {
    for (;;) {
        std::promise<std::string> settled;
        outbox_.settle(batch, results,
                       [&settled](const std::string& failure) { settled.set_value(failure); });
        const std::string failure = settled.get_future().get();
        if (failure.empty()) break;
        complain("the outbox cannot be written: " + failure);
        if (!pause(settings_.longestPause)) return;
    }
    const std::lock_guard lock(mutex_);
    changed_.notify_all();
}

void Forwarder::count(const Outbox::Batch& batch, const std::vector<Handover>& results) {
    Statistics change;
    for (std::size_t i = 0; i < results.size(); ++i) {
        if (results[i].outcome == Handover::Outcome::delivered) {
            ++change.delivered;
            change.delay += sinceReceived(batch.events()[i]);
        } else if (results[i].outcome == Handover::Outcome::refused) {
            ++change.refused;
        } else {
            change.failures = 1;
        }
    }
    const std::lock_guard lock(mutex_);
    statistics_.delivered += change.delivered;
    statistics_.refused += change.refused;
    statistics_.failures += change.failures;
    statistics_.delay += change.delay;
}

// The same reason again and again is of no use.
void Forwarder::complain(const std::string& text) {
    if (text == lastComplaint_) return;
    lastComplaint_ = text;
    settings_.complain(text);
}

bool Forwarder::pause(std::chrono::milliseconds time) {
    std::unique_lock lock(mutex_);
    return !changed_.wait_for(lock, time, [this] { return hasStopped_; });
}

}  // namespace zentara::collector
