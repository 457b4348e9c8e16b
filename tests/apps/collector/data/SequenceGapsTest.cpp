#include "collector/data/SequenceGaps.h"

#include <gtest/gtest.h>

#include <limits>

namespace zentara::collector {
namespace {

constexpr auto lowest = std::numeric_limits<std::int64_t>::min();
constexpr auto highest = std::numeric_limits<std::int64_t>::max();

TEST(SequenceGapsTest, GapsWithinAndBetweenContextsAreMissing) {
    using Arrivals = std::vector<std::pair<const char*, std::int64_t>>;
    using Ranges = std::vector<std::tuple<std::string, std::int64_t, std::int64_t>>;
    const std::pair<Arrivals, Ranges> cases[] = {
        {{{"a", 7}}, {}},
        {{{"a", 1}, {"a", 4}, {"a", 4}, {"a", 1}}, {{"a", 2, 3}}},
        {{{"a", 5}, {"a", 1}, {"a", 3}, {"a", 2}, {"a", 4}}, {}},
        {{{"a", 1}, {"a", 10}, {"a", 5}}, {{"a", 2, 4}, {"a", 6, 9}}},
        {{{"a", 1}, {"a", 10}, {"a", 2}, {"a", 9}, {"a", 4}}, {{"a", 3, 3}, {"a", 5, 8}}},
        {{{"a", highest}, {"a", lowest}, {"a", 0}}, {{"a", lowest + 1, -1}, {"a", 1, highest - 1}}},
        {{{"a", 3}, {"a", 4}, {"b", 8}}, {{"b", 5, 7}}},
        {{{"a", 3}, {"b", 4}}, {}},
        // Left from an earlier run.
        {{{"old", 50}, {"a", 1}, {"b", 5}}, {}},
        // Arrivals on either side, and in the middle.
        {{{"a", 3}, {"b", 10}, {"a", 8}}, {{"a", 4, 7}, {"b", 9, 9}}},
        {{{"a", 3}, {"b", 10}, {"a", 5}, {"b", 8}}, {{"a", 4, 4}, {"b", 6, 7}, {"b", 9, 9}}},
        {{{"a", 1}, {"b", 9}, {"c", 4}, {"c", 6}}, {{"b", 2, 3}, {"b", 7, 8}, {"c", 5, 5}}},
        {{{"a", 1}, {"b", 4}, {"c", 7}, {"a", 6}}, {{"a", 2, 5}}},
        {{{"a", lowest}, {"b", highest}, {"c", 0}}, {{"b", lowest + 1, -1}, {"b", 1, highest - 1}}},
    };
    for (const auto& [arrivals, expected] : cases) {
        SequenceGaps gaps;
        for (const auto& [context, sequence] : arrivals) {
            gaps.add(context, "client", sequence);
            gaps.add(std::string("other ") + context, "other", 1);
        }
        Ranges ranges;
        std::uint64_t sum = 0;
        for (const auto& gap : gaps.gaps()) {
            EXPECT_EQ(gap.clientUUID, "client");
            ranges.emplace_back(gap.context, gap.from, gap.to);
            sum += gap.count;
        }
        EXPECT_EQ(ranges, expected);
        EXPECT_EQ(gaps.missing(), sum);
    }
}

}  // namespace
}  // namespace zentara::collector
