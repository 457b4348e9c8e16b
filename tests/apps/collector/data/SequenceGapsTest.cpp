#include "collector/data/SequenceGaps.h"

#include <gtest/gtest.h>

#include <limits>

namespace zentara::collector {
namespace {

constexpr auto lowest = std::numeric_limits<std::int64_t>::min();
constexpr auto highest = std::numeric_limits<std::int64_t>::max();
constexpr auto most = std::numeric_limits<std::uint64_t>::max();

TEST(SequenceGapsTest, WhatLiesBetweenTheSmallestAndTheLargestAndDidNotArriveIsMissing) {
    using Ranges = std::vector<std::pair<std::int64_t, std::int64_t>>;
    const struct {
        std::vector<std::int64_t> arrivals;
        Ranges gaps;
        std::uint64_t missing;
    } cases[] = {
        {{}, {}, 0},
        {{7}, {}, 0},
        {{1, 2, 3}, {}, 0},
        {{1, 4, 4, 1}, {{2, 3}}, 2},
        {{5, 1, 3, 2, 4}, {}, 0},
        {{1, 10, 5}, {{2, 4}, {6, 9}}, 7},
        {{1, 10, 2, 9, 5, 4, 6}, {{3, 3}, {7, 8}}, 3},
        {{3, 1, -1, -2}, {{0, 0}, {2, 2}}, 2},
        {{lowest, highest}, {{lowest + 1, highest - 1}}, most - 1},
        {{highest, highest - 1, lowest, lowest + 1}, {{lowest + 2, highest - 2}}, most - 3},
        {{highest, lowest, 0}, {{lowest + 1, -1}, {1, highest - 1}}, most - 2},
    };
    for (const auto& each : cases) {
        SequenceGaps gaps;
        for (const auto sequence : each.arrivals)
            gaps.add("c", "client", sequence);
        Ranges ranges;
        std::uint64_t sum = 0;
        for (const auto& gap : gaps.gaps()) {
            ranges.emplace_back(gap.from, gap.to);
            sum += gap.count;
        }
        EXPECT_EQ(ranges, each.gaps);
        EXPECT_EQ(gaps.missing(), each.missing);
        EXPECT_EQ(sum, each.missing);
    }
}

TEST(SequenceGapsTest, ContextsAreApartAndTheirSumDoesNotOverflow) {
    SequenceGaps gaps;
    for (const char* context : {"b", "a", "c"}) {
        gaps.add(context, std::string("client of ") + context, lowest);
        gaps.add(context, "another", highest);
    }
    EXPECT_EQ(gaps.missing(), most);
    ASSERT_EQ(gaps.gaps().size(), 3U);
    EXPECT_EQ(gaps.gaps()[0], (Gap{"a", "client of a", lowest + 1, highest - 1, most - 1}));
}

}  // namespace
}  // namespace zentara::collector
