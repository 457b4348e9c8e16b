#include <gmock/gmock.h>
#include <zentara/JSONValue.h>

#include <limits>

#include "apps/collector/Samples.h"
#include "collector/data/ArrivalCheck.h"
#include "collector/data/Envelope.h"
#include "collector/data/SequenceGaps.h"
#include "schemas/Schema.h"
#include "support/Files.h"

namespace zentara::collector {
namespace {

std::string replaced(std::string text, const std::string& from, const std::string& to) {
    const auto position = text.find(from);
    EXPECT_NE(position, std::string::npos) << from;
    return text.replace(position, from.size(), to);
}

std::string faultOf(const std::string& body) {
    const auto read = readEnvelope(body);
    const auto* fault = std::get_if<EnvelopeFault>(&read);
    return fault == nullptr ? "" : fault->reason;
}

const std::string goodEnvelope =
    samples::envelope(samples::action("page-view", "u1") + "," + samples::action("search", "u2"));

TEST(EnvelopeTest, FaultIsNamedWithItsPlace) {
    const std::tuple<const char*, const char*, const char*> cases[] = {
        {R"("price":5.0)", R"("price":[{"a":1e309}])",
         "actions[0]: a number is beyond what a double holds"},
        {R"("zentaraClientTenant":"shop",)", "", R"("zentaraClientTenant" is missing)"},
        {R"("mobile")", "1", R"("zentaraClientType" is not a string)"},
        {R"("zentaraDispatchNumber":3)", R"("zentaraDispatchNumber":3.5)",
         R"("zentaraDispatchNumber" is not an integer)"},
        {R"("zentaraDispatchNumber":3)", R"("zentaraDispatchNumber":3.0,"more":[])", ""},
        {R"({"price":5.0,"count":5})", "[]", R"(actions[0]: "properties" is not an object)"},
        {R"("actionTs":1700000000000)", R"("actionTs":1e300)",
         R"(actions[0]: "actionTs" is not an integer)"},
        {R"("zentaraRelationId":null)", R"("zentaraRelationId":4)",
         R"(actions[0]: "zentaraRelationId" is neither a string nor null)"},
        {R"("actions":[)", R"("actions":["x",)", "actions[0] is not an object"},
    };
    for (const auto& [from, to, reason] : cases)
        EXPECT_EQ(faultOf(replaced(goodEnvelope, from, to)), reason);
    EXPECT_EQ(faultOf("[]"), "an envelope is a JSON object");
    EXPECT_EQ(faultOf(samples::envelope("")), "");
}

TEST(EnvelopeTest, NamesHaveAtMost256Bytes) {
    const std::string name(256, 'n');
    for (const std::string value : {"client-1", "shop", "page-view", "1", "c-1", "u1"}) {
        const auto named = [&](const std::string& longer) {
            return faultOf(replaced(goodEnvelope, ":\"" + value + '"', ":\"" + longer + '"'));
        };
        EXPECT_EQ(named(name), "");
        EXPECT_THAT(named(name + "n"), testing::EndsWith("\" is longer than 256 bytes"));
    }
}

TEST(EnvelopeTest, PropertiesNestAsDeepAsTheLibraryAllows) {
    const auto nested = [](std::size_t levels) {
        return replaced(goodEnvelope, R"("count":5)",
                        R"("count":)" + std::string(levels, '[') + std::string(levels, ']'));
    };
    EXPECT_EQ(faultOf(nested(511)), "");
    EXPECT_THAT(faultOf(nested(100'000)), testing::StartsWith("the body is not JSON"));
}

std::vector<Finding> findings(const JSONValue& properties, const JSONValue& schema) {
    return checkProperties(properties, Schema(schema.object(), arrivalFormats()));
}

TEST(ArrivalCheckTest, MessagesPointAtTheirValues) {
    // Cases of a schema, properties and the paths of the findings.
    const auto cases = JSONValue::parse(test::contentsOf(ZENTARA_ARRIVALS));
    for (const auto& each : cases.array()) {
        const auto& [schema, properties] = std::tie(each.at(0), each.at(1));
        JSONArray paths;
        std::vector<std::string> messages;
        for (const auto& finding : findings(properties, schema)) {
            paths.push_back(finding.path);
            messages.push_back(finding.message);
        }
        EXPECT_EQ(each.at(2), paths);
        EXPECT_EQ(messages, validate(properties, schema.object()).errors()) << paths.size();
    }
}

TEST(ArrivalCheckTest, FatalFormatIsAMessage) {
    const auto schema = JSONValue::parse(R"({"properties":{"a":{"format":"numericString"},
                                                "b":{"format":"numericString"}}})");
    EXPECT_THAT(findings(JSONValue::parse(R"({"a":5,"b":"1.5"})"), schema),
                testing::ElementsAre(Finding{"/a", "'5' is not valid NumericString format."}));
}

TEST(ArrivalCheckTest, HostileValuesAndSchemasGiveBoundedMessages) {
    // Many messages below a long name.
    const std::string name(900, 'n');
    std::string elements = "1";
    for (int i = 0; i < 5000; ++i)
        elements += ",1";
    const auto schema = JSONValue::parse(R"({"additionalProperties":{"items":{"type":"string"}}})");
    const auto many = findings(JSONValue::parse("{\"" + name + "\":[" + elements + "]}"), schema);
    ASSERT_EQ(many.size(), 1001U);
    EXPECT_EQ(many[999].path, "/" + name + "/999");
    EXPECT_EQ(many[1000], (Finding{"", "and 4001 more"}));

    // The second name makes the path too long.
    const std::string longName(1000, 'n');
    const auto deepSchema = JSONValue::parse(
        R"({"additionalProperties":{"additionalProperties":{"items":{"type":"string"}}}})");
    const auto deep =
        findings(JSONValue::parse("{\"" + longName + "\":{\"" + longName + "\":[1]}}"), deepSchema);
    ASSERT_EQ(deep.size(), 1U);
    EXPECT_EQ(deep[0].path, "/" + longName);
}

constexpr auto lowest = std::numeric_limits<std::int64_t>::min();
constexpr auto highest = std::numeric_limits<std::int64_t>::max();

TEST(SequenceGapsTest, GapsWithinAndBetweenContextsCount) {
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
        // The first context is that of an earlier run.
        {{{"old", 50}, {"a", 1}, {"b", 5}}, {}},
        // Arrivals on either side of a gap and inside it.
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
