#include "collector/data/Envelope.h"

#include <gmock/gmock.h>

#include "apps/collector/Samples.h"

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

TEST(EnvelopeTest, CopyOfAnEnvelopeKeepsItsProperties) {
    const Envelope copy = std::get<Envelope>(readEnvelope(goodEnvelope));
    EXPECT_EQ(copy.actions.at(1).uuid, "u2");
    EXPECT_EQ(copy.actions[1].actionTs, 1700000000000);
    EXPECT_EQ(copy.actions[1].json, samples::action("search", "u2"));
    EXPECT_EQ(copy.actions[1].properties->at("price"), 5.0);
}

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

}  // namespace
}  // namespace zentara::collector
