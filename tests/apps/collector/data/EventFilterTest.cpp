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
    EXPECT_FALSE(query.take("Schema", "a-1"));
    EXPECT_FALSE(query.filter.take("limit", "1"));
}

TEST(EventFilterTest, AValueThatIsNotUnderstoodIsRefusedInWords) {
    const struct {
        const char* name;
        const char* value;
        const char* reason;
    } cases[] = {
        {"good", "x", R"(good is true, false or any, not "x")"},
        {"duplicate", "", R"(duplicate is true, false or any, not "")"},
        {"since", "today", R"(since is a time in milliseconds since 1970-01-01 UTC, not "today")"},
        {"until", "1e3", R"(until is a time in milliseconds since 1970-01-01 UTC, not "1e3")"},
        {"after", " 1", R"(after is the number of an event, not " 1")"},
        {"offset", "-1", R"(offset is a number from 0 on, not "-1")"},
        {"limit", "99999999999999999999",
         R"(limit is a number from 0 on, not "99999999999999999999")"},
        {"sort", "json", R"(sort is number, receivedAt, actionTs, schema or sequence, not "json")"},
        {"order", "DESC", R"(order is ascending or descending, not "DESC")"},
    };
    for (const auto& each : cases) {
        EventQuery query;
        try {
            (void)query.take(each.name, each.value);
            ADD_FAILURE() << each.name;
        } catch (const ParameterError& error) {
            EXPECT_STREQ(error.what(), each.reason);
        }
    }
}

}  // namespace
}  // namespace zentara::collector
