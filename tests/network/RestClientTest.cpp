#include "network/RestClient.h"

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <optional>
#include <string>

#include "network/RestClientError.h"
#include "network/URLRequestBuilder.h"
#include "platform/PlatformError.h"
#include "support/RawServer.h"
#include "support/WaitFor.h"

namespace zentara {
namespace {

using test::Mailbox;
using test::RawServer;

using Data = std::pair<std::optional<std::string>, ErrorRef>;

Data data(URLRequest request) {
    const auto results = std::make_shared<Mailbox<Data>>();
    RestClient::shared().dataRequest(std::move(request),
                                     [results](std::optional<std::string> body, ErrorRef error) {
                                         results->put({std::move(body), std::move(error)});
                                     });
    return results->waitFor().value();
}

ErrorRef status(URLRequest request) {
    const auto results = std::make_shared<Mailbox<ErrorRef>>();
    RestClient::shared().statusRequest(std::move(request),
                                       [results](ErrorRef error) { results->put(error); });
    return results->waitFor().value();
}

/// The description of a `RestClientError`, "network" for an error of the network, "" for none.
std::string name(const ErrorRef& error) {
    if (!error) return "";
    if (dynamic_cast<const RestClientError*>(error.get()) != nullptr) return error->description();
    const auto& failure = dynamic_cast<const PlatformError&>(*error);
    return failure.domain() == PlatformError::Domain::network ? "network" : "json";
}

TEST(RestClientTest, JudgesAnswersByTheirBody) {
    const std::string noBody = RestClientError::unexpectedBodyFormat().description();
    const std::string noHTTP = RestClientError::unexpectedResponseFormat().description();
    const struct {
        std::string answer;
        std::optional<std::string> body;
        std::string dataError;
        std::string statusError = dataError;
    } cases[] = {
        {"HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\n{}", "{}", ""},
        {"HTTP/1.1 204 No\r\nContent-Length: 0\r\n\r\n", "", ""},
        {"HTTP/1.1 204 No\r\n\r\n", {}, noBody, ""},
        {"hello\n", {}, noHTTP},
        {"HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\n{}", {}, "network"},
    };
    for (const auto& each : cases) {
        RawServer server(RawServer::answer(each.answer));
        const URLRequest request = URLRequestBuilder(server.url()).build();
        const auto [body, error] = data(request);
        EXPECT_EQ(body, each.body) << each.answer;
        EXPECT_EQ(name(error), each.dataError) << each.answer;
        EXPECT_EQ(name(status(request)), each.statusError) << each.answer;
    }
}

TEST(RestClientTest, OnlyAStatusOfTheSecondClassIsSuccess) {
    std::atomic<int> code = 0;
    RawServer server([&](test::RawConnection& connection) {
        if (!connection.readRequest()) return;
        connection.send("HTTP/1.1 " + std::to_string(code) + " Some\r\nLocation: /\r\n\r\n");
    });
    const URLRequest request = URLRequestBuilder(server.url()).build();
    for (code = 100; code < 1000; ++code) {
        // After three of them the real answer would follow.
        std::string expected = "network";
        if (code >= 200 && code < 300) {
            expected = "";
        } else if (code != 100 && code != 102 && code != 103) {
            expected = RestClientError::unexpectedStatusCode(code).description();
        }
        EXPECT_EQ(name(status(request)), expected) << code;
        EXPECT_TRUE(expected.empty() || name(data(request).second) == expected) << code;
    }
}

TEST(RestClientTest, DecodesObjectsOnly) {
    const auto noBody =
        std::make_shared<const RestClientError>(RestClientError::unexpectedBodyFormat());
    const std::string wrongKind = RestClientError::invalidJSONFormat().description();
    const struct {
        std::optional<std::string> body;
        ErrorRef error;
        JSONObject object;
        std::string expected;
    } cases[] = {
        {R"({"a":[1,2.0,"x"]})", nullptr, {{"a", {1, 2.0, "x"}}}, ""},
        {"\xef\xbb\xbf{}", nullptr, {}, ""},
        {"[1,2]", nullptr, {}, wrongKind},
        {"", nullptr, {}, "json"},
        {"{\"a\":", nullptr, {}, "json"},
        {std::nullopt, nullptr, {}, noBody->description()},
        {"{\"a\":1}", noBody, {}, noBody->description()},
    };
    for (const auto& each : cases) {
        int calls = 0;
        const std::string text = each.body.value_or("(none)");
        RestClient::shared().decodeJSON(each.body, each.error,
                                        [&](const JSONObject& object, const ErrorRef& error) {
                                            ++calls;
                                            EXPECT_EQ(object, each.object) << text;
                                            EXPECT_EQ(name(error), each.expected) << text;
                                        });
        EXPECT_EQ(calls, 1);
    }
}

}  // namespace
}  // namespace zentara
