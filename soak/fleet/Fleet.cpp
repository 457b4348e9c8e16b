#include "Fleet.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <numbers>
#include <optional>

#include "dispatch/BackOff.h"

namespace zentara::fleet {

namespace {

/// More than any answer or retry takes.
constexpr std::size_t wheelSize = 1 << 16;

Time milliseconds(double seconds) {
    return std::llround(seconds * 1000);
}

/// From 0.2 at night to 1 in the evening.
double activityAt(Time now) {
    const auto hours = static_cast<double>(now) / static_cast<double>(hour);
    return 0.6 - 0.4 * std::cos((hours - 8) / 12 * std::numbers::pi);
}

}  // namespace

Fleet::Fleet(const FleetSettings& settings, const CollectorSettings& collectors)
    : settings_(settings),
      interval_(milliseconds(settings.client.dispatchInterval)),
      batchSize_(settings.client.dispatchBatchSize),
      collectors_(collectors),
      random_(settings.seed),
      wheel_(wheelSize),
      queued_(static_cast<std::size_t>(settings.clients)),
      backOffEnd_(queued_.size()),
      failuresInARow_(queued_.size()),
      isDraining_(queued_.size()),
      needsIdentity_(queued_.size()),
      needsSchemas_(queued_.size()) {}

Sample Fleet::passSecond() {
    sample_ = {};
    setActivity();
    for (Time step = 0; step < second; ++step)
        passMillisecond();
    collectors_.handOn(now_);
    sample_.waiting = books_.queued + books_.inFlight;
    sample_.notReady = notReady_;
    sample_.fullestOutbox = collectors_.fullestOutbox();
    return sample_;
}

Fleet::Books Fleet::books() const {
    auto books = books_;
    books.queued = 0;
    for (const auto each : queued_)
        books.queued += each;
    books.inFlight = 0;
    for (const auto& slot : wheel_) {
        for (const auto& each : slot)
            books.inFlight += each.events;
    }
    return books;
}

void Fleet::setActivity() {
    auto rate = settings_.eventsPerSecond * settings_.client.dispatchInterval;
    if (settings_.hasDay) rate *= activityAt(now_);
    if (!settings_.making.contains(now_)) rate = 0;
    newEvents_ = {Poisson(rate), Poisson(rate * settings_.busyFactor)};
}

void Fleet::passMillisecond() {
    auto& slot = wheel_[static_cast<std::size_t>(now_) % wheelSize];
    // Nothing is added to this slot meanwhile: every delay is at least a millisecond.
    for (const auto& each : slot)
        happen(each);
    slot.clear();
    const auto end = (settings_.clients * (now_ % interval_ + 1) + interval_ - 1) / interval_;
    for (; nextTick_ < end; ++nextTick_)
        tick(nextTick_);
    ++now_;
    if (now_ % interval_ == 0) nextTick_ = 0;
}

void Fleet::tick(std::uint32_t client) {
    makeEvents(client);
    start(client);
    if (needsSchemas_[client]) request({.client = client, .kind = Kind::schemas});
    dispatch(client, Kind::post);
}

void Fleet::makeEvents(std::uint32_t client) {
    const bool isBusy = client % settings_.busyEvery == 0;
    const auto count = newEvents_[isBusy ? 1 : 0](random_);
    if (count == 0) return;
    const auto room = std::max<std::int64_t>(settings_.client.maxEvents - queued_[client], 0);
    // Each new event evicts at most one.
    const auto evicted = std::max<std::int64_t>(count - room, 0);
    queued_[client] += count - static_cast<std::uint32_t>(evicted);
    books_.made += count;
    books_.queued += count - evicted;
    books_.evicted += evicted;
    sample_.evicted += evicted;
}

void Fleet::start(std::uint32_t client) {
    if (!settings_.restarts.contains(now_)) return;
    // The tick of the start keeps its place in the interval.
    const auto ticks = (settings_.restarts.end - settings_.restarts.begin) / interval_;
    Random own(settings_.seed * 1'000'003 + client);
    const auto chosen = static_cast<Time>(own.next() % static_cast<std::uint64_t>(ticks));
    if ((now_ - settings_.restarts.begin) / interval_ != chosen) return;
    backOffEnd_[client] = 0;
    failuresInARow_[client] = 0;
    needsIdentity_[client] = true;
    needsSchemas_[client] = true;
    ++notReady_;
    happen({.client = client, .kind = Kind::identityTick});
}

void Fleet::dispatch(std::uint32_t client, Kind kind) {
    const auto taken = std::min<std::int64_t>(queued_[client], batchSize_);
    if (taken == 0 || (settings_.client.delivery.backOff && now_ < backOffEnd_[client])) {
        if (kind == Kind::drain) isDraining_[client] = false;
        return;
    }
    queued_[client] -= static_cast<std::uint32_t>(taken);
    books_.queued -= taken;
    books_.inFlight += taken;
    request({.client = client,
             .events = static_cast<std::uint16_t>(taken),
             .kind = kind,
             .wereEventsLeft = settings_.client.delivery.continueAtOnce && queued_[client] > 0});
}

void Fleet::request(const Happening& happening) {
    auto answered = happening;
    const auto answer = collectors_.take(now_, happening.events);
    answered.answer = answer.kind;
    answered.retryAfter =
        static_cast<std::uint16_t>(answer.retryAfter.value_or(std::chrono::seconds(0)).count());
    auto& count = happening.kind == Kind::identity  ? sample_.identities
                  : happening.kind == Kind::schemas ? sample_.schemas
                                                    : sample_.posts;
    ++count;
    if (answer.kind != Answer::Kind::good) ++sample_.failed;
    after(answer.at - now_, answered);
}

void Fleet::happen(const Happening& happening) {
    const auto client = happening.client;
    const bool isGood = happening.answer == Answer::Kind::good;
    switch (happening.kind) {
        case Kind::post:
        case Kind::drain:
            return finishPost(happening);
        case Kind::identity:
            if (isGood) needsIdentity_[client] = false;
            return;
        case Kind::schemas:
            if (!isGood || !needsSchemas_[client]) return;
            needsSchemas_[client] = false;
            --notReady_;
            return;
        case Kind::identityTick:
            if (!needsIdentity_[client]) return;
            request({.client = client, .kind = Kind::identity});
            return after(milliseconds(settings_.client.identityRefreshInterval), happening);
    }
}

void Fleet::finishPost(const Happening& happening) {
    const auto client = happening.client;
    books_.inFlight -= happening.events;
    if (happening.kind == Kind::drain) isDraining_[client] = false;
    if (happening.answer == Answer::Kind::good) {
        failuresInARow_[client] = 0;
        books_.delivered += happening.events;
        sample_.delivered += happening.events;
        if (!happening.wereEventsLeft || isDraining_[client]) return;
        isDraining_[client] = true;
        return dispatch(client, Kind::drain);
    }
    queued_[client] += happening.events;
    books_.queued += happening.events;
    if (happening.answer == Answer::Kind::overloaded) backOff(happening);
}

void Fleet::backOff(const Happening& happening) {
    if (!settings_.client.delivery.backOff) return;
    const auto client = happening.client;
    // Doublings end long before.
    if (failuresInARow_[client] < 100) ++failuresInARow_[client];
    std::optional<std::chrono::seconds> retryAfter;
    if (happening.retryAfter > 0) retryAfter = std::chrono::seconds(happening.retryAfter);
    const auto random = settings_.jitter == Jitter::none ? 1.0 : random_.fraction();
    const auto end =
        backOffUntil(failuresInARow_[client], retryAfter, random, std::chrono::milliseconds(now_));
    backOffEnd_[client] = std::max(backOffEnd_[client], static_cast<std::int32_t>(end.count()));
}

void Fleet::after(Time delay, const Happening& happening) {
    const auto at = static_cast<std::size_t>(now_ + std::max<Time>(delay, 1));
    wheel_[at % wheelSize].push_back(happening);
}

}  // namespace zentara::fleet
