#include "dispatch/Flushes.h"

#include <algorithm>
#include <utility>

namespace zentara {

namespace {

using Clock = TickerProtocol::Clock;

/// The longest time is no overflow.
Clock::time_point after(std::chrono::milliseconds delay) {
    const auto now = Clock::now();
    const auto most =
        std::chrono::duration_cast<std::chrono::milliseconds>(Clock::time_point::max() - now);
    return now + std::min(delay, most);
}

}  // namespace

Flushes::Number Flushes::begin(std::chrono::milliseconds deadline,
                               std::shared_ptr<TickerProtocol> timer, FlushCallback completion) {
    Number number = 0;
    {
        const MutexLock lock(mutex_);
        number = ++lastFlush_;
        flushes_[number] = {std::move(completion), timer, ledger_.delivered, 0, ""};
    }
    timer->setHandler([weak = weak_from_this(), number] {
        if (const auto self = weak.lock()) self->end(number, Outcome::deadline);
    });
    // Otherwise the owner ends it at once.
    if (deadline.count() > 0) timer->start(after(deadline), 0);
    return number;
}

bool Flushes::isUnderWay(Number flush) const {
    const MutexLock lock(mutex_);
    return flushes_.contains(flush);
}

void Flushes::awaitDelivery(Number flush) {
    const MutexLock lock(mutex_);
    const auto found = flushes_.find(flush);
    if (found != flushes_.end()) found->second.awaitsSince = ++now_;
}

bool Flushes::areAwaitingDelivery() const {
    const MutexLock lock(mutex_);
    for (const auto& [number, flush] : flushes_) {
        if (flush.awaitsSince > 0) return true;
    }
    return false;
}

Flushes::Number Flushes::now() const {
    const MutexLock lock(mutex_);
    return now_;
}

void Flushes::noteFailure(const std::string& text) {
    const MutexLock lock(mutex_);
    for (auto& [number, flush] : flushes_)
        flush.lastFailure = text;
}

template <typename Condition>
Flushes::Reports Flushes::endIf(const Condition& condition, Outcome outcome,
                                const std::string& failure) {
    Reports ended;
    const MutexLock lock(mutex_);
    for (auto flush = flushes_.begin(); flush != flushes_.end();) {
        if (!condition(flush->first, flush->second)) {
            ++flush;
            continue;
        }
        ended.push_back({std::move(flush->second.completion),
                         resultOf(flush->second, outcome, failure),
                         std::move(flush->second.timer)});
        flush = flushes_.erase(flush);
    }
    return ended;
}

Flushes::Reports Flushes::endBefore(Number moment, Outcome outcome, const std::string& failure) {
    return endIf(
        [moment](Number, const Flush& flush) {
            return flush.awaitsSince > 0 && flush.awaitsSince <= moment;
        },
        outcome, failure);
}

void Flushes::end(Number flush, Outcome outcome) {
    report(endIf([flush](Number number, const Flush&) { return number == flush; }, outcome, ""));
}

void Flushes::endAll(Outcome outcome, const std::string& failure) {
    report(endIf([](Number, const Flush&) { return true; }, outcome, failure));
}

FlushResult Flushes::resultOf(const Flush& flush, Outcome outcome,
                              const std::string& failure) const {
    return {outcome, ledger_.delivered - flush.deliveredBefore,
            ledger_.queue.waiting + ledger_.inFlight, ledger_.heldBackQueue.waiting,
            failure.empty() ? flush.lastFailure : failure};
}

void Flushes::report(const Reports& reports) {
    for (const auto& each : reports) {
        if (each.completion) each.completion(each.result);
    }
}

}  // namespace zentara
