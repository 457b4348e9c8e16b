#include "network/RestClient.h"

#include <gmock/gmock.h>

#include "json/JSONParser.h"
#include "network/URLRequestBuilder.h"
#include "support/PlatformError.h"
#include "support/RecordingSession.h"

namespace zentara {
namespace {

using namespace std::string_literals;
using testing::ElementsAre;
using testing::Pair;
using Headers = decltype(URLRequestBuilder::headers);

const URL url = URL::parse("http://localhost/id").value();

/// The description of an error, "JSON" for any of the parser, "" for none.
std::string nameOf(const Status& status) {
    if (status.ok()) return "";
    return dynamic_cast<const JSONError*>(status.error().get()) ? "JSON"
                                                                : status.error()->description();
}

TEST(RestClientTest, StatusAndBodyDecideTheResult) {
    const Status broken =
        std::make_shared<PlatformError>(PlatformError::Domain::network, 7, "connection lost");
    const struct {
        Result<URLResponse> response;
        std::string status;
        std::string data = status;
        std::string object = data;
    } cases[] = {
        {URLResponse{200, R"({"a":[1,2.0]})"}, ""},
        {URLResponse{299, "\xef\xbb\xbf{}"}, ""},
        {URLResponse{200, "[1,2]"}, "", "", "the body is not a JSON object"},
        {URLResponse{200, "{\"a\":"}, "", "", "JSON"},
        {URLResponse{200, ""}, "", "", "JSON"},
        {URLResponse{204, {}}, "", "the response has no body"},
        {URLResponse{199, "{}"}, "unexpected HTTP status 199"},
        {URLResponse{300, "{}"}, "unexpected HTTP status 300"},
        {URLResponse{{}, "{}"}, "the answer is not an HTTP response"},
        {broken, "connection lost"},
    };
    for (const auto& each : cases) {
        test::RecordingSession session;
        session.respond([&](const auto&, const auto& done) { done(each.response); });
        const RestClient client(session);
        Status status;
        Result<std::string> data = ""s;
        client.statusRequest(URLRequestBuilder(url).build(), [&](auto end) { status = end; });
        client.dataRequest(URLRequestBuilder(url).build(),
                           [&](auto end) { data = std::move(end); });
        EXPECT_TRUE(session.requests().at(0).discardsBody);
        EXPECT_FALSE(session.requests().at(1).discardsBody);
        const auto object = RestClient::decodeJSON(data);
        EXPECT_THAT((std::array{nameOf(status), nameOf(data.status()), nameOf(object.status())}),
                    ElementsAre(each.status, each.data, each.object));
        EXPECT_TRUE(!data.ok() || *data == each.response->body);
        EXPECT_TRUE(!object.ok() || object->empty() || object->at("a") == (JSONArray{1, 2.0}));
    }
}

TEST(URLRequestBuilderTest, CookiesGoBeforeTheCookieHeader) {
    const struct {
        JSONObject cookies;
        Headers headers;
        std::string expected;
    } cases[] = {
        {{{"a", "abc"}}, {}, "a=abc;"},
        {{{"a", 1}}, {{"Cookie", "x=2"}}, "a=1;x=2"},
        {{{"z", JSONArray{"b", 5.0}}, {"a", nullptr}}, {}, R"(z=["b", 5.0];a=<null>;)"},
        {{{"a", "1"}, {"b", "x\r\nForged: 1"}, {"c\nd", "2"}, {"f", "3"}}, {}, "a=1;f=3;"},
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
