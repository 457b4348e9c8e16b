#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <zentara/ZentaraClient.h>
#include "support/ClientSettingsAccess.h"
#include "support/Files.h"
#include "support/Services.h"
#include "support/TestHost.h"
#include "support/WaitFor.h"

namespace {

// Added to the system's clocks, in seconds.
std::atomic<std::int64_t> wallClockAhead = 0;
std::atomic<std::int64_t> slept = 0;

}  // namespace

extern "C" __attribute__((visibility("default"))) int clock_gettime(clockid_t clock,
                                                                    timespec* now) noexcept {
    const auto result = static_cast<int>(::syscall(SYS_clock_gettime, clock, now));
    if (clock == CLOCK_REALTIME) now->tv_sec += wallClockAhead + slept;
    // The other clocks stop while the device sleeps.
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

TEST(ClockChangesTest, TimestampsAndTimersIgnoreClockChanges) {
    constexpr std::int64_t years = 20 * 365 * 24 * 3600;
    constexpr std::int64_t rounding = 2;
    const TestHost host;
    for (int run = 1; run <= 2; ++run) {
        Services services;
        TestHost::useServer(services.url());
        ZentaraClient::setIsReady(false);
        auto settings = std::make_shared<ClientSettings>();
        settings->environment = ZentaraEnvironment::qa;
        settings->dispatchInterval = settings->identityRefreshInterval = 0.02;
        ClientSettingsAccess::setCurrent(std::move(settings));
        wallClockAhead = -run * years;
        // The client reads both clocks once; timestamps follow the second from then on.
        const auto boot = millisecondsOf(CLOCK_BOOTTIME);
        const auto wall = millisecondsOf(CLOCK_REALTIME);
        const auto client = ZentaraClient::get();
        const auto most = millisecondsOf(CLOCK_REALTIME) - boot + rounding;
        const auto least = wall - millisecondsOf(CLOCK_BOOTTIME) - rounding;

        std::vector<std::pair<std::int64_t, std::int64_t>> expected;
        for (std::int64_t number = 0; number < 70; ++number) {
            wallClockAhead = (number % 3 - 1) * years / run;
            if (number % 7 == 0) slept += 5000 * number;
            // Later events release those that are held back.
            ASSERT_TRUE(number != 35 || eventually([] { return ZentaraClient::isReady(); }));
            const auto first = least + millisecondsOf(CLOCK_BOOTTIME);
            client->send("any", "1", "t", "u", "r", {{"n", number}});
            expected.emplace_back(first, most + millisecondsOf(CLOCK_BOOTTIME));
        }
        // The timers alone deliver, and write the checkpoint.
        EXPECT_TRUE(eventually([&] {
            return services.accepted().size() == expected.size() &&
                   contentsOf(host.file(".events-storage.checkpoint")) == "[]";
        }));
        ZentaraClient::setSharedClient(nullptr);
        for (const auto& action : services.actions()) {
            const auto [first, last] =
                expected.at(static_cast<std::size_t>(action.at("properties").at("n").integer()));
            const auto stamp = action.at("actionTs").integer();
            EXPECT_TRUE(first <= stamp && stamp <= last) << stamp - first;
        }
        for (const auto& request : services.requests("/event")) {
            EXPECT_LE(parseJSON(request.body)->at("zentaraClientTs").integer(),
                      most + millisecondsOf(CLOCK_BOOTTIME));
        }
        wallClockAhead = 0;
    }
}

}  // namespace
}  // namespace zentara
