#include "track/Drain.h"

#include <gmock/gmock.h>

#include <chrono>
#include <deque>
#include <thread>
#include <vector>

namespace zentara::track {
namespace {

using enum BackgroundFetchResult;
using testing::ElementsAre;

constexpr Drain::Patience quick{std::chrono::milliseconds(40), std::chrono::milliseconds(1),
                                std::chrono::milliseconds(4)};

/// Answers from a script; the last answer goes on for ever.
Drain::Fetch scripted(std::deque<BackgroundFetchResult> script) {
    return [script](const ZentaraClient::FetchCallback& done) mutable {
        const auto answer = script.front();
        if (script.size() > 1) script.pop_front();
        std::thread([=] { done(answer); }).join();
    };
}

TEST(DrainTest, ItGoesOnUntilNothingWaitsAndTriesFailuresAgain) {
    std::vector<std::size_t> progress;
    Drain drain(scripted({failed, newData, failed, failed, newData, newData, noData}),
                {.withoutDelivery = std::chrono::seconds(30),
                 .firstPause = std::chrono::milliseconds(1),
                 .longestPause = std::chrono::milliseconds(2)});
    const auto result = drain.run([&](std::size_t batches) { progress.push_back(batches); });
    EXPECT_TRUE(result.complete);
    EXPECT_EQ(result.batches, 3U);
    EXPECT_THAT(progress, ElementsAre(1, 2, 3));
}

TEST(DrainTest, ItGivesUpWhenNothingIsDeliveredForTooLong) {
    const auto result = Drain(scripted({newData, failed}), quick).run();
    EXPECT_FALSE(result.complete);
    EXPECT_EQ(result.batches, 1U);
}

TEST(DrainTest, ItGivesUpOnAnAnswerThatDoesNotComeAndBearsItComingLate) {
    ZentaraClient::FetchCallback late;
    const auto result = Drain([&](const auto& done) { late = done; }, quick).run();
    EXPECT_FALSE(result.complete);
    late(newData);
}

}  // namespace
}  // namespace zentara::track
