#include "model/ZentaraEnvelope.h"

#include <gtest/gtest.h>

#include <cmath>

#include "model/JSONText.h"
#include "support/SampleEvents.h"

namespace zentara {
namespace {

using test::sampleEvent;

ZentaraEnvelope envelopeOf(std::vector<InternalEvent> actions) {
    ZentaraEnvelope envelope;
    envelope.zentaraClientUUID = "client";
    envelope.zentaraClientTenant = "tenant";
    envelope.zentaraClientType = "mobile";
    envelope.zentaraClientDeviceGroup = "iOS";
    envelope.zentaraClientTs = 5;
    envelope.zentaraDispatchNumber = 2;
    envelope.zentaraActionCounter = static_cast<std::int64_t>(actions.size());
    envelope.actions = std::move(actions);
    return envelope;
}

TEST(ZentaraEnvelope, PostsItsDictionaryWithoutTheUsers) {
    const auto envelope = envelopeOf({sampleEvent(1), sampleEvent(2).packed()});
    auto expected = envelope.toDictionary();
    EXPECT_EQ(expected.size(), 9U);
    EXPECT_EQ(expected.at("zentaraEnvironment"), "app");
    for (auto& action : expected.at("actions").get_array()) {
        EXPECT_EQ(action.get_object().erase("user"), 1U);
    }
    const auto body = envelope.requestBody();
    ASSERT_TRUE(body);
    EXPECT_EQ(parseJSON(*body).value, expected);
    EXPECT_EQ(envelopeOf({sampleEvent(1, {}, {{"p", std::nan("")}})}).requestBody(), std::nullopt);
}

TEST(ZentaraEnvelope, DecodesWhatItEncodes) {
    for (const auto& envelope : {envelopeOf({}), envelopeOf({sampleEvent(1), sampleEvent(2)})}) {
        auto dictionary = envelope.toDictionary();
        dictionary.erase("zentaraEnvironment");
        EXPECT_EQ(ZentaraEnvelope::fromDictionary(dictionary).value, envelope);
    }
    EXPECT_NE(envelopeOf({sampleEvent(1), sampleEvent(2)}),
              envelopeOf({sampleEvent(2), sampleEvent(1)}));
}

TEST(ZentaraEnvelope, FailsWithTheErrorOfWhatIsWrong) {
    const auto whole = envelopeOf({sampleEvent(1), sampleEvent(2)}).toDictionary();
    const std::pair<const char*, JSONValue> wrong[] = {
        {"zentaraClientUUID", 1},       {"zentaraClientTs", "5"},
        {"actions", JSONObject()},      {"actions", JSONArray{1}},
        {"zentaraDispatchNumber", 1.5}, {"zentaraActionCounter", nullptr},
    };
    for (const auto& [key, value] : wrong) {
        auto dictionary = whole;
        dictionary[key] = value;
        const auto decoded = ZentaraEnvelope::fromDictionary(dictionary);
        EXPECT_NE(dynamic_cast<const ZentaraEnvelope::DecodingError*>(decoded.error.get()), nullptr)
            << key;
    }
    auto dictionary = whole;
    dictionary.at("actions").at(1).get_object().erase("url");
    const auto decoded = ZentaraEnvelope::fromDictionary(dictionary);
    EXPECT_NE(dynamic_cast<const InternalEvent::DecodingError*>(decoded.error.get()), nullptr);
}

}  // namespace
}  // namespace zentara
