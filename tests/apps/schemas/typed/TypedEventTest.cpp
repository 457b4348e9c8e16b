#include <gtest/gtest.h>

#include "apps/schemas/typed/Reading.h"
#include "schemas/values/Sampler.h"

namespace zentara::test {

extern const TypedCase cases0[];
extern const TypedCase cases1[];
extern const TypedCase cases2[];

namespace {

constexpr int valuesPerSchema = 50;

TEST(TypedEvents, DrawnValuesComeOutEqualAndValid) {
    int schemas = 0;
    int values = 0;
    int unsayable = 0;
    for (const auto* cases : {cases0, cases1, cases2}) {
        for (; cases->schema != nullptr; ++cases, ++schemas) {
            const auto document = JSONValue::parse(cases->schema);
            zentara::schemas::Sampler sampler(document.object(), 7);
            for (int round = 0; round < valuesPerSchema; ++round) {
                const auto value = sampler.valid();
                if (!value) break;
                try {
                    const auto draft = cases->draft(*value);
                    ASSERT_EQ(draft.properties, value->object()) << value->text();
                    ASSERT_TRUE(sampler.accepts(draft.properties)) << value->text();
                    ++values;
                } catch (const Unsayable&) {
                    ++unsayable;
                }
            }
        }
    }
    std::cout << schemas << " schemas, " << values << " values, " << unsayable
              << " that types cannot say\n";
    EXPECT_GE(schemas, TYPED_SCHEMAS);
    EXPECT_GE(values, schemas * 40);
    EXPECT_LE(unsayable, values / 50);
}

}  // namespace
}  // namespace zentara::test
