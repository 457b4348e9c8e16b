#include "network/RestClient.h"

#include <gtest/gtest.h>

#include <atomic>
#include <memory>

#include "json/JSONParser.h"
#include "network/RestClientError.h"
#include "network/URLRequestBuilder.h"
#include "support/PlatformError.h"
#include "support/RawServer.h"
#include "support/WaitFor.h"

namespace zentara {
namespace {

using test::Mailbox;
using test::RawServer;

/// What a data request ends with, and what becomes of it as JSON.
struct Outcome {
    std::optional<std::string> body;
    ErrorRef error;
    JSONObject object;
    ErrorRef objectError;
};

Outcome data(URLRequest request) {
    const auto results = std::make_shared<Mailbox<Outcome>>();
    RestClient::shared().dataRequest(
        std::move(request), [results](const std::optional<std::string>& body, ErrorRef error) {
            RestClient::shared().decodeJSON(
                body, error, [&](const JSONObject& object, ErrorRef objectError) {
                    results->put({body, error, object, std::move(objectError)});
                });
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
    if (dynamic_cast<const JSONError*>(error.get()) != nullptr) return "json";
    const auto& failure = dynamic_cast<const PlatformError&>(*error);
    return failure.domain() == PlatformError::Domain::network ? "network" : "";
}

TEST(RestClientTest, JudgesAnswersByTheirBody) {
    const std::string noBody = RestClientError::unexpectedBodyFormat().description();
    const std::string noHTTP = RestClientError::unexpectedResponseFormat().description();
    const std::string noObject = RestClientError::invalidJSONFormat().description();
    const auto with = [](const std::string& body) {
        return "HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" +
               body;
    };
    const struct {
        std::string answer;
        std::optional<std::string> body;
        std::string error;
        std::string objectError = error;
        std::string statusError = error;
        JSONObject object = {};
    } cases[] = {
        {with(R"({"a":[1,2.0]})"), R"({"a":[1,2.0]})", "", "", "", {{"a", {1, 2.0}}}},
        {with("\xef\xbb\xbf{}"), "\xef\xbb\xbf{}", ""},
        {with("[1,2]"), "[1,2]", "", noObject, ""},
        {with("{\"a\":"), "{\"a\":", "", "json", ""},
        {with(""), "", "", "json", ""},
        {"HTTP/1.1 204 No\r\n\r\n", {}, noBody, noBody, ""},
        {"hello\n", {}, noHTTP},
        {"HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\n{}", {}, "network"},
    };
    for (const auto& each : cases) {
        RawServer server(RawServer::answer(each.answer));
        const URLRequest request = URLRequestBuilder(server.url()).build();
        const auto outcome = data(request);
        EXPECT_EQ(outcome.body, each.body) << each.answer;
        EXPECT_EQ(name(outcome.error), each.error) << each.answer;
        EXPECT_EQ(outcome.object, each.object) << each.answer;
        EXPECT_EQ(name(outcome.objectError), each.objectError) << each.answer;
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
        EXPECT_TRUE(expected.empty() || name(data(request).error) == expected) << code;
    }
}

}  // namespace
}  // namespace zentara
