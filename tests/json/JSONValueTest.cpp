#include <zentara/JSONValue.h>

#include <gmock/gmock.h>

#include <cmath>
#include <map>
#include <new>
#include <random>

#include "support/FailingAllocations.h"

namespace zentara {
namespace {

const std::string longText = "a text of more than fourteen bytes";

JSONObject sample() {
    return {{"short", "text"}, {longText, longText}, {"list", {1, {{"deep", {2.5, longText}}}}}};
}

TEST(JSONValue, BracedListsMakeObjectsAndArrays) {
    JSONObject moved{{"k", "v"}};
    const JSONObject object{
        {"title", "Home"},           {"tags", {"a", "b"}}, {"n", 3}, {"nested", {{"x", 1.5}}},
        {"moved", std::move(moved)}, {"none", {}},         {"n", 4}, {"yes", true}};
    EXPECT_TRUE(moved.empty());
    std::string keys;
    for (const auto& [key, value] : object)
        keys += std::string(key) + ' ';
    EXPECT_EQ(keys, "title tags n nested moved none yes ");
    EXPECT_EQ(object.at("tags"), (JSONArray{"a", "b"}));
    EXPECT_EQ(object.at("n"), 4);
    EXPECT_EQ(object.at("nested").at("x").number(), 1.5);
    EXPECT_EQ(object.at("moved").at("k"), "v");
    EXPECT_EQ(object.at("none"), JSONObject());
    EXPECT_EQ((JSONObject{{"a", "b"}}).at("a"), "b");
    EXPECT_EQ(JSONObject{object}, object);
    EXPECT_EQ(JSONValue{object}.array().size(), 1U);
    EXPECT_THROW((JSONObject{{"a", longText}, 5}), std::invalid_argument);
}

TEST(JSONValue, NumbersKeepTheirKinds) {
    EXPECT_EQ(JSONValue(std::uint64_t{1} << 63U).unsignedInteger(), std::uint64_t{1} << 63U);
    EXPECT_EQ(JSONValue(7U).integer(), 7);
    EXPECT_NE(JSONValue(1), JSONValue(1.0));
    EXPECT_NE(JSONValue(1), JSONValue(true));
    EXPECT_NE(JSONValue(std::nan("")), JSONValue(std::nan("")));
    EXPECT_EQ(JSONValue(0x1p53).asInteger(), std::int64_t{1} << 53U);
    EXPECT_EQ(JSONValue(0x1p63).asInteger(), std::nullopt);
    EXPECT_EQ(JSONValue(1.5).asInteger(), std::nullopt);
    static_assert(!std::is_constructible_v<JSONValue, int*> &&
                  !std::is_constructible_v<JSONValue, char>);
}

TEST(JSONValue, WrongKindIsNamed) {
    const auto says = [](const char* message) {
        return testing::ThrowsMessage<std::logic_error>(message);
    };
    EXPECT_THAT([] { (void)JSONValue("a").object(); },
                says("JSON value is a string, not an object"));
    EXPECT_THAT([] { (void)JSONValue(1).number(); },
                says("JSON value is an integer, not a double"));
    EXPECT_THAT([] { (void)sample().at("other"); }, says("JSON object has no member \"other\""));
    EXPECT_THAT([] { (void)(JSONArray{1, 2}).at(2); }, says("JSON array of 2 has no element 2"));
}

TEST(JSONValue, KeepsTextsOfAnyLength) {
    JSONObject object;
    for (std::size_t size = 0; size < 40; ++size)
        object.set(std::string(size, 'k'), std::string(size, '\0') + "v");
    for (std::size_t size = 0; size < 40; ++size)
        EXPECT_EQ(object.at(std::string(size, 'k')).string(), std::string(size, '\0') + "v");
    EXPECT_FALSE(object.contains(std::string_view("k\0", 2)));
}

TEST(JSONValue, ValueCanReplaceItsOwnContainer) {
    JSONValue value = {{"outer", {{"inner", longText}}}};
    value = std::move(value.at("outer"));
    value = value.at("inner");
    EXPECT_EQ(value, longText);
    JSONArray array{1, 2, 3};
    EXPECT_EQ(*array.erase(&array[1]), 3);
    array.push_back(array[0]);
    EXPECT_EQ(array, (JSONArray{1, 3, 1}));
}

TEST(JSONValue, EqualityIgnoresTheOrderOfMembers) {
    auto other = sample();
    EXPECT_TRUE(other.erase("short"));
    EXPECT_NE(other, sample());
    other["short"] = "text";
    EXPECT_EQ(other.begin()->key(), longText);
    EXPECT_EQ(other, sample());
    other.at("list").at(1).at("deep").at(0) = 2.25;
    EXPECT_NE(other, sample());
}

TEST(JSONValue, ObjectOfAnySizeWorksAsAMap) {
    std::minstd_rand random(7);
    JSONObject object;
    std::map<std::string, int> expected;
    for (int step = 0; step < 30'000; ++step) {
        // In turn with and without an index.
        const auto range = step % 10'000 < 5'000 ? 1'000U : 30U;
        const auto key = (random() % 2 == 0 ? "k" : longText) + std::to_string(random() % range);
        if (random() % 3 == 0) {
            EXPECT_EQ(object.erase(key), expected.erase(key) == 1);
        } else {
            object.set(key, step);
            expected[key] = step;
        }
    }
    const auto copy = object;
    EXPECT_EQ(copy.size(), expected.size());
    for (const auto& [key, value] : expected)
        EXPECT_EQ(copy.at(key), value);
    EXPECT_EQ(copy, object);
}

TEST(JSONValue, DeepNestingNeedsNoStack) {
    JSONValue deep;
    for (int level = 0; level < 100'000; ++level) {
        if (level % 2 == 0) {
            deep = JSONArray{std::move(deep)};
        } else {
            JSONObject outer;
            outer.set("k", std::move(deep));
            deep = std::move(outer);
        }
    }
    const auto copy = deep;
    EXPECT_EQ(copy, deep);
}

TEST(JSONValue, FailedAllocationChangesAndLeaksNothing) {
    JSONObject large;
    for (int i = 0; i < 30; ++i)
        large.set(longText + std::to_string(i), sample());
    const std::function<void()> uses[] = {
        [&large] { JSONValue copy(large); }, [] { (void)sample(); },
        [] {
            JSONObject object;
            std::size_t size = 0;
            try {
                for (; size < 40; ++size)
                    object.set("a key of more than 14 bytes " + std::to_string(size), longText);
            } catch (const std::bad_alloc&) {
                EXPECT_EQ(object.size(), size);
            }
        }};
    for (const auto& use : uses) {
        test::failEachAllocation([&use] {
            const auto before = test::heldAllocations();
            try {
                use();
            } catch (const std::bad_alloc&) {
            }
            return test::heldAllocations() == before;
        });
    }
}

}  // namespace
}  // namespace zentara
