#include "model/ZentaraEnvelope.h"

#include <gtest/gtest.h>

#include "support/SampleEvents.h"

namespace zentara {
namespace {

TEST(ZentaraEnvelope, DecodingFailsWithTheErrorOfItsCause) {
    const ZentaraEnvelope envelope{"client", "tenant", "mobile", "iOS", 5, test::sampleEvents(1, 2),
                                   3,        2};
    const auto whole = envelope.toDictionary();
    EXPECT_EQ(*ZentaraEnvelope::fromDictionary(whole), envelope);

    const std::pair<const char*, JSONValue> wrong[] = {
        {"zentaraClientUUID", 1},       {"zentaraClientTs", "5"},
        {"actions", JSONObject()},      {"actions", JSONArray{1}},
        {"zentaraDispatchNumber", 1.5}, {"zentaraActionCounter", nullptr},
    };
    for (const auto& [key, value] : wrong) {
        auto dictionary = whole;
        dictionary[key] = value;
        const auto error = ZentaraEnvelope::fromDictionary(dictionary).error();
        EXPECT_NE(dynamic_cast<const ZentaraEnvelope::DecodingError*>(error.get()), nullptr) << key;
    }
    auto dictionary = whole;
    dictionary.at("actions").at(1).object().erase("url");
    const auto error = ZentaraEnvelope::fromDictionary(dictionary).error();
    EXPECT_NE(dynamic_cast<const InternalEvent::DecodingError*>(error.get()), nullptr);
}

}  // namespace
}  // namespace zentara
