#include "collector/data/PropertyStatistics.h"

#include <gtest/gtest.h>

#include "collector/data/MessageGroups.h"

namespace zentara::collector {
namespace {

using Need = PropertyStatistics::Need;

std::string eventWith(const std::string& properties) {
    return R"({"id":"a","properties":)" + properties + "}";
}

TEST(PropertyStatisticsTest, EveryPropertyIsCountedByPath) {
    PropertyStatistics statistics;
    statistics.declare({"title"}, Need::required);
    statistics.declare({"never"}, Need::optional);
    statistics.declare({"lines"}, Need::optional);
    statistics.declare({"lines", "*"}, Need::optional);
    statistics.declare({"lines", "*", "n"}, Need::required);
    for (const auto* properties :
         {R"({"title":"x","lines":[{"n":1},{"n":2},{"n":1}],"b":{"c":true}})",
          R"({"title":"5","lines":[],"b":{"c":null,"a.b":1}})", R"({"title":5,"lines":[7]})",
          R"({"title":"x","b":5.0,"*":1e300})", "{}"})
        statistics.add(eventWith(properties));
    statistics.add("{}");
    EXPECT_EQ(JSONValue(statistics.result()).text(),
              R"([{"path":"title","declared":true,"required":true,"present":4,)"
              R"("types":{"integer":1,"string":3},"values":[)"
              R"({"value":"x","type":"string","count":2},{"value":"5","type":"integer","count":1},)"
              R"({"value":"5","type":"string","count":1}],"otherValues":0},)"
              R"({"path":"never","declared":true,"required":false,"present":0,"types":{},)"
              R"("values":[],"otherValues":0},)"
              R"({"path":"lines","declared":true,"required":false,"present":3,)"
              R"("types":{"array":3},"values":[],"otherValues":0},)"
              R"({"path":"lines.*","declared":true,"required":false,"present":2,)"
              R"("types":{"integer":1,"object":3},)"
              R"("values":[{"value":"7","type":"integer","count":1}],"otherValues":0},)"
              R"({"path":"lines.*.n","declared":true,"required":true,"present":1,)"
              R"("types":{"integer":3},"values":[{"value":"1","type":"integer","count":2},)"
              R"({"value":"2","type":"integer","count":1}],"otherValues":0},)"
              R"({"path":"*","declared":false,"required":false,"present":1,"types":{"number":1},)"
              R"("values":[{"value":"1e+300","type":"number","count":1}],"otherValues":0,)"
              R"("unnamed":true},)"
              R"({"path":"b","declared":false,"required":false,"present":3,)"
              R"("types":{"number":1,"object":2},)"
              R"("values":[{"value":"5.0","type":"number","count":1}],"otherValues":0},)"
              R"({"path":"b.a.b","declared":false,"required":false,"present":1,)"
              R"("types":{"integer":1},"values":[{"value":"1","type":"integer","count":1}],)"
              R"("otherValues":0,"unnamed":true},)"
              R"({"path":"b.c","declared":false,"required":false,"present":2,)"
              R"("types":{"boolean":1,"null":1},"values":[)"
              R"({"value":"null","type":"null","count":1},)"
              R"({"value":"true","type":"boolean","count":1}],"otherValues":0}])");
    EXPECT_FALSE(statistics.hasMore());
}

TEST(PropertyStatisticsTest, HostileEventsStayWithinTheBounds) {
    PropertyStatistics statistics;
    statistics.declare({"declared"}, Need::optional);
    const std::string accent = "\xC3\xA9";
    std::string names = "{\"" + std::string(PropertyStatistics::longestPath, 'n') + "\":1";
    for (std::size_t name = 0; name < PropertyStatistics::mostOthers + 5; ++name)
        names += ",\"p" + std::to_string(name) + "\":1";
    statistics.add(eventWith(names + "}"));
    constexpr std::size_t values = PropertyStatistics::mostValues + 50;
    for (std::size_t value = 0; value < values; ++value)
        statistics.add(eventWith("{\"declared\":" + std::to_string(value) + "}"));
    std::string text(PropertyStatistics::longestValue - 1, 'v');
    statistics.add(eventWith("{\"p0\":\"" + text + accent + "\"}"));
    const auto result = statistics.result();
    ASSERT_EQ(result.size(), 1 + PropertyStatistics::mostOthers);
    EXPECT_EQ(result[0].at("values").array().size(), PropertyStatistics::mostListed);
    EXPECT_EQ(result[0].at("otherValues"), values - PropertyStatistics::mostListed);
    EXPECT_EQ(result[1].at("values").at(1).text(),
              R"({"value":")" + text + R"(","type":"string","count":1,"cut":true})");
    EXPECT_TRUE(statistics.hasMore());
}

TEST(PropertyStatisticsTest, OnlyPathsOfFiltersAreEntered) {
    PropertyStatistics statistics;
    const auto nested = [](std::size_t depth) {
        std::string text = "1";
        for (; depth > 0; --depth)
            text = "{\"a\":" + text + "}";
        return eventWith(text);
    };
    statistics.add(nested(8));
    EXPECT_FALSE(statistics.hasMore());
    statistics.add(nested(1000));
    EXPECT_TRUE(statistics.hasMore());
    EXPECT_EQ(statistics.result().size(), 8U);
    EXPECT_EQ(statistics.result().back().at("path"), "a.a.a.a.a.a.a.a");
}

TEST(MessageGroupsTest, EventsAreCountedBySchemaAndMessage) {
    MessageGroups groups;
    const auto low = [](const std::string& paths) {
        std::string list;
        for (const char path : paths)
            list += std::string(list.empty() ? "" : ",") + R"({"path":"/)" + path +
                    R"(","message":"low"})";
        return "[" + list + "]";
    };
    const std::string start(MessageGroups::longestMessage, 'm');
    groups.add("b-1", R"([{"path":"/x","message":")" + start + "more\"}]", 30);
    groups.add("a-1", low("pq"), 20);
    groups.add("b-1", low("p"), 15);
    groups.add("a-1", low("qrstuv"), 10);
    EXPECT_EQ(JSONValue(groups.result()).text(),
              R"([{"schema":"a-1","message":"low","count":2,"latest":20,)"
              R"("paths":["/p","/q","/r","/s","/t"]},)"
              R"({"schema":"b-1","message":"low","count":1,"latest":15,"paths":["/p"]},)"
              R"({"schema":"b-1","message":")" +
                  start + R"(","count":1,"latest":30,"paths":["/x"],"cut":true}])");
    EXPECT_FALSE(groups.hasMore());
    for (std::size_t group = 3; group <= MessageGroups::mostGroups; ++group)
        groups.add("s-" + std::to_string(group), low("p"), 5);
    EXPECT_EQ(groups.result().size(), MessageGroups::mostGroups);
    EXPECT_TRUE(groups.hasMore());
}

}  // namespace
}  // namespace zentara::collector
