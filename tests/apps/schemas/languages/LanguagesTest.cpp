#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>

#include "apps/schemas/languages/DrawnEvents.h"
#include "schemas/generate/Generators.h"
#include "schemas/values/Sampler.h"
#include "support/ChildProcess.h"
#include "support/CollectorProcess.h"
#include "support/Files.h"

namespace zentara::schemas {
namespace {

struct Language {
    const char* name;
    Draw draw;
    std::vector<std::string> host;
};

/// Whether the values are equal; 1 and 1.0 are.
bool areEqual(const JSONValue& one, const JSONValue& other) {
    if (one.isNumber() && other.isNumber()) return one.asDouble() == other.asDouble();
    if (const auto* const object = one.ifObject()) {
        const auto* const with = other.ifObject();
        return with != nullptr && with->size() == object->size() &&
               std::all_of(object->begin(), object->end(), [with](const JSONMember& member) {
                   const auto* const value = with->find(member.key());
                   return value != nullptr && areEqual(member.value(), *value);
               });
    }
    const auto* const array = one.ifArray();
    if (array == nullptr || !other.isArray()) return one == other;
    return std::equal(array->begin(), array->end(), other.array().begin(), other.array().end(),
                      areEqual);
}

class LanguagesTest : public testing::TestWithParam<Language> {};

TEST_P(LanguagesTest, ValuesComeOutEqualAndValid) {
    test::ChildProcess host(GetParam().host);
    const auto lines = host.readLines();
    ASSERT_EQ(host.wait(), 0);
    auto line = lines.begin();
    for (const auto& event : drawnEvents(GetParam().draw)) {
        EXPECT_GE(event.values.size(), 1U) << event.schema.text;
        const Sampler sampler(*event.schema.document, 1);
        for (const auto& value : event.values) {
            ASSERT_NE(line, lines.end());
            const auto head =
                event.type.name.id + ' ' + event.type.name.version + " https://example.com/ ";
            ASSERT_EQ(line->substr(0, head.size()), head);
            const auto sent = JSONValue::parse(line->substr(head.size()));
            EXPECT_TRUE(areEqual(sent, value)) << head << sent.text() << '\n'
                                               << JSONValue(value).text();
            EXPECT_TRUE(sampler.accepts(sent)) << head << sent.text();
            ++line;
        }
    }
    EXPECT_EQ(line, lines.end());
}

class SendingLanguagesTest : public LanguagesTest {};

TEST_P(SendingLanguagesTest, EventsArriveAtTheCollector) {
    const test::CollectorProcess collector(ZENTARA_SOURCE_DIR "/examples/schemas");
    const test::TemporaryDirectory folder;
    auto command = GetParam().host;
    command.push_back(collector.url());
    command.push_back(folder.path());
    test::ChildProcess host(command);
    EXPECT_EQ(host.wait(), 0);
    std::size_t count = 0;
    for (const auto& event : drawnEvents({0, GetParam().draw.valuesEach})) {
        if (!event.schema.path.starts_with(ZENTARA_SOURCE_DIR "/examples/")) continue;
        const auto arrived = collector.client().events({.schema = event.type.name.key()});
        ASSERT_EQ(arrived.size(), event.values.size()) << event.schema.path;
        for (std::size_t index = 0; index < arrived.size(); ++index, ++count)
            EXPECT_TRUE(areEqual(arrived[index].at("event").at("properties"), event.values[index]))
                << event.schema.path << " " << index;
    }
    EXPECT_EQ(count, 8 * GetParam().draw.valuesEach);
}

const std::vector<Language> languages {
    {"C", drawForC, {ZENTARA_TYPED_C}},
#if defined(ZENTARA_TYPED_OBJC)
        {"ObjC", drawForObjC, {ZENTARA_TYPED_OBJC}},
#endif
        {"Python",
         drawForPython,
         {"/usr/bin/env", ZENTARA_PYTHON_ENVIRONMENT, ZENTARA_PYTHON, "-B", "-W", "error",
          ZENTARA_TYPED_PYTHON "/host.py"}},
};
INSTANTIATE_TEST_SUITE_P(Generated, LanguagesTest, testing::ValuesIn(languages),
                         [](const auto& language) { return std::string(language.param.name); });
#if defined(ZENTARA_TYPED_PRINTS_PYTHON)
// Python, the last, cannot load a library that a sanitizer watches, or of another processor.
constexpr int languagesThatOnlyPrint = 1;
#else
constexpr int languagesThatOnlyPrint = 0;
#endif
INSTANTIATE_TEST_SUITE_P(Generated, SendingLanguagesTest,
                         testing::ValuesIn(languages.begin(),
                                           languages.end() - languagesThatOnlyPrint),
                         [](const auto& language) { return std::string(language.param.name); });

}  // namespace
}  // namespace zentara::schemas
