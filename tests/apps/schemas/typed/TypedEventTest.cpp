#include <gtest/gtest.h>

#include <sstream>

#include "apps/schemas/typed/Reading.h"
#include "apps/schemas/typed/everything.golden"
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

TEST(TypedEvents, ValuesReadBackAsWhatTheyAre) {
    using shop::events::Everything;
    const std::vector<std::string> names{"abc", "a text that is not short"};
    Everything event{.productId = "CL-47819",
                     .class_ = 20,
                     .size = Everything::Size::s,
                     .isNew = true,
                     .coupon = nullptr,
                     .lines = zentara::emptyList,
                     .options = Everything::Options{},
                     .either = 1};
    const auto first = event;
    EXPECT_EQ(event, first);
    event.lines = {{.name = names[1], .amount = event.class_}};
    event.lines[0].amount = *event.lines[0].amount + event.class_ * 2;
    EXPECT_NE(event, first);
    EXPECT_TRUE(event.lines[0].amount == 60 && event.lines[0].name == names[1]);
    EXPECT_TRUE(event.price == std::nullopt && event.price != 0.5);
    event.price = 20.5;
    const double price = event.price.value_or(1);
    EXPECT_EQ(price, 20.5);
    const auto moved = std::move(event);
    EXPECT_EQ(moved.class_, 20);
    EXPECT_TRUE(moved.size == Everything::Size::s && moved.isNew && moved.coupon == nullptr);
    event = moved;
    event.coupon = "half";
    EXPECT_TRUE(event.coupon == "half" && event.coupon != moved.coupon);
    EXPECT_TRUE(event.note != nullptr && event.address.value_or("none") == "none");
    event.note = nullptr;
    event.origin = {};
    EXPECT_TRUE(event.note == nullptr && !event.origin);
    EXPECT_EQ(List<Text<>>(names)[1], names[1]);
    std::ostringstream stream;
    stream << event.productId << event.class_;
    EXPECT_EQ(stream.str(), "CL-4781920");
    const volatile std::uint64_t largest = UINT64_MAX;
    event.lines[0].amount = largest + 0;
    EXPECT_EQ(toJSON(event.lines[0]).at("amount"), UINT64_MAX);
    EXPECT_EQ(std::int64_t{*event.lines[0].amount}, INT64_MAX);
}

}  // namespace
}  // namespace zentara::test
