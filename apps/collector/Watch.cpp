#include "collector/Watch.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "collector/Refusal.h"
#include "collector/data/JSONText.h"

namespace zentara::collector {

namespace {

using namespace std::chrono_literals;

constexpr Watch::Clock::duration betweenLooks = 20ms;
constexpr Watch::Clock::duration betweenWrites = 100ms;
constexpr Watch::Clock::duration betweenVisits = 1s;
// Also detects that a page has gone.
constexpr Watch::Clock::duration keepAlive = 15s;

}  // namespace

Watch::Watch(const Store& store, std::function<std::string()> summary)
    : store_(store), summary_(std::move(summary)), thread_([this] { run(); }) {}

Watch::~Watch() {
    stop();
}

void Watch::notify() {
    {
        const std::lock_guard lock(mutex_);
        if (std::exchange(dirty_, true)) return;
    }
    changed_.notify_one();
}

void Watch::reset() {
    const std::lock_guard lock(mutex_);
    wasReset_ = dirty_ = true;
    changed_.notify_one();
}

void Watch::wait(std::shared_ptr<Exchange> exchange, Wait wait) {
    const auto deadline = Clock::now() + wait.timeout;
    {
        const std::lock_guard lock(mutex_);
        if (!stopped_ && waitCount_ < mostWaits) {
            ++waitCount_;
            newWaits_.push_back({std::move(exchange), std::move(wait), deadline});
            changed_.notify_one();
            return;
        }
    }
    exchange->deliver({refusal(503, "too many requests are waiting")});
}

void Watch::follow(const std::shared_ptr<Exchange>& exchange) {
    {
        const std::lock_guard lock(mutex_);
        if (!stopped_ && streamCount_ < mostStreams) {
            ++streamCount_;
            newStreams_.push_back(exchange);
            changed_.notify_one();
            return;
        }
    }
    exchange->deliver({refusal(503, "too many pages are listening")});
}

void Watch::stop() {
    {
        const std::lock_guard lock(mutex_);
        stopped_ = true;
    }
    changed_.notify_one();
    if (thread_.joinable()) thread_.join();
}

void Watch::run() {
    std::unique_lock lock(mutex_);
    while (!stopped_) {
        changed_.wait_until(lock, nextWakeUp(), [this] {
            return stopped_ || dirty_ || !newWaits_.empty() || !newStreams_.empty();
        });
        const bool isChanged = dirty_ || !newWaits_.empty();
        hasUnwritten_ = hasUnwritten_ || std::exchange(dirty_, false);
        if (std::exchange(wasReset_, false)) {
            for (Waiting& waiting : waits_)
                waiting = {waiting.exchange, waiting.wait, waiting.deadline};
        }
        waits_.splice(waits_.end(), newWaits_);
        const auto arrived = std::exchange(newStreams_, {});
        lock.unlock();

        serveWaits(isChanged);
        writeStreams(arrived);

        lock.lock();
        waitCount_ = waits_.size() + newWaits_.size();
        streamCount_ = streams_.size() + newStreams_.size();
        changed_.wait_for(lock, betweenLooks, [this] { return stopped_.load(); });
    }
    waits_.splice(waits_.end(), newWaits_);
    lock.unlock();
    for (const Waiting& waiting : waits_)
        waiting.exchange->deliver({refusal(503, "the collector stops")});
}

Watch::Clock::time_point Watch::nextWakeUp() const {
    auto wakeUp = lastWrite_ + (hasUnwritten_ ? betweenWrites : keepAlive);
    // Then waits whose client has gone are dropped, and schemas that have changed are seen.
    if (!waits_.empty() || !streams_.empty())
        wakeUp = std::min(wakeUp, Clock::now() + betweenVisits);
    for (const Waiting& waiting : waits_)
        wakeUp = std::min(wakeUp, waiting.deadline);
    return wakeUp;
}

void Watch::serveWaits(bool isChanged) {
    waits_.remove_if([&](Waiting& waiting) {
        if (stopped_) return false;
        if (!waiting.exchange->isOpen()) return true;
        const bool isOverdue = waiting.deadline <= Clock::now();
        if (!isChanged && !isOverdue) return false;
        try {
            if (isChanged) look(waiting);
            const bool isSatisfied = waiting.matching >= waiting.wait.count;
            if (!isSatisfied && !isOverdue) return false;
            HttpResponse response;
            response.body = std::string(R"({"satisfied":)") + (isSatisfied ? "true" : "false") +
                            R"(,"total":)" + std::to_string(waiting.matching) + R"(,"events":)";
            appendJSONList(response.body, waiting.shown);
            response.body += '}';
            waiting.exchange->deliver({std::move(response)});
        } catch (const std::exception& error) {
            waiting.exchange->deliver({refusal(500, error.what())});
        }
        return true;
    });
}

void Watch::look(Waiting& waiting) const {
    const std::int64_t latest = store_.summary().lastNumber;
    if (latest <= waiting.seen) return;
    EventQuery query;
    query.filter = waiting.wait.filter;
    query.filter.after = std::max(query.filter.after.value_or(0), waiting.seen);
    query.filter.upTo = latest;
    query.limit = mostEventsShown - waiting.shown.size();
    Store::Page page = store_.events(query);
    waiting.matching += page.total;
    waiting.shown.insert(waiting.shown.end(), std::make_move_iterator(page.records.begin()),
                         std::make_move_iterator(page.records.end()));
    waiting.seen = latest;
}

void Watch::writeStreams(const std::list<std::shared_ptr<Exchange>>& arrived) {
    streams_.remove_if([](const auto& stream) { return !stream->isOpen(); });
    if (streams_.empty() && arrived.empty()) {
        // A new stream gets the whole summary.
        hasUnwritten_ = false;
        lastWrite_ = Clock::now();
        return;
    }
    for (const auto& exchange : arrived)
        streams_.push_back(exchange->openStream());

    const auto now = Clock::now();
    std::string text;
    if (!arrived.empty() || (hasUnwritten_ && now - lastWrite_ >= betweenWrites) ||
        now - lastSummary_ >= betweenVisits) {
        auto summary = summary_();
        lastSummary_ = now;
        if (!arrived.empty() || hasUnwritten_ || summary != written_) {
            text = "event: change\ndata: " + summary + "\n\n";
            written_ = std::move(summary);
            hasUnwritten_ = false;
        }
    }
    if (text.empty() && now - lastWrite_ >= keepAlive) text = ": keep-alive\n\n";
    if (text.empty()) return;
    for (const auto& stream : streams_)
        stream->write(text);
    lastWrite_ = Clock::now();
}

}  // namespace zentara::collector
