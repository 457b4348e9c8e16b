#include "Scenarios.h"

#include <algorithm>
#include <chrono>
#include <utility>

namespace zentara::fleet {

namespace {

using std::chrono::seconds;

/// Changes of the delivery policy, by name.
void useBackOff(Variant& variant) {
    variant.fleet.client.delivery.backOff = true;
}

void useDraining(Variant& variant) {
    variant.fleet.client.delivery.continueAtOnce = true;
}

Variant named(std::string name, Variant variant, std::vector<void (*)(Variant&)> changes = {}) {
    variant.name = std::move(name);
    for (const auto& change : changes)
        change(variant);
    return variant;
}

Variant withCollectors(std::string name, Variant variant, std::int64_t perMillion) {
    variant.name = std::move(name);
    variant.collectors.count =
        std::max<std::int64_t>(1, variant.fleet.clients * perMillion / 1'000'000);
    return variant;
}

Scenario steadyDay(const Variant& base) {
    auto day = base;
    day.fleet.hasDay = true;
    return {"day", "A day", 24 * hour, {}, {named("default", day)}};
}

Scenario outage(const Variant& base) {
    const Span span{10 * minute, 70 * minute};
    auto away = base;
    away.collectors.outage = span;
    auto unreachable = away;
    unreachable.collectors.absence = Absence::unreachable;
    auto soon = away;
    soon.collectors.retryAfter = seconds(30);
    auto late = away;
    late.collectors.retryAfter = seconds(300);
    auto roomy = withCollectors("", soon, 60);
    const auto withoutJitter = [](Variant& variant) {
        variant.fleet.jitter = Jitter::none;
    };
    return {"outage",
            "No collector for an hour",
            150 * minute,
            span,
            {named("default", away), withCollectors("default, 60 collectors", away, 60),
             withCollectors("default, 110 collectors", away, 110),
             named("draining", away, {useDraining}), named("back-off", away, {useBackOff}),
             named("back-off, no jitter", away, {useBackOff, withoutJitter}),
             named("back-off, unreachable", unreachable, {useBackOff}),
             named("back-off, draining", away, {useBackOff, useDraining}),
             named("the same, Retry-After 30", soon, {useBackOff, useDraining}),
             named("the same, Retry-After 30, 60 collectors", roomy, {useBackOff, useDraining}),
             named("the same, Retry-After 300", late, {useBackOff, useDraining})}};
}

Scenario longOutage(const Variant& base) {
    const Span span{10 * minute, 250 * minute};
    auto away = base;
    away.collectors.outage = span;
    away.collectors.retryAfter = seconds(30);
    return {"long",
            "No collector for four hours",
            6 * hour,
            span,
            {named("default", away),
             named("back-off, draining, Retry-After 30", away, {useBackOff, useDraining})}};
}

Scenario release(const Variant& base) {
    Scenario scenario{"release", "A release", 30 * minute, {5 * minute, 7 * minute}, {}};
    for (const auto within : {2, 10}) {
        auto variant = base;
        variant.fleet.restarts = {5 * minute, (5 + within) * minute};
        const auto name = "within " + std::to_string(within) + " min";
        scenario.variants.push_back(named(name, variant));
    }
    auto narrow = scenario.variants.front();
    scenario.variants.push_back(
        named("the same, back-off, draining", narrow, {useBackOff, useDraining}));
    scenario.variants.push_back(withCollectors("the same, default, 30 collectors", narrow, 30));
    return scenario;
}

Scenario slowBroker(const Variant& base) {
    const Span span{10 * minute, 70 * minute};
    auto slow = base;
    slow.collectors.slowBroker = span;
    slow.collectors.slowRate = 250;
    auto small = slow;
    small.collectors.outboxBytes = 100'000'000;
    return {"broker",
            "A broker that takes a quarter for an hour",
            150 * minute,
            span,
            {named("default, outbox 1024 MB", slow), named("default, outbox 100 MB", small),
             named("back-off, outbox 100 MB", small, {useBackOff}),
             named("back-off, draining, outbox 100 MB", small, {useBackOff, useDraining})}};
}

}  // namespace

std::vector<Scenario> scenarios(std::int64_t clients, std::uint64_t seed) {
    Variant base;
    base.fleet.clients = clients;
    base.fleet.seed = seed;
    base = withCollectors("", base, 40);
    return {steadyDay(base), outage(base), longOutage(base), release(base), slowBroker(base)};
}

}  // namespace zentara::fleet
