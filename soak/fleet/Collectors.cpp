#include "Collectors.h"

#include <algorithm>
#include <cmath>

namespace zentara::fleet {

Collectors::Collectors(const CollectorSettings& settings)
    : settings_(settings), collectors_(static_cast<std::size_t>(settings.count)) {}

Answer Collectors::take(Time now, std::int64_t events) {
    const auto soon = now + roundTrip;
    if (settings_.outage.contains(now)) {
        if (settings_.absence == Absence::unreachable)
            return {Answer::Kind::unreachable, soon, std::nullopt};
        return {Answer::Kind::overloaded, soon, settings_.retryAfter};
    }
    auto& collector = collectors_[next_];
    next_ = (next_ + 1) % collectors_.size();
    const auto begin = std::max(collector.freeAt, static_cast<double>(now));
    if (begin - static_cast<double>(now) > static_cast<double>(settings_.longestWait))
        return {Answer::Kind::overloaded, soon, settings_.retryAfter};
    collector.freeAt = begin + 1000 / settings_.requestsPerSecond;
    const auto at = static_cast<Time>(std::ceil(collector.freeAt)) + roundTrip;
    if (events > 0 && collector.outbox * settings_.eventBytes >= settings_.outboxBytes)
        return {Answer::Kind::overloaded, at, fullRetryAfter};
    collector.outbox += events;
    return {Answer::Kind::good, at, std::nullopt};
}

void Collectors::handOn(Time now) {
    const auto rate =
        settings_.slowBroker.contains(now) ? settings_.slowRate : settings_.brokerRate;
    for (auto& collector : collectors_) {
        const auto events = std::min(collector.outbox, static_cast<std::int64_t>(rate));
        collector.outbox -= events;
        handedOn_ += events;
    }
}

std::int64_t Collectors::inOutboxes() const {
    std::int64_t sum = 0;
    for (const auto& collector : collectors_)
        sum += collector.outbox;
    return sum;
}

std::int64_t Collectors::fullestOutbox() const {
    return std::ranges::max(collectors_, {}, &Collector::outbox).outbox;
}

}  // namespace zentara::fleet
