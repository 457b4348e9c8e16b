#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include <zentara/ZentaraClient.h>
#include "facade/ClientSettingsAccess.h"
#include "reliability/AdjustableClock.h"
#include "support/Files.h"
#include "support/Services.h"
#include "support/TestHost.h"
#include "support/WaitFor.h"

namespace zentara {
namespace {

using namespace test;
using std::chrono::hours;
using std::chrono::milliseconds;

/// A span of time that a moment lies in.
struct Span {
    milliseconds first;
    milliseconds last;
};

template <typename Action>
Span timeOf(milliseconds (*clock)(), const Action& action) {
    const auto before = clock();
    action();
    return {before, clock()};
}

/// As at the start of a process, with timers that a test can wait for.
void restart() {
    ZentaraClient::setSharedClient(nullptr);
    ZentaraClient::setIsReady(false);
    auto settings = std::make_shared<ClientSettings>();
    settings->environment = ZentaraEnvironment::qa;
    settings->dispatchInterval = 0.02;
    settings->identityRefreshInterval = 0.02;
    ClientSettingsAccess::setCurrent(std::move(settings));
}

TEST(ClockChangesTest, TimestampsGoOnByElapsedTimeAndTimersAreNotDisturbed) {
    const auto seed = std::random_device()();
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    const auto upTo = [&random](hours most) {
        return milliseconds(
            std::uniform_int_distribution<std::int64_t>(0, milliseconds(most).count())(random));
    };
    constexpr hours years(20 * 365 * 24);
    const TestHost host;
    Services services;
    TestHost::useServer(services.url());
    AdjustableClock clock;
    std::int64_t number = 0;
    std::vector<Span> expected;       // for each event, from the first on
    std::vector<milliseconds> after;  // what no envelope of a run may be stamped beyond
    constexpr int perRun = 70;
    constexpr milliseconds rounding(2);

    for (int run = 0; run < 3; ++run) {
        restart();
        clock.setWallClockBy(upTo(years) - years);
        std::shared_ptr<ZentaraClient> client;
        // The reference was taken in here, by both clocks.
        Span boot{};
        const auto wall = timeOf(AdjustableClock::wallClock, [&] {
            boot = timeOf(AdjustableClock::sinceBoot, [&] { client = ZentaraClient::get(); });
        });
        for (int step = 0; step < perRun; ++step) {
            clock.setWallClockBy(upTo(2 * years) - years);
            if (step % 7 == 0) clock.suspend(upTo(hours(100)));
            // What was held back until the schemas came is released by the others.
            ASSERT_TRUE(step != perRun / 2 || eventually([] { return ZentaraClient::isReady(); }));
            const auto now = timeOf(AdjustableClock::sinceBoot, [&] {
                client->send("any", "1", "t", "u", "r", {{"n", ++number}});
            });
            expected.push_back({wall.first + (now.first - boot.last) - rounding,
                                wall.last + (now.last - boot.first) + rounding});
        }
        // By the timer alone, and on the device within its interval.
        EXPECT_TRUE(eventually([&] {
            return services.accepted().size() == expected.size() &&
                   contentsOf(host.file(".events-storage.checkpoint")) == "[]";
        }));
        after.push_back(wall.last + (AdjustableClock::sinceBoot() - boot.first) + rounding);
    }
    restart();

    for (const auto& request : services.requests("/event")) {
        const auto envelope = parseJSON(request.body).value;
        const auto sent = envelope.at("zentaraClientTs").as_int64();
        for (const auto& action : envelope.at("actions").as_array()) {
            const auto index =
                static_cast<std::size_t>(action.at("properties").at("n").as_int64() - 1);
            const auto stamp = action.at("actionTs").as_int64();
            EXPECT_GE(stamp, expected.at(index).first.count());
            EXPECT_LE(stamp, expected.at(index).last.count());
            EXPECT_LE(stamp, sent);
            EXPECT_LE(sent, after.at(index / perRun).count());
        }
    }
}

}  // namespace
}  // namespace zentara
