#include <zentara/AnyText.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>

#include "json/JSONText.h"
#include "json/UTF8Repair.h"

namespace zentara {
namespace {

static_assert(!std::is_convertible_v<std::shared_ptr<std::string>, AnyText>);
static_assert(!std::is_convertible_v<const std::string*, AnyText>);
static_assert(!std::is_convertible_v<std::string (*)(), AnyText>);
static_assert(std::is_convertible_v<const unsigned char*, AnyText>);

struct ToView {
    operator std::string_view() const { return "viewed"; }
};

TEST(AnyText, TakesWhateverTheCallerHas) {
    const char* const none = nullptr;
    const std::pair<AnyText, std::string> cases[] = {
        {AnyText("literal"), "literal"},
        {AnyText(std::string_view("view")), "view"},
        {AnyText(none), ""},
        {AnyText(URL::parse("https://example.com/a").value()), "https://example.com/a"},
        {AnyText(std::filesystem::path("/a/b")), "/a/b"},
        {AnyText(42), "42"},
        {AnyText(0.1 + 0.2), "0.30000000000000004"},
        {AnyText(true), "true"},
        {AnyText(ToView()), "viewed"},
        {AnyText(std::optional<std::string>()), ""},
        {AnyText(std::optional<int>(7)), "7"},
        {AnyText("broken \xFF"), "broken \xEF\xBF\xBD"},
    };
    for (const auto& [text, expected] : cases)
        EXPECT_EQ(text.string(), expected);
}

TEST(UTF8Repair, ReplacesIllFormedBytesWhereverTheyAre) {
    const std::pair<JSONObject, const char*> cases[] = {
        {{{"good", "\xC3\xA9"}}, R"({"good":"\u00e9"})"},
        {{{"bad\xFE", 1}}, R"({"bad\uFFFD":1})"},
        {{{"a", JSONArray{JSONObject{{"\xC3", "x"}}}}}, R"({"a":[{"\uFFFD":"x"}]})"},
        {{{"a", JSONArray{1, "\xF0\x9F\x98"}}}, R"({"a":[1,"\uFFFD"]})"},
        {{{"a", "\xED\xA0\x80"}}, R"({"a":"\uFFFD\uFFFD\uFFFD"})"},
    };
    for (const auto& [broken, repaired] : cases)
        EXPECT_EQ(withValidUTF8(broken), *parseJSON(repaired));
}

}  // namespace
}  // namespace zentara
