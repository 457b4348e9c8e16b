#include "model/EventDecoder.h"

#include <gtest/gtest.h>

#include <random>

#include "model/JSONText.h"
#include "support/SampleEvents.h"

namespace zentara {
namespace {

using test::fileOf;
using test::numbersOf;
using test::sampleEvent;
using test::sampleEvents;

TEST(EventDecoder, KeepsTheTextsOfAFileOfItsOwn) {
    const auto events = sampleEvents(1, 5);
    const auto decoded = decodeEvents(fileOf(events));
    ASSERT_EQ(decoded.error, nullptr);
    EXPECT_TRUE(decoded.isCanonical);
    EXPECT_EQ(fileOf(decoded.events), fileOf(events));
    EXPECT_EQ(decoded.events, events);
    EXPECT_TRUE(decodeEvents("[]").isCanonical);
}

TEST(EventDecoder, ReadsOtherFormsOfTheSameEvents) {
    const auto event = sampleEvent(1);
    const std::string text(*event.jsonText());
    auto withMore = event.toDictionary();
    withMore["more"] = 1;
    std::string reordered;
    ASSERT_TRUE(appendJSON(reordered, withMore));
    auto slashes = text;
    slashes.replace(slashes.find("://"), 3, ":\\/\\/");
    for (const auto& file : {"[ " + text + "]", "[" + text + "]\n", "[" + reordered + "]",
                             "[" + slashes + "]", "\xEF\xBB\xBF[" + text + "]"}) {
        const auto decoded = decodeEvents(file);
        EXPECT_EQ(decoded.error, nullptr) << file;
        EXPECT_FALSE(decoded.isCanonical) << file;
        ASSERT_EQ(decoded.events.size(), 1U) << file;
        EXPECT_EQ(decoded.events[0].jsonText(), text) << file;
    }
}

TEST(EventDecoder, LeavesOutWhatIsNoEvent) {
    const auto good = [](int number) {
        return std::string(*sampleEvent(number).jsonText());
    };
    const auto decoded = decodeEvents("[" + good(1) + R"(,{"id":"x"},)" + good(3) + "]");
    EXPECT_EQ(decoded.error, nullptr);
    EXPECT_EQ(numbersOf(decoded.events), (std::vector<std::int64_t>{1, 3}));

    // A number beyond all doubles could not be written again.
    auto poisoned = good(2);
    poisoned.replace(poisoned.find("5.0"), 3, "1e999");
    const auto kept = decodeEvents("[" + good(1) + "," + poisoned + "]");
    EXPECT_EQ(numbersOf(kept.events), std::vector<std::int64_t>{1});

    for (const char* foreign : {"{}", "[1,2]", "[{},5]", R"({"a":[]})"}) {
        const auto nothing = decodeEvents(foreign);
        EXPECT_EQ(nothing.error, nullptr) << foreign;
        EXPECT_FALSE(nothing.isList) << foreign;
        EXPECT_TRUE(nothing.events.empty()) << foreign;
    }
}

TEST(EventDecoder, FindsEveryTruncation) {
    const auto file = fileOf(sampleEvents(1, 2));
    for (std::size_t length = 0; length < file.size(); ++length) {
        EXPECT_NE(decodeEvents(file.substr(0, length)).error, nullptr) << length;
    }
}

TEST(EventDecoder, SeesEverySpaceBetweenTokens) {
    const auto whole = fileOf(
        std::vector{sampleEvent(1), sampleEvent(2, {},
                                                {{"list", {JSONObject(), JSONArray(), 1, {2, 3}}},
                                                 {"object", {{"a", true}, {"b", {{"c", 1.5}}}}}})});
    bool isInString = false;
    int kept = 0;
    for (std::size_t at = 0; at <= whole.size(); ++at) {
        auto file = whole;
        file.insert(at, 1, ' ');
        // Within a string it is a letter like others, where the string is not a name.
        if (decodeEvents(file).isCanonical) {
            EXPECT_TRUE(isInString) << file;
            ++kept;
        }
        const bool isEscaped = at > 0 && whole[at - 1] == '\\';
        if (at < whole.size() && whole[at] == '"' && !isEscaped) isInString = !isInString;
    }
    EXPECT_GT(kept, 100);
}

TEST(EventDecoder, KeepsSoundEscapesOnly) {
    enum class Outcome { kept, rewritten, error };
    const std::pair<const char*, Outcome> cases[] = {
        {R"(\\ \" \b\f\n\r\t \u0001 \u00e9)", Outcome::kept},
        {R"(\ud83d\ude00)", Outcome::kept},
        {R"(\/)", Outcome::rewritten},
        {R"(\ud83d)", Outcome::error},
        {R"(\ud83d\u0041)", Outcome::error},
        {R"(\ud83dx)", Outcome::error},
        {R"(\ude00)", Outcome::error},
        {R"(\u12g4)", Outcome::error},
        {R"(\u+123)", Outcome::error},
        {R"(\x)", Outcome::error},
    };
    for (const auto& [escape, outcome] : cases) {
        // In a value, and in a name.
        for (const char* place : {"Home", "title"}) {
            auto file = fileOf(sampleEvents(1, 2));
            file.replace(file.rfind(place), std::string_view(place).size(), escape);
            const auto decoded = decodeEvents(file);
            EXPECT_EQ(decoded.isCanonical, outcome == Outcome::kept) << file;
            EXPECT_EQ(decoded.error == nullptr, outcome != Outcome::error) << file;
        }
    }
}

/// What the plain parser makes of a file, for comparison.
std::optional<std::vector<InternalEvent>> reference(const std::string& file) {
    const auto parsed = parseJSON(file);
    if (parsed.error) return std::nullopt;
    std::vector<InternalEvent> events;
    if (!parsed.value.is_array()) return events;
    for (const auto& element : parsed.value.get_array()) {
        if (!element.is_object()) return std::vector<InternalEvent>();
        auto event = InternalEvent::fromDictionary(element.get_object());
        if (event.value) events.push_back(*event.value);
    }
    return events;
}

TEST(EventDecoder, AgreesWithThePlainParserOnDamagedFiles) {
    const auto whole = fileOf(sampleEvents(1, 2));
    std::mt19937 random(20260101);
    std::size_t sound = 0;
    for (int round = 0; round < 4000; ++round) {
        auto file = whole;
        for (int change = 0; change <= round % 3; ++change) {
            const auto at = random() % file.size();
            constexpr std::string_view bytes = "{}[]\",:\\/0-1eE.nu \n\x01\xFF";
            switch (random() % 3) {
                case 0:
                    file[at] = bytes[random() % bytes.size()];
                    break;
                case 1:
                    file.insert(at, 1, bytes[random() % bytes.size()]);
                    break;
                default:
                    file.erase(at, 1 + random() % 4);
            }
        }
        const auto expected = reference(file);
        const auto decoded = decodeEvents(file);
        ASSERT_EQ(decoded.error == nullptr, expected.has_value()) << file;
        if (!expected) continue;
        ASSERT_EQ(decoded.events, *expected) << file;
        ++sound;
    }
    // Otherwise the rounds would compare failures only.
    EXPECT_GT(sound, 400U);
}

}  // namespace
}  // namespace zentara
