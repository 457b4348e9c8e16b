#include "track/Drain.h"

#include <gtest/gtest.h>

#include <chrono>
#include <deque>
#include <thread>

#include "track/ProgressBar.h"

namespace zentara::track {
namespace {

using enum BackgroundFetchResult;
using namespace std::chrono_literals;

constexpr Drain::Patience quick{40ms, 1ms, 4ms, 1ms};
constexpr Drain::Patience patient{30s, 1ms, 2ms, 1ms};

bool settled() {
    return true;
}

/// Answers from a script; the last answer goes on for ever.
Drain::Fetch scripted(std::deque<BackgroundFetchResult> script) {
    return [script](const ZentaraClient::FetchCallback& done) mutable {
        const auto answer = script.front();
        if (script.size() > 1) script.pop_front();
        std::thread([=] { done(answer); }).join();
    };
}

TEST(DrainTest, DrainRetriesUntilTheQueueIsEmpty) {
    const auto script = scripted({failed, newData, failed, failed, newData, newData, noData});
    std::size_t told = 0;
    const auto result = Drain(script, settled, patient).run([&told](auto all) { told += all; });
    EXPECT_TRUE(result.complete);
    EXPECT_EQ(told, 1U + 2 + 3);
}

TEST(DrainTest, DrainWaitsForABatchInFlight) {
    // Back in the queue a moment after the first look.
    const auto script = scripted({newData, noData, newData, noData, newData, noData});
    const auto back = Drain(script, settled, patient).run();
    EXPECT_TRUE(back.complete);
    EXPECT_EQ(back.batches, 3U);

    int looks = 0;
    const auto onDisk = [&looks] {
        return ++looks > 5;
    };
    EXPECT_TRUE(Drain(scripted({noData}), onDisk, patient).run().complete);
    EXPECT_EQ(looks, 7);
}

TEST(DrainTest, DrainGivesUpWithoutProgress) {
    const auto result = Drain(scripted({newData, failed}), settled, quick).run();
    EXPECT_FALSE(result.complete);
    EXPECT_EQ(result.batches, 1U);
    EXPECT_FALSE(Drain(
                     scripted({noData}), [] { return false; }, quick)
                     .run()
                     .complete);
    ZentaraClient::FetchCallback late;
    EXPECT_FALSE(Drain([&](const auto& done) { late = done; }, settled, quick).run().complete);
    late(newData);
}

TEST(ProgressBarTest, BarFitsTheWidth) {
    EXPECT_EQ(ProgressBar::text("sending", 5, 20, 80),
              "sending [########........................] 5/20");
    EXPECT_EQ(ProgressBar::text("sending", 5, 20, 20), "sending [#...] 5/20");
    EXPECT_EQ(ProgressBar::text("sending", 5, 20, 19), "5/20");
    EXPECT_EQ(ProgressBar::text("sending", 5, 20, 4), "5/2");
}

}  // namespace
}  // namespace zentara::track
