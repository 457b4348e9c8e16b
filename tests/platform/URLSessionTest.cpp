#include "platform/URLSession.h"

#include <curl/curl.h>
#include <gtest/gtest.h>
#include <stdlib.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "platform/PlatformError.h"
#include "support/RawServer.h"
#include "support/TestServer.h"
#include "support/WaitFor.h"

namespace zentara {
namespace {

using std::chrono::milliseconds;
using test::Mailbox;
using test::RawConnection;
using test::RawServer;
using test::Signal;
using test::TestAnswer;
using test::TestServer;

struct Result {
    std::optional<URLResponse> response;
    ErrorRef error;

    /// The code of the network error; 0 when there is none.
    [[nodiscard]] int errorCode() const {
        const auto* const failure = dynamic_cast<const PlatformError*>(error.get());
        if (failure == nullptr) return 0;
        EXPECT_EQ(failure->domain(), PlatformError::Domain::network);
        return failure->code();
    }
};

Result run(URLRequest request) {
    const auto results = std::make_shared<Mailbox<Result>>();
    URLSession::shared().start(std::move(request),
                               [results](std::optional<URLResponse> response, ErrorRef error) {
                                   results->put({std::move(response), std::move(error)});
                               });
    auto result = results->waitFor();
    EXPECT_TRUE(result) << "no completion";
    if (!result) return {};
    EXPECT_NE(result->response.has_value(), result->error != nullptr) << "exactly one of them";
    return std::move(*result);
}

URLRequest get(URL url) {
    return {std::move(url), "GET", {}, {}};
}

TEST(URLSessionTest, ReportsStatusAndBodyAsTheyCome) {
    using Body = std::optional<std::string>;
    const struct {
        const char* answer;
        int status;
        Body body;
    } cases[] = {
        {"HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\n{}", 200, "{}"},
        {"HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n", 200, ""},
        {"HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n2\r\n{}\r\n0\r\n\r\n", 200, "{}"},
        {"HTTP/1.1 200 OK\r\n\r\nuntil the end", 200, "until the end"},
        {"HTTP/1.1 200 OK\r\n\r\n", 200, {}},
        {"HTTP/1.1 204 No Content\r\n\r\n", 204, {}},
        {"HTTP/1.1 204 No Content\r\nContent-Length: 0\r\n\r\n", 204, ""},
        {"HTTP/1.1 301 Away\r\nLocation: /b\r\nContent-Length: 0\r\n\r\n", 301, ""},
        {"HTTP/1.1 304 Same\r\n\r\n", 304, {}},
        {"HTTP/1.1 429 Slowly\r\nContent-Length: 1\r\n\r\nx", 429, "x"},
        {"HTTP/1.1 999 Odd\r\nContent-Length: 1\r\n\r\nx", 999, "x"},
        {"HTTP/1.1 100 Continue\r\n\r\nHTTP/1.1 200 OK\r\nContent-Length: 1\r\n\r\nx", 200, "x"},
        {"HTTP/1.1 103 Hints\r\nContent-Length: 9\r\n\r\nHTTP/1.1 204 No\r\n\r\n", 204, {}},
    };
    for (const auto& each : cases) {
        RawServer server(RawServer::answer(each.answer));
        const Result result = run(get(server.url()));
        ASSERT_TRUE(result.response) << each.answer << result.error->description();
        EXPECT_EQ(result.response->statusCode, each.status) << each.answer;
        EXPECT_EQ(result.response->body, each.body) << each.answer;
    }
}

TEST(URLSessionTest, AnUnknownProvisionalStatusEndsTheExchange) {
    for (const int status : {104, 150, 199}) {
        // The server would keep the connection open for ever.
        RawServer server([status](RawConnection& connection) {
            if (!connection.readRequest()) return;
            connection.send("HTTP/1.1 " + std::to_string(status) + " Odd\r\nX-Y: z\r\n\r\n");
            connection.waitForClose();
        });
        const Result result = run(get(server.url()));
        ASSERT_TRUE(result.response) << result.error->description();
        EXPECT_EQ(result.response->statusCode, status);
        EXPECT_FALSE(result.response->body);
    }
}

TEST(URLSessionTest, AnswersThatAreNotHTTPHaveNoStatus) {
    for (const char* const answer :
         {"hello\n", "no line at all", "{\"a\":1}\r\n\r\n", "\x16\x03\x01\x02",
          "HTTP/x.y 200 OK\r\n\r\n", "HTTP/1.1 OK\r\n\r\n"}) {
        RawServer server(RawServer::answer(answer));
        const Result result = run(get(server.url()));
        ASSERT_TRUE(result.response) << answer << result.error->description();
        EXPECT_EQ(result.response->statusCode, std::nullopt) << answer;
        EXPECT_FALSE(result.response->body) << answer;
    }
}

TEST(URLSessionTest, BrokenAnswersAreErrorsOfTheNetwork) {
    const struct {
        const char* answer;
        int code;
    } cases[] = {
        {"", CURLE_GOT_NOTHING},
        {"HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\nshort", CURLE_PARTIAL_FILE},
        {"HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\nff\r\nshort", CURLE_PARTIAL_FILE},
        {"HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\nzz\r\n", CURLE_RECV_ERROR},
        {"HTTP/1.1 200 OK\r\nContent-Encoding: gzip\r\nContent-Length: 3\r\n\r\nabc",
         CURLE_BAD_CONTENT_ENCODING},
    };
    for (const auto& each : cases) {
        RawServer server(RawServer::answer(each.answer));
        const Result result = run(get(server.url()));
        ASSERT_TRUE(result.error) << each.answer;
        EXPECT_EQ(result.errorCode(), each.code) << each.answer << result.error->description();
        EXPECT_NE(result.error->description().find("127.0.0.1"), std::string::npos);
    }
}

TEST(URLSessionTest, NoServerHoldsARequestUpOrFillsTheMemory) {
    const struct {
        const char* head;
        std::string forEver;  ///< sent again and again; nothing when empty
        milliseconds timeout;
        int code;
    } cases[] = {
        {"", "", milliseconds(50), CURLE_OPERATION_TIMEDOUT},
        // Each drop comes in time; all together do not.
        {"HTTP/1.1 200 OK\r\n\r\n", "x", milliseconds(50), CURLE_OPERATION_TIMEDOUT},
        {"HTTP/1.1 200 OK\r\n\r\n", std::string(1024 * 1024, 'x'), test::generousTimeout,
         CURLE_FILESIZE_EXCEEDED},
        {"HTTP/1.1 200 OK\r\nContent-Length: 67108865\r\n\r\nx", "", test::generousTimeout,
         CURLE_FILESIZE_EXCEEDED},
    };
    for (const auto& each : cases) {
        RawServer server([&each](RawConnection& connection) {
            if (!connection.readRequest()) return;
            connection.send(each.head);
            while (!each.forEver.empty() && connection.send(each.forEver))
                std::this_thread::yield();
            connection.waitForClose();
        });
        URLRequest request = get(server.url());
        request.timeout = each.timeout;
        EXPECT_EQ(run(std::move(request)).errorCode(), each.code) << each.head;
    }
}

TEST(URLSessionTest, ARefusedConnectionIsAnError) {
    URL url = [] {
        return RawServer(RawServer::silence()).url();
    }();
    EXPECT_EQ(run(get(std::move(url))).errorCode(), CURLE_COULDNT_CONNECT);
}

TEST(URLSessionTest, EndlessHeadersAreCutOff) {
    RawServer server([](RawConnection& connection) {
        if (!connection.readRequest()) return;
        connection.send("HTTP/1.1 200 OK\r\n");
        const std::string line = "X-Filler: " + std::string(1000, 'x') + "\r\n";
        while (connection.send(line)) {
        }
    });
    const Result result = run(get(server.url()));
    ASSERT_TRUE(result.error);
    EXPECT_NE(result.error->description().find("headers are larger"), std::string::npos)
        << result.error->description();
}

/// The request as it travels, for a server that answers nothing but that it came.
std::string sent(URLRequest request) {
    const auto requests = std::make_shared<Mailbox<std::string>>();
    RawServer server([requests](RawConnection& connection) {
        if (auto got = connection.readRequest()) requests->put(std::move(*got));
        connection.send("HTTP/1.1 204 No\r\n\r\n");
    });
    request.url = URL::parse(server.url("/p?q=1").string()).value();
    EXPECT_TRUE(run(std::move(request)).response);
    std::string text = requests->waitFor().value_or("");
    const std::string port = std::to_string(server.port());
    const auto at = text.find(port);
    return at == std::string::npos ? text : text.replace(at, port.size(), "PORT");
}

TEST(URLSessionTest, SendsWhatItWasGivenAndNoMoreThanItMust) {
    const URL placeholder = URL::parse("http://localhost").value();
    const std::string end = "Host: 127.0.0.1:PORT\r\nAccept-Encoding: deflate, gzip, br, zstd\r\n";
    EXPECT_EQ(sent({placeholder, "GET", {}, {}}), "GET /p?q=1 HTTP/1.1\r\n" + end + "\r\n");
    EXPECT_EQ(sent({placeholder, "POST", {{"Content-Type", "application/json"}}, "{}"}),
              "POST /p?q=1 HTTP/1.1\r\n" + end +
                  "Content-Type: application/json\r\nContent-Length: 2\r\n\r\n{}");
    EXPECT_EQ(sent({placeholder, "POST", {}, {}}),
              "POST /p?q=1 HTTP/1.1\r\n" + end + "Content-Length: 0\r\n\r\n");
    EXPECT_EQ(
        sent({placeholder, "PUT", {{"A", "1"}, {"A", "2"}, {"Empty", ""}}, "x"}),
        "PUT /p?q=1 HTTP/1.1\r\n" + end + "A: 1\r\nA: 2\r\nEmpty:\r\nContent-Length: 1\r\n\r\nx");
    EXPECT_EQ(sent({placeholder, "GET", {{"Accept-Encoding", "identity"}, {"Accept", "a/b"}}, {}}),
              "GET /p?q=1 HTTP/1.1\r\nHost: 127.0.0.1:PORT\r\n"
              "Accept-Encoding: identity\r\nAccept: a/b\r\n\r\n");
}

TEST(URLSessionTest, ALargeBodyIsSentWithoutAskingFirst) {
    const std::string body(3 * 1024 * 1024, 'b');
    const std::string text = sent({URL::parse("http://localhost").value(), "POST", {}, body});
    EXPECT_EQ(text.find("Expect"), std::string::npos);
    EXPECT_TRUE(text.ends_with("\r\n\r\n" + body));
}

TEST(URLSessionTest, HeadersAndMethodsThatCouldForgeOthersAreNotSent) {
    using namespace std::string_literals;
    const std::string text = sent({URL::parse("http://localhost").value(),
                                   "GET",
                                   {{"One", "a\r\nForged: 1"},
                                    {"Two", "a\rForged: 3"},
                                    {"Four", "a\0Forged: 4"s},
                                    {"Five\r\nForged", "5"},
                                    {"Sev en", "7"},
                                    {"", "8"},
                                    {"Nine", "9"}},
                                   {}});
    EXPECT_EQ(text.find("Forged"), std::string::npos) << text;
    EXPECT_EQ(text.find("Sev en"), std::string::npos) << text;
    EXPECT_NE(text.find("\r\nNine: 9\r\n"), std::string::npos) << text;

    RawServer server(RawServer::silence());
    URLRequest request = get(server.url());
    request.method = "GET / HTTP/1.1\r\nX: y\r\n\r\nGET";
    EXPECT_EQ(run(std::move(request)).errorCode(), CURLE_BAD_FUNCTION_ARGUMENT);
}

TEST(URLSessionTest, OtherSchemesAreRefused) {
    const test::TemporaryDirectory directory;
    const auto file = directory.path() / "secret";
    std::ofstream(file) << "HTTP/1.1 200 OK\r\n\r\nsecret";
    for (const std::string& url : {"file://" + file.string(), std::string("ftp://127.0.0.1/")}) {
        EXPECT_EQ(run(get(URL::parse(url).value())).errorCode(), CURLE_UNSUPPORTED_PROTOCOL) << url;
    }
}

TEST(URLSessionTest, ConnectionsAreReused) {
    std::atomic<int> connections = 0;
    RawServer server([&](RawConnection& connection) {
        ++connections;
        while (connection.readRequest()) {
            connection.send("HTTP/1.1 200 OK\r\nContent-Length: 1\r\n\r\nx");
        }
    });
    for (int i = 0; i < 5; ++i)
        EXPECT_EQ(run(get(server.url())).response->body, "x");
    EXPECT_EQ(connections, 1);
}

TEST(URLSessionTest, CompletionsComeOneAfterTheOtherAndHoldUpNoTransfer) {
    TestServer server;
    const auto served = std::make_shared<Signal>();
    server.respond([served](const test::RecordedRequest&) {
        served->notify();
        return TestAnswer{};
    });
    struct State {
        std::atomic<int> inside = 0;
        std::atomic<int> highest = 0;
        Signal done;
    };
    constexpr std::size_t count = 20;
    const auto state = std::make_shared<State>();
    for (std::size_t i = 0; i < count; ++i) {
        URLSession::shared().start(
            get(server.url()), [state, served](const std::optional<URLResponse>&, const ErrorRef&) {
                state->highest = std::max(state->highest.load(), ++state->inside);
                // Waits for all the others: a completion on the thread of the transfers, which
                // then stands still, would never see them.
                EXPECT_TRUE(served->waitFor(count));
                --state->inside;
                state->done.notify();
            });
    }
    ASSERT_TRUE(state->done.waitFor(count));
    EXPECT_EQ(state->highest, 1);
}

TEST(URLSessionTest, CertificatesAreVerified) {
    const test::TestAuthority known;
    const test::TestAuthority unknown;
    TestServer good(known.issueForLoopback());
    TestServer stranger(unknown.issueForLoopback());
    TestServer otherName(known.issue({"DNS:collector.example.com"}));
    auto& session = URLSession::shared();

    EXPECT_EQ(run(get(good.url())).errorCode(), CURLE_PEER_FAILED_VERIFICATION);
    session.setCertificateAuthorityFile(known.file());
    EXPECT_EQ(run(get(good.url())).response->statusCode, 200);
    EXPECT_EQ(run(get(good.url("", "127.0.0.1"))).response->statusCode, 200);
    EXPECT_EQ(run(get(stranger.url())).errorCode(), CURLE_PEER_FAILED_VERIFICATION);
    EXPECT_EQ(run(get(otherName.url())).errorCode(), CURLE_PEER_FAILED_VERIFICATION);
    session.setCertificateAuthorityFile("/nowhere/at/all.pem");
    EXPECT_EQ(run(get(good.url())).errorCode(), CURLE_SSL_CACERT_BADFILE);
    session.setCertificateAuthorityFile({});
    EXPECT_EQ(run(get(good.url())).errorCode(), CURLE_PEER_FAILED_VERIFICATION);
    EXPECT_EQ(stranger.requests().size() + otherName.requests().size(), 0U);
}

TEST(URLSessionTest, LoopbackHostsAreReachedWithoutTheProxy) {
    TestServer proxy;
    TestServer server;
    const std::string address = "http://127.0.0.1:" + std::to_string(proxy.port());
    ::setenv("http_proxy", address.c_str(), 1);
    ::setenv("no_proxy", "", 1);
    for (const char* const host : {"localhost", "127.0.0.1", "LOCALHOST"}) {
        EXPECT_TRUE(run(get(server.url("/direct", host))).response) << host;
    }
    EXPECT_EQ(server.requests().size(), 3U);
    EXPECT_TRUE(proxy.requests().empty());
    EXPECT_TRUE(run(get(URL::parse("http://collector.invalid/far").value())).response);
    EXPECT_EQ(proxy.requests().size(), 1U);
    ::unsetenv("http_proxy");
    ::unsetenv("no_proxy");
}

}  // namespace
}  // namespace zentara
