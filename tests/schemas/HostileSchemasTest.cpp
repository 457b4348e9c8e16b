#include <gmock/gmock.h>

#include <malloc.h>
#include <pthread.h>

#include <algorithm>
#include <ctime>
#include <string>
#include <thread>

#include "Attacks.h"
#include "schemas/Schema.h"

namespace zentara {
namespace {

using testing::HasSubstr;

constexpr const char* tooLong =
    "Validation stopped: checking this value against this schema takes too long";

/// The last message, or the end of a long one.
std::string lastMessage(const JSONValue& value, const JSONValue& schema) {
    const auto result = validate(value, schema.object());
    if (result.valid()) return "valid";
    const auto& last = result.errors()->back();
    return last.substr(last.size() - std::min<std::size_t>(last.size(), 200));
}

JSONValue nestedLists(std::size_t depth, std::string_view innermost = "") {
    return JSONValue::parse(repeated("[", depth) + std::string(innermost) + repeated("]", depth));
}

TEST(HostileSchemas, SmallStackIsEnough) {
    JSONValue deep = 1;
    for (int i = 0; i < 5'000; ++i) {
        JSONArray outer;
        outer.push_back(std::move(deep));
        deep = std::move(outer);
    }
    JSONObject chain{{"$ref", "#/0"}, {"2500", JSONObject()}};
    for (int i = 0; i < 2'500; ++i)
        chain[std::to_string(i)] = {{"$ref", "#/" + std::to_string(i + 1)}};
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setstacksize(&attributes, std::size_t{512} * 1024);
    pthread_setattr_default_np(&attributes);
    std::jthread([&chain] {
        EXPECT_EQ(lastMessage(1, chain),
                  "Validation stopped: the stack of this thread is too small");
    }).join();
    std::jthread([&deep] {
        EXPECT_EQ(lastMessage(JSONArray{deep, deep}, {{"uniqueItems", true}}), "valid")
            << "values below the depth limit are not equal";
    }).join();
}

TEST(HostileSchemas, DeepestDataIsValidated) {
    const auto schema = JSONValue::parse(
        R"({"anyOf": [{"$ref": "#/list"}, {"type": "null"}],
            "list": {"type": "array", "items": {"$ref": "#"}}})");
    EXPECT_EQ(lastMessage(nestedLists(511), schema), "valid");
    EXPECT_THAT(lastMessage(nestedLists(511, "1"), schema),
                HasSubstr("does not meet anyOf validation rules."));
    // Eight subschemas for each level of the data.
    const auto step = repeated(R"({"allOf": [)", 6) + R"({"$ref": "#"})" + repeated("]}", 6);
    EXPECT_EQ(lastMessage(nestedLists(511), JSONValue::parse(R"({"items": )" + step + "}")),
              "Validation stopped: the schema is applied more than 2560 levels deep");
}

/// The processor time of this thread, in seconds.
double threadTime() {
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

std::size_t heapInUse() {
    const auto heap = mallinfo2();
    return heap.uordblks + heap.hblkhd;
}

/// Half a second of work, with a margin. The address sanitizer is several times slower.
#ifndef __has_feature
#define __has_feature(feature) 0
#endif
constexpr double secondsAllowed = __has_feature(address_sanitizer) ? 10 : 2;

TEST(HostileSchemas, AttacksEndWithinTimeAndMemory) {
    using enum Attack::Ending;
    for (const auto& attack : attacks()) {
        SCOPED_TRACE(attack.name);
        const auto memoryBefore = heapInUse();
        const auto timeBefore = threadTime();
        const auto result = validate(attack.value, attack.schema);
        EXPECT_LT(threadTime() - timeBefore, secondsAllowed);
        EXPECT_LT(heapInUse(), memoryBefore + 70'000'000);
        EXPECT_EQ(result.valid(), attack.ending == valid);
        EXPECT_TRUE(attack.ending != stopped || result.errors()->back() == tooLong);
        if (attack.name != "messages of 5 MB") continue;
        EXPECT_TRUE(result.errors()->front() == "'" + std::string(attack.value.string()) +
                                                    "' is not a valid enumeration value of '[]'");
        EXPECT_LT(result.errors()->size(), 15U);
    }
}

}  // namespace
}  // namespace zentara
