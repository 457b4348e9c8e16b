#include "model/EventDecoder.h"

#include <gtest/gtest.h>

#include "json/JSONText.h"
#include "support/SampleEvents.h"

namespace zentara {
namespace {

using namespace test;

TEST(EventDecoder, CanonicalFileKeepsItsTexts) {
    const auto events = sampleEvents(1, 5);
    const auto decoded = decodeEvents(fileOf(events));
    ASSERT_TRUE(decoded.status.ok());
    EXPECT_TRUE(decoded.isCanonical);
    EXPECT_EQ(fileOf(decoded.events), fileOf(events));
    EXPECT_EQ(decoded.events, events);
    EXPECT_TRUE(decodeEvents("[]").isCanonical);
    EXPECT_FALSE(decodeEvents("[ ]").isCanonical);
}

TEST(EventDecoder, OtherSpellingsAreRewritten) {
    const auto event = sampleEvent(1);
    const std::string text(event.jsonText().value());
    auto withMore = event.toDictionary();
    withMore["more"] = 1;
    std::string reordered;
    ASSERT_TRUE(appendJSON(reordered, withMore));
    auto slashes = text;
    slashes.replace(slashes.find("://"), 3, ":\\/\\/");
    std::vector<std::string> files{"[" + text + " ]", "[" + text + "]\n", "[" + reordered + "]",
                                   "[" + slashes + "]", "\xEF\xBB\xBF[" + text + "]"};
    // With a space before each of these parts.
    for (const char* const place :
         {"{", R"("id)", ":", R"("page)", ",", R"("version)", R"({"ti)", R"("a")", ",1", "1,n",
          "null]", "]", "},", R"("user)", R"("to)", R"("ty)", "}}", "}]"}) {
        files.push_back("[" + text + "]");
        files.back().insert(files.back().find(place), " ");
    }
    for (const auto& file : files) {
        const auto decoded = decodeEvents(file);
        EXPECT_TRUE(decoded.status.ok()) << file;
        EXPECT_FALSE(decoded.isCanonical) << file;
        ASSERT_EQ(decoded.events.size(), 1U) << file;
        EXPECT_EQ(decoded.events[0].jsonText(), text) << file;
    }
}

TEST(EventDecoder, ElementsThatAreNoEventsAreLeftOut) {
    const std::string good(sampleEvent(1).jsonText().value());
    const std::pair<std::string_view, const char*> damages[] = {
        {"5.0", "1e999"},  // beyond the doubles, so it could not be written
        {R"("page-view")", "1"},
        {"1700000000001", "1.5"},
        {R"("token":"Anonymous")", R"("token":1)"},
        {R"("id":"page-view",)", ""},
    };
    for (const auto& [sound, damaged] : damages) {
        auto bad = good;
        bad.replace(bad.find(sound), sound.size(), damaged);
        const auto decoded = decodeEvents("[" + good + "," + bad + "," + good + "]");
        EXPECT_TRUE(decoded.status.ok());
        EXPECT_EQ(numbersOf(decoded.events), (std::vector<std::int64_t>{1, 1})) << damaged;
    }

    for (const char* foreign : {"{}", "[1,2]", "[{},5]", R"({"a":[]})"}) {
        const auto nothing = decodeEvents(foreign);
        EXPECT_TRUE(nothing.status.ok()) << foreign;
        EXPECT_FALSE(nothing.isList) << foreign;
        EXPECT_TRUE(nothing.events.empty()) << foreign;
    }
}

TEST(EventDecoder, EveryTruncationIsAnError) {
    const auto file = fileOf(sampleEvents(1, 2));
    for (std::size_t length = 0; length < file.size(); ++length) {
        EXPECT_FALSE(decodeEvents(file.substr(0, length)).status.ok()) << length;
    }
}

TEST(EventDecoder, InvalidEscapesAreErrors) {
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
        // In a value and in a name.
        for (const char* place : {"Home", "title"}) {
            auto file = fileOf(sampleEvents(1, 2));
            file.replace(file.rfind(place), std::string_view(place).size(), escape);
            const auto decoded = decodeEvents(file);
            EXPECT_EQ(decoded.isCanonical, outcome == Outcome::kept) << file;
            EXPECT_EQ(decoded.status.ok(), outcome != Outcome::error) << file;
        }
    }
}

}  // namespace
}  // namespace zentara
