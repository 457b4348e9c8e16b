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
                                std::chrono::milliseconds(4), std::chrono::milliseconds(1)};

constexpr Drain::Patience patient{std::chrono::seconds(30), std::chrono::milliseconds(1),
                                  std::chrono::milliseconds(2), std::chrono::milliseconds(1)};

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

TEST(DrainTest, ItGoesOnUntilNothingWaitsAndTriesFailuresAgain) {
    std::vector<std::size_t> progress;
    Drain drain(scripted({failed, newData, failed, failed, newData, newData, noData}), settled,
                patient);
    const auto result = drain.run([&](std::size_t batches) { progress.push_back(batches); });
    EXPECT_TRUE(result.complete);
    EXPECT_EQ(result.batches, 3U);
    EXPECT_THAT(progress, ElementsAre(1, 2, 3));
}

TEST(DrainTest, ItWaitsForABatchThatIsUnderWayElsewhere) {
    // Back in the queue a moment after the first look.
    const auto back = Drain(scripted({newData, noData, newData, noData}), settled, patient).run();
    EXPECT_TRUE(back.complete);
    EXPECT_EQ(back.batches, 2U);

    int looks = 0;
    const auto onDisk = [&] {
        return ++looks > 5;
    };
    EXPECT_TRUE(Drain(scripted({noData}), onDisk, patient).run().complete);
    EXPECT_EQ(looks, 7);

    const auto never = [] {
        return false;
    };
    EXPECT_FALSE(Drain(scripted({noData}), never, quick).run().complete);
}

TEST(DrainTest, ItGivesUpWhenNothingIsDeliveredForTooLong) {
    const auto result = Drain(scripted({newData, failed}), settled, quick).run();
    EXPECT_FALSE(result.complete);
    EXPECT_EQ(result.batches, 1U);
}

TEST(DrainTest, ItGivesUpOnAnAnswerThatDoesNotComeAndBearsItComingLate) {
    ZentaraClient::FetchCallback late;
    const auto result = Drain([&](const auto& done) { late = done; }, settled, quick).run();
    EXPECT_FALSE(result.complete);
    late(newData);
}

}  // namespace
}  // namespace zentara::track
