#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <optional>
#include <vector>

#include "fleet/Collectors.h"
#include "fleet/Fleet.h"

namespace zentara::fleet {
namespace {

using std::chrono::seconds;

/// One client that makes some fifty events in its first tick and then none.
FleetSettings oneClient(bool backsOff, bool drains) {
    FleetSettings settings;
    settings.clients = 1;
    settings.eventsPerSecond = 5;
    settings.busyFactor = 1;
    settings.making = {0, second};
    settings.client.delivery.backOff = backsOff;
    settings.client.delivery.continueAtOnce = drains;
    return settings;
}

/// The seconds in which something was posted.
std::vector<int> secondsWithPosts(Fleet& fleet, int length) {
    std::vector<int> result;
    for (int at = 0; at < length; ++at) {
        if (fleet.passSecond().posts > 0) result.push_back(at);
    }
    return result;
}

TEST(FleetTest, BooksBalanceEverySecond) {
    struct Case {
        bool backsOff;
        bool drains;
        Span outage;
        double capacity;
        std::int64_t outboxBytes;
        std::int64_t maxEvents;
        bool evicts;
    };
    for (const auto& each : std::vector<Case>{
             {false, false, {}, 1000, 1'000'000'000, 8000, false},
             {false, false, {5 * second, 60 * second}, 1000, 1'000'000'000, 12, true},
             {true, true, {5 * second, 60 * second}, 3, 1'000'000'000, 8000, false},
             {false, true, {}, 1000, 20'000, 8000, false},
         }) {
        FleetSettings settings;
        settings.clients = 200;
        settings.eventsPerSecond = 0.5;
        settings.client.maxEvents = each.maxEvents;
        settings.client.delivery.backOff = each.backsOff;
        settings.client.delivery.continueAtOnce = each.drains;
        settings.restarts = {20 * second, 40 * second};
        Fleet fleet(settings, {.count = 2,
                               .requestsPerSecond = each.capacity,
                               .outage = each.outage,
                               .outboxBytes = each.outboxBytes,
                               .brokerRate = 30});
        std::int64_t delivered = 0;
        std::int64_t evicted = 0;
        for (int at = 0; at < 120; ++at) {
            const auto sample = fleet.passSecond();
            const auto books = fleet.books();
            delivered += sample.delivered;
            evicted += sample.evicted;
            ASSERT_EQ(books.imbalance(), 0) << at;
            ASSERT_EQ(books.queued + books.inFlight, sample.waiting) << at;
            ASSERT_EQ(books.delivered, delivered) << at;
            ASSERT_EQ(books.evicted, evicted) << at;
        }
        EXPECT_GT(delivered, 0);
        EXPECT_EQ(evicted > 0, each.evicts);
    }
}

TEST(FleetTest, PolicyDecidesWhenABatchLeaves) {
    const Span outage{0, 55 * second};
    struct Case {
        bool backsOff;
        bool drains;
        CollectorSettings collectors;
        std::vector<int> posts;
    };
    const auto away = [&](Absence absence, std::optional<seconds> retryAfter) {
        return CollectorSettings{.outage = outage, .absence = absence, .retryAfter = retryAfter};
    };
    for (const auto& each : std::vector<Case>{
             {false, false, {}, {0, 10, 20, 30, 40}},
             {false, true, {}, {0}},
             {true, false, away(Absence::overloaded, seconds(30)), {0, 40, 80, 90, 100}},
             {true, true, away(Absence::overloaded, seconds(25)), {0, 30, 60}},
             {true, true, away(Absence::unreachable, seconds(25)), {0, 10, 20, 30, 40, 50, 60}},
             {false, true, away(Absence::overloaded, seconds(25)), {0, 10, 20, 30, 40, 50, 60}},
         }) {
        Fleet fleet(oneClient(each.backsOff, each.drains), each.collectors);
        auto posts = secondsWithPosts(fleet, 105);
        posts.resize(std::min(posts.size(), each.posts.size()));
        EXPECT_EQ(posts, each.posts);
    }
}

TEST(FleetTest, SameSeedGivesSameFigures) {
    const auto figures = [](std::uint64_t seed) {
        FleetSettings settings;
        settings.clients = 1000;
        settings.seed = seed;
        settings.client.delivery.backOff = true;
        Fleet fleet(settings, {.outage = {second, 30 * second}});
        std::vector<std::int64_t> waiting;
        for (int at = 0; at < 90; ++at)
            waiting.push_back(fleet.passSecond().waiting);
        return waiting;
    };
    EXPECT_EQ(figures(7), figures(7));
    EXPECT_NE(figures(7), figures(8));
}

TEST(FleetTest, RestartFetchesOnceIfAnswered) {
    FleetSettings settings;
    settings.clients = 300;
    settings.restarts = {10 * second, 40 * second};
    Fleet fleet(settings, {});
    Sample sum;
    for (int at = 0; at < 60; ++at) {
        const auto sample = fleet.passSecond();
        sum.identities += sample.identities;
        sum.schemas += sample.schemas;
        sum.notReady = sample.notReady;
    }
    EXPECT_EQ(sum.identities, 300);
    EXPECT_EQ(sum.schemas, 300);
    EXPECT_EQ(sum.notReady, 0);
}

TEST(CollectorsTest, FullOutboxAsksToWait) {
    Collectors collectors({.count = 1, .outboxBytes = 10'000, .eventBytes = 1000, .brokerRate = 4});
    EXPECT_EQ(collectors.take(0, 10).kind, Answer::Kind::good);
    const auto refused = collectors.take(0, 10);
    EXPECT_EQ(refused.kind, Answer::Kind::overloaded);
    EXPECT_EQ(refused.retryAfter, Collectors::fullRetryAfter);
    EXPECT_EQ(collectors.take(0, 0).kind, Answer::Kind::good);
    collectors.handOn(second);
    EXPECT_EQ(collectors.take(second, 10).kind, Answer::Kind::good);
    EXPECT_EQ(collectors.inOutboxes(), 16);
    EXPECT_EQ(collectors.handedOn(), 4);
}

TEST(CollectorsTest, LongLineIsOverload) {
    Collectors collectors({.count = 1, .requestsPerSecond = 10, .longestWait = 150});
    EXPECT_EQ(collectors.take(0, 1).at, 100 + Collectors::roundTrip);
    EXPECT_EQ(collectors.take(0, 1).at, 200 + Collectors::roundTrip);
    EXPECT_EQ(collectors.take(0, 1).kind, Answer::Kind::overloaded);
    EXPECT_EQ(collectors.take(60, 1).at, 300 + Collectors::roundTrip);
}

}  // namespace
}  // namespace zentara::fleet
