#include <gmock/gmock.h>
#include <zentara/JSONValue.h>

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

std::string text(const JSONValue& value) {
    return std::string(value.string());
}

JSONArray casesOf(const char* subject) {
    return JSONValue::parse(test::contentsOf(ZENTARA_ARRIVALS)).at(subject).array();
}

std::string faultOf(const std::string& body) {
    const auto read = readEnvelope(body);
    const auto* fault = std::get_if<EnvelopeFault>(&read);
    return fault == nullptr ? "" : fault->reason;
}

const std::string goodEnvelope =
    samples::envelope(samples::action("page-view", "u1") + "," + samples::action("search", "u2"));

TEST(EnvelopeTest, FaultIsNamedWithItsPlace) {
    for (const auto& each : casesOf("faults of an envelope")) {
        const auto body = replaced(goodEnvelope, text(each.at(0)), text(each.at(1)));
        EXPECT_EQ(faultOf(body), each.at(2));
    }
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
    return checkProperties(properties, Schema(schema.object(), refusingFormats()));
}

TEST(ArrivalCheckTest, MessagesPointAtTheirValues) {
    for (const auto& each : casesOf("paths of findings")) {
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

TEST(SequenceGapsTest, GapsWithinAndBetweenContextsCount) {
    for (const auto& each : casesOf("arrivals and gaps")) {
        SequenceGaps gaps;
        for (const auto& arrival : each.at(0).array()) {
            const auto context = text(arrival.at(0));
            gaps.add(context, "client", arrival.at(1).integer());
            gaps.add("other " + context, "other", 1);
        }
        JSONArray ranges;
        std::uint64_t sum = 0;
        for (const auto& gap : gaps.gaps()) {
            EXPECT_EQ(gap.clientUUID, "client");
            ranges.push_back(JSONArray{gap.context, gap.from, gap.to});
            sum += gap.count;
        }
        EXPECT_EQ(ranges, each.at(1));
        EXPECT_EQ(gaps.missing(), sum);
    }
}

}  // namespace
}  // namespace zentara::collector
