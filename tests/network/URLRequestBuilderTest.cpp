#include "network/URLRequestBuilder.h"

#include <gmock/gmock.h>

#include <utility>

namespace zentara {
namespace {

using namespace std::string_literals;
using testing::ElementsAre;
using testing::Pair;
using Headers = decltype(URLRequestBuilder::headers);

const URL url = URL::parse("http://localhost/id").value();

TEST(URLRequestBuilderTest, CookiesGoBeforeTheCookieHeader) {
    const struct {
        JSONObject cookies;
        Headers headers;
        std::string expected;
    } cases[] = {
        {{{"a", "abc"}}, {}, "a=abc;"},
        {{{"a", 1}}, {{"Cookie", "x=2"}}, "a=1;x=2"},
        {{{"z", JSONArray{"b", 5.0}}, {"a", nullptr}}, {}, R"(z=["b", 5.0];a=<null>;)"},
        {{{"a", "1"},
          {"b", "x\r\nForged: 1"},
          {"c\nd", "2"},
          {"e", "x\0y"s},
          {"f", "3"},
          {"g", "4;h=5"},
          {"", "6"}},
         {},
         "a=1;f=3;"},
        {{{"a", "1"}}, {{"Cookie", "x=2\r\nForged: 1"}}, "a=1;"},
    };
    for (const auto& each : cases) {
        URLRequestBuilder description(url);
        description.cookies = each.cookies;
        description.headers = each.headers;
        EXPECT_THAT(description.build().headers, ElementsAre(Pair("Cookie", each.expected)));
        EXPECT_EQ(description.headers, (Headers{{"Cookie", each.expected}}));
    }
}

}  // namespace
}  // namespace zentara
