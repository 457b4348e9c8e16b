#include "collector/forward/ShownEvents.h"

#include <utility>

namespace zentara::collector {

ShownEvents::ShownEvents(Store& store, std::size_t capacity,
                         std::function<void(const std::string& text)> complain)
    : store_(store), capacity_(capacity), complain_(std::move(complain)) {
    thread_ = std::thread([this] { run(); });
}

ShownEvents::~ShownEvents() {
    {
        const std::lock_guard lock(mutex_);
        isEnding_ = true;
    }
    changed_.notify_all();
    thread_.join();
}

void ShownEvents::offer(TakenEnvelope taken) {
    {
        const std::lock_guard lock(mutex_);
        const std::size_t events = taken.envelope->actions.size();
        if (!hasTimeFor(events)) {
            skipped_ += events;
            return;
        }
        waiting_.push_back(std::move(taken));
    }
    changed_.notify_all();
}

std::uint64_t ShownEvents::skipped() const {
    const std::lock_guard lock(mutex_);
    return skipped_;
}

bool ShownEvents::hasTimeFor(std::size_t events) {
    const auto now = Clock::now();
    if (now - second_ >= std::chrono::seconds(1)) {
        second_ = now;
        inSecond_ = 0;
    }
    // The store may be busy with a query.
    if (waiting_.size() >= mostEventsPerSecond) return false;
    if (inSecond_ > 0 && inSecond_ + events > mostEventsPerSecond) return false;
    inSecond_ += events;
    return true;
}

void ShownEvents::run() {
    for (;;) {
        TakenEnvelope taken;
        {
            std::unique_lock lock(mutex_);
            changed_.wait(lock, [this] { return isEnding_ || !waiting_.empty(); });
            if (isEnding_) return;
            taken = std::move(waiting_.front());
            waiting_.pop_front();
        }
        try {
            (void)store_.addEnvelope(*taken.request, *taken.envelope, *taken.findings, taken.note);
            store_.keepLatest(capacity_);
        } catch (const StoreError& error) {
            complain_(std::string("an event cannot be shown: ") + error.what());
        }
    }
}

}  // namespace zentara::collector
