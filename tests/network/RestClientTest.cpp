#include "network/RestClient.h"

#include <gtest/gtest.h>

#include <atomic>

#include "json/JSONParser.h"
#include "network/CurlSession.h"
#include "network/URLRequestBuilder.h"
#include "support/NoDestructor.h"
#include "support/PlatformError.h"
#include "support/RawServer.h"
#include "support/WaitFor.h"

namespace zentara {
namespace {

using test::RawServer;
using Case = RestClientError::Case;

RestClient client() {
    static NoDestructor<CurlSession> session([] { return std::string(); }, runAtExit);
    return RestClient(*session);
}

Result<std::string> data(URLRequest request) {
    return test::valueFrom<Result<std::string>>(
               [&](auto done) { client().dataRequest(std::move(request), done); })
        .value();
}

Status status(URLRequest request) {
    return test::valueFrom<Status>(
               [&](auto done) { client().statusRequest(std::move(request), done); })
        .value();
}

/// The description of a `RestClientError`, "network" for an error of the network, "" for none.
std::string name(const Status& status) {
    if (status.ok()) return "";
    const auto& error = status.error();
    if (dynamic_cast<const RestClientError*>(error.get()) != nullptr) return error->description();
    if (dynamic_cast<const JSONError*>(error.get()) != nullptr) return "json";
    const auto& failure = dynamic_cast<const PlatformError&>(*error);
    return failure.domain() == PlatformError::Domain::network ? "network" : "";
}

TEST(RestClientTest, JudgesAnswersByTheirBody) {
    const std::string noBody = RestClientError(Case::unexpectedBodyFormat).description();
    const std::string noHTTP = RestClientError(Case::unexpectedResponseFormat).description();
    const std::string noObject = RestClientError(Case::invalidJSONFormat).description();
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
        const auto body = data(request);
        EXPECT_EQ(name(body.status()), each.error) << each.answer;
        EXPECT_EQ(body.ok() ? std::optional(*body) : std::nullopt, each.body) << each.answer;
        const auto object = RestClient::decodeJSON(body);
        EXPECT_EQ(name(object.status()), each.objectError) << each.answer;
        EXPECT_EQ(object.ok() ? *object : JSONObject(), each.object) << each.answer;
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
            expected = RestClientError(Case::unexpectedStatusCode, code).description();
        }
        EXPECT_EQ(name(status(request)), expected) << code;
        EXPECT_TRUE(expected.empty() || name(data(request).status()) == expected) << code;
    }
}

}  // namespace
}  // namespace zentara
