#include "collector/forward/Forwarder.h"

#include <algorithm>
#include <exception>
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
        isSettled_ = true;
        try {
            isDone = handOnAll();
        } catch (const StoreError& error) {
            complain(std::string("the outbox cannot be read: ") + error.what());
        }
        if (waitUntilSettled() && isDone) {
            wait = settings_.shortestPause;
            lastComplaint_.clear();
        } else if (pause(wait)) {
            wait = std::min(2 * wait, settings_.longestPause);
        }
    }
}

// While a batch is handed on, the next is read and the last removed.
bool Forwarder::handOnAll() {
    const auto read = [this](const Batch& follows) {
        return outbox_.read(mostEventsAtOnce, mostBytesAtOnce, follows.get());
    };
    Batch batch = read(nullptr);
    while (!batch->events().empty()) {
        auto next = std::async(std::launch::async, read, batch);
        if (!handOn(batch)) return false;
        batch = next.get();
    }
    return true;
}

bool Forwarder::handOn(const Batch& batch) {
    std::vector<Handover> results = deliver(*batch);
    bool isDone = true;
    for (const Handover& result : results) {
        if (result.outcome == Handover::Outcome::refused)
            complain("an event was refused and is set aside: " + result.reason);
        if (result.outcome != Handover::Outcome::failed) continue;
        if (isDone) complain("events cannot be handed on: " + result.reason);
        isDone = false;
    }
    count(*batch, results);
    settle(batch, std::move(results));
    return isDone && isSettled_;
}

std::vector<Handover> Forwarder::deliver(const Outbox::Batch& batch) {
    try {
        return sink_->deliver(batch.events());
    } catch (const std::exception& error) {
        return std::vector<Handover>(batch.events().size(),
                                     {Handover::Outcome::failed, error.what()});
    }
}

// Events that cannot be removed are handed on again, after a pause.
void Forwarder::settle(const Batch& batch, std::vector<Handover> results) {
    waitUntilSettled();
    const auto promise = std::make_shared<std::promise<bool>>();
    settled_ = promise->get_future();
    outbox_.settle(batch, std::move(results), [this, promise](const std::string& failure) {
        if (!failure.empty()) settings_.complain("the outbox cannot be written: " + failure);
        {
            const std::lock_guard lock(mutex_);
            changed_.notify_all();
        }
        promise->set_value(failure.empty());
    });
}

bool Forwarder::waitUntilSettled() {
    if (settled_.valid()) isSettled_ = settled_.get() && isSettled_;
    return isSettled_;
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
