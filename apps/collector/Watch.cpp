#include "collector/Watch.h"

#include <algorithm>
#include <utility>

#include "collector/Refusal.h"
#include "collector/data/JSONText.h"

namespace zentara::collector {

namespace {

using namespace std::chrono_literals;

constexpr Watch::Clock::duration betweenLooks = 20ms;
constexpr Watch::Clock::duration betweenWrites = 100ms;
// Also finds out that a page has gone, which nobody notices while there is nothing to say.
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
    exchange->deliver({refusal(503, "too many requests wait already")});
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
    exchange->deliver({refusal(503, "too many pages listen already")});
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
        const bool look = dirty_ || !newWaits_.empty();
        hasUnwritten_ = hasUnwritten_ || std::exchange(dirty_, false);
        waits_.splice(waits_.end(), newWaits_);
        const auto arrived = std::exchange(newStreams_, {});
        lock.unlock();

        const auto now = Clock::now();
        waits_.remove_if([&](const Waiting& waiting) {
            const bool isOverdue = waiting.deadline <= now;
            return (look || isOverdue) && answer(waiting, isOverdue);
        });
        writeStreams(arrived);

        lock.lock();
        waitCount_ = waits_.size() + newWaits_.size();
        streamCount_ = streams_.size() + newStreams_.size();
        changed_.wait_for(lock, betweenLooks, [this] { return stopped_; });
    }
    waits_.splice(waits_.end(), newWaits_);
    lock.unlock();
    for (const Waiting& waiting : waits_)
        answer(waiting, true);
}

Watch::Clock::time_point Watch::nextWakeUp() const {
    auto wakeUp = lastWrite_ + (hasUnwritten_ ? betweenWrites : keepAlive);
    for (const Waiting& waiting : waits_)
        wakeUp = std::min(wakeUp, waiting.deadline);
    return wakeUp;
}

bool Watch::answer(const Waiting& waiting, bool isOverdue) {
    try {
        const std::size_t wanted = waiting.wait.count;
        const bool isSatisfied = store_.count(waiting.wait.filter, wanted) >= wanted;
        if (!isSatisfied && !isOverdue) return false;
        EventQuery query;
        query.filter = waiting.wait.filter;
        query.limit = mostEventsShown;
        const Store::Page page = store_.events(query);
        HttpResponse response;
        response.body = std::string(R"({"satisfied":)") + (isSatisfied ? "true" : "false") +
                        R"(,"total":)" + std::to_string(page.total) + R"(,"events":)";
        appendJSONList(response.body, page.records);
        response.body += '}';
        waiting.exchange->deliver({std::move(response)});
    } catch (const std::exception& error) {
        waiting.exchange->deliver({refusal(500, error.what())});
    }
    return true;
}

void Watch::writeStreams(const std::list<std::shared_ptr<Exchange>>& arrived) {
    streams_.remove_if([](const auto& stream) { return !stream->isOpen(); });
    for (const auto& exchange : arrived)
        streams_.push_back(exchange->openStream());

    const auto sinceLast = Clock::now() - lastWrite_;
    std::string text;
    if (!arrived.empty() || (hasUnwritten_ && sinceLast >= betweenWrites)) {
        text = "event: change\ndata: " + summary_() + "\n\n";
        hasUnwritten_ = false;
    } else if (sinceLast >= keepAlive) {
        text = ": keep-alive\n\n";
    } else {
        return;
    }
    for (const auto& stream : streams_)
        stream->write(text);
    lastWrite_ = Clock::now();
}

}  // namespace zentara::collector
