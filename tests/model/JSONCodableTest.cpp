#include "model/JSONCodable.h"

#include <gtest/gtest.h>

#include <cmath>

#include "model/JSONText.h"

namespace zentara {
namespace {

TEST(JSONCodable, StringsTravelUnderTheirOneKey) {
    EXPECT_EQ(JSONCoding<std::string>::fromDictionary({{"value", "x"}, {"other", 1}}).value, "x");
    EXPECT_EQ(JSONCoding<std::string>::toDictionary("x"), (JSONObject{{"value", "x"}}));
    for (const JSONObject& dictionary :
         {JSONObject{{"value", 42}}, JSONObject{{"value", nullptr}}, JSONObject{}}) {
        const auto decoded = JSONCoding<std::string>::fromDictionary(dictionary);
        EXPECT_FALSE(decoded.value);
        EXPECT_NE(dynamic_cast<const JSONCoding<std::string>::DecodingError*>(decoded.error.get()),
                  nullptr);
    }
}

TEST(RecordReader, TakesOnlyNumbersThatHoldAnInteger) {
    struct Case {
        JSONValue value;
        std::optional<std::int64_t> integer;
    };
    const Case cases[] = {
        {2, 2},
        {2.0, 2},
        {-9.2233720368547758e18, std::numeric_limits<std::int64_t>::min()},
        {std::uint64_t{7}, 7},
        {1.5, std::nullopt},
        {"2", std::nullopt},
        {true, std::nullopt},
        {nullptr, std::nullopt},
        {9.3e18, std::nullopt},
        {std::numeric_limits<std::uint64_t>::max(), std::nullopt},
        {std::nan(""), std::nullopt},
    };
    for (const auto& [value, integer] : cases) {
        const JSONObject dictionary{{"n", value}};
        RecordReader reader(dictionary);
        const auto read = reader.integer("n");
        EXPECT_EQ(reader.failed() ? std::nullopt : std::optional(read), integer);
    }
}

}  // namespace
}  // namespace zentara
