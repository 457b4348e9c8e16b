#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <random>

#include <zentara/ZentaraClient.h>
#include "support/ClientSettingsAccess.h"
#include "support/Files.h"
#include "support/Services.h"
#include "support/TestHost.h"
#include "support/WaitFor.h"

namespace {

// What the clocks of the system show this program beyond the truth, in seconds.
std::atomic<std::int64_t> wallClockAhead = 0;
std::atomic<std::int64_t> slept = 0;

}  // namespace

extern "C" __attribute__((visibility("default"))) int clock_gettime(clockid_t clock,
                                                                    timespec* now) noexcept {
    const auto result = static_cast<int>(::syscall(SYS_clock_gettime, clock, now));
    if (clock == CLOCK_REALTIME) now->tv_sec += wallClockAhead + slept;
    // The other clocks stand while the device sleeps.
    if (clock == CLOCK_BOOTTIME) now->tv_sec += slept;
    return result;
}

namespace zentara {
namespace {

using namespace test;

std::int64_t millisecondsOf(clockid_t clock) {
    timespec now{};
    ::clock_gettime(clock, &now);
    return now.tv_sec * 1000 + now.tv_nsec / 1'000'000;
}

TEST(ClockChangesTest, ClockChangesDisturbNoTimestampOrTimer) {
    const auto seed = std::random_device()();
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    const auto upTo = [&random](std::int64_t most) {
        return std::uniform_int_distribution<std::int64_t>(0, most)(random);
    };
    constexpr std::int64_t years = 20 * 365 * 24 * 3600;
    constexpr std::int64_t rounding = 2;
    const TestHost host;
    for (int run = 0; run < 2; ++run) {
        Services services;
        TestHost::useServer(services.url());
        ZentaraClient::setIsReady(false);
        auto settings = std::make_shared<ClientSettings>();
        settings->environment = ZentaraEnvironment::qa;
        settings->dispatchInterval = settings->identityRefreshInterval = 0.02;
        ClientSettingsAccess::setCurrent(std::move(settings));
        wallClockAhead = upTo(years) - years;
        // Both clocks are read once while the client is made; from then on the second one counts.
        const auto boot = millisecondsOf(CLOCK_BOOTTIME);
        const auto wall = millisecondsOf(CLOCK_REALTIME);
        const auto client = ZentaraClient::get();
        const auto most = millisecondsOf(CLOCK_REALTIME) - boot + rounding;
        const auto least = wall - millisecondsOf(CLOCK_BOOTTIME) - rounding;

        std::vector<std::pair<std::int64_t, std::int64_t>> expected;
        for (std::int64_t number = 0; number < 70; ++number) {
            wallClockAhead = upTo(2 * years) - years;
            if (number % 7 == 0) slept += upTo(360'000);
            // What was held back until the schemas came is released by the others.
            ASSERT_TRUE(number != 35 || eventually([] { return ZentaraClient::isReady(); }));
            const auto first = least + millisecondsOf(CLOCK_BOOTTIME);
            client->send("any", "1", "t", "u", "r", {{"n", number}});
            expected.emplace_back(first, most + millisecondsOf(CLOCK_BOOTTIME));
        }
        // By the timer alone, and on the device within its interval.
        EXPECT_TRUE(eventually([&] {
            return services.accepted().size() == expected.size() &&
                   contentsOf(host.file(".events-storage.checkpoint")) == "[]";
        }));
        ZentaraClient::setSharedClient(nullptr);

        for (const auto& request : services.requests("/event")) {
            const auto envelope = *parseJSON(request.body);
            const auto sent = envelope.at("zentaraClientTs").integer();
            EXPECT_LE(sent, most + millisecondsOf(CLOCK_BOOTTIME));
            for (const auto& action : envelope.at("actions").array()) {
                const auto [first, last] = expected.at(
                    static_cast<std::size_t>(action.at("properties").at("n").integer()));
                const auto stamp = action.at("actionTs").integer();
                EXPECT_TRUE(first <= stamp && stamp <= std::min(last, sent)) << stamp - first;
            }
        }
        wallClockAhead = 0;
    }
}

}  // namespace
}  // namespace zentara
