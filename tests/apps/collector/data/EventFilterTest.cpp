#include "collector/data/EventFilter.h"

#include <gtest/gtest.h>

namespace zentara::collector {
namespace {

TEST(EventFilterTest, ParametersAreTakenByTheirNames) {
    EventQuery query;
    const std::pair<const char*, const char*> parameters[] = {
        {"schema", "a-1"},          {"user", "GST=x"},     {"tenant", ""},
        {"context", "c"},           {"client", "u"},       {"good", "false"},
        {"text", "50% off"},        {"duplicate", "true"}, {"since", "-5"},
        {"until", "1700000000000"}, {"after", "12"},       {"sort", "actionTs"},
        {"order", "descending"},    {"offset", "3"},       {"limit", "0"}};
    for (const auto& [name, value] : parameters)
        EXPECT_TRUE(query.take(name, value)) << name;
    EXPECT_EQ(query.filter, (EventFilter{"a-1", "GST=x", "", "c", "u", false, true, "50% off", -5,
                                         1'700'000'000'000, 12}));
    EXPECT_EQ(query.sort, EventQuery::Sort::actionTs);
    EXPECT_EQ(query.order, EventQuery::Order::descending);
    EXPECT_EQ(query.offset, 3U);
    EXPECT_EQ(query.limit, 0U);
    EXPECT_TRUE(query.take("good", "any"));
    EXPECT_EQ(query.filter.good, std::nullopt);
}

}  // namespace
}  // namespace zentara::collector
