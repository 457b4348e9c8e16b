#include "platform/URLSession.h"

#include <curl/curl.h>
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <netdb.h>
#include <netinet/in.h>
#include <openssl/ssl.h>
#include <stdlib.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "platform/PlatformError.h"
#include "support/RawServer.h"
#include "support/TestServer.h"
#include "support/WaitFor.h"

namespace {

/// Ends the look-ups that hang.
zentara::test::Signal answered;

}  // namespace

/// The system's, but for one name, whose look-up hangs.
extern "C" __attribute__((visibility("default"))) int getaddrinfo(const char* name,
                                                                  const char* service,
                                                                  const addrinfo* hints,
                                                                  addrinfo** found) {
    if (name != nullptr && std::string_view(name) == "hanging.invalid") {
        static_cast<void>(answered.waitFor());
        return EAI_AGAIN;
    }
    static auto* const systems =
        reinterpret_cast<decltype(&getaddrinfo)>(::dlsym(RTLD_NEXT, "getaddrinfo"));
    return systems(name, service, hints, found);
}

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
    if (result->error) {
        const std::string text = result->error->description();
        EXPECT_EQ(text.find("secret"), std::string::npos) << text;
    }
    return std::move(*result);
}

URLRequest get(URL url) {
    return {std::move(url), "GET", {{"Cookie", "qvn_uid=secret;"}}, {}};
}

/// `url` with what must not show in any text.
URL withSecrets(const URL& url) {
    std::string text = url.string() + "/?key=secret";
    return URL::parse(text.insert(text.find("//") + 2, "user:secret@")).value();
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
    for (const int status : {101, 104, 150, 199}) {
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
        {"HTTP/1.1 20", CURLE_GOT_NOTHING},
        {"HTTP/1.1 200 OK\r\n", CURLE_PARTIAL_FILE},
        {"HTTP/1.1 200 OK\r\nContent-Length: 0\r\n", CURLE_PARTIAL_FILE},
        {"HTTP/1.1 100 Continue\r\n\r\n", CURLE_GOT_NOTHING},
        {"HTTP/1.1 100 Continue\r\n\r\nHTTP/1.1 200 OK\r\n", CURLE_PARTIAL_FILE},
        {"HTTP/1.1 200 OK\r\nno colon\r\n\r\n", CURLE_WEIRD_SERVER_REPLY},
        {"HTTP/1.1 200 OK\r\nContent-Length: -1\r\n\r\n{}", CURLE_WEIRD_SERVER_REPLY},
        {"HTTP/1.1 200 OK\r\nContent-Length: 2\r\nContent-Length: 3\r\n\r\n{}", CURLE_PARTIAL_FILE},
        {"HTTP/1.1 200 OK\r\nContent-Length: 2147483648\r\n\r\n{}", CURLE_FILESIZE_EXCEEDED},
    };
    for (const auto& each : cases) {
        RawServer server(RawServer::answer(each.answer));
        const Result result = run(get(withSecrets(server.url())));
        ASSERT_TRUE(result.error) << each.answer;
        EXPECT_EQ(result.errorCode(), each.code) << each.answer << result.error->description();
        EXPECT_NE(result.error->description().find("127.0.0.1"), std::string::npos);
    }
}

TEST(URLSessionTest, NoServerHoldsARequestUpOrFillsTheMemory) {
    constexpr milliseconds soon(50);
    const std::string ok = "HTTP/1.1 200 OK\r\n";
    const std::string chunked = ok + "Transfer-Encoding: chunked\r\n\r\n";
    const std::string large(1024 * 1024, 'x');
    std::string lines;
    std::string provisional;
    for (int i = 0; i < 1000; ++i) {
        lines += "X-Filler: y\r\n";
        provisional += "HTTP/1.1 100 Continue\r\n\r\n";
    }
    const struct {
        std::string head;
        std::string forEver;  ///< sent again and again; nothing when empty
        milliseconds timeout;
        int code;
    } cases[] = {
        {"", "", soon, CURLE_OPERATION_TIMEDOUT},
        {ok, "", soon, CURLE_OPERATION_TIMEDOUT},
        // Each drop comes in time; all together do not.
        {ok + "\r\n", "x", soon, CURLE_OPERATION_TIMEDOUT},
        {chunked + "1;", large, soon, CURLE_OPERATION_TIMEDOUT},
        {ok + "\r\n", large, test::generousTimeout, CURLE_FILESIZE_EXCEEDED},
        {ok, lines, test::generousTimeout, CURLE_WRITE_ERROR},
        {ok + "X-Filler: ", large, test::generousTimeout, CURLE_OUT_OF_MEMORY},
        {chunked + "0\r\n", lines, test::generousTimeout, CURLE_WRITE_ERROR},
        {"", provisional, test::generousTimeout, CURLE_WRITE_ERROR},
    };
    for (const auto& each : cases) {
        RawServer server([&each](RawConnection& connection) {
            if (!connection.readRequest()) return;
            connection.send(each.head);
            while (!each.forEver.empty() && connection.send(each.forEver))
                std::this_thread::yield();
            connection.waitForClose();
        });
        URLRequest request = get(withSecrets(server.url()));
        request.timeout = each.timeout;
        const Result result = run(std::move(request));
        ASSERT_TRUE(result.error) << each.head << each.forEver.substr(0, 30);
        EXPECT_EQ(result.errorCode(), each.code)
            << each.head << each.forEver.substr(0, 30) << result.error->description();
    }
}

TEST(URLSessionTest, ABodyThatNobodyWantsIsNeitherKeptNorReadForEver) {
    constexpr std::size_t announced = std::size_t{2} * 1024 * 1024 * 1024;
    std::atomic<std::size_t> sent = 0;
    RawServer server([&sent](RawConnection& connection) {
        if (!connection.readRequest()) return;
        connection.send("HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(announced) +
                        "\r\n\r\n");
        const std::string piece(1024 * 1024, 'x');
        while (sent < announced && connection.send(piece))
            sent += piece.size();
    });
    URLRequest request = get(server.url());
    request.discardsBody = true;
    rusage before{};
    rusage after{};
    ::getrusage(RUSAGE_SELF, &before);
    const Result result = run(std::move(request));
    ::getrusage(RUSAGE_SELF, &after);
    ASSERT_TRUE(result.response) << result.error->description();
    EXPECT_EQ(result.response->statusCode, 200);
    EXPECT_LT(sent, 2 * URLSession::maximumBodySize);
    EXPECT_LT(after.ru_maxrss - before.ru_maxrss, 16 * 1024) << "in units of 1024 bytes";
}

/// A port whose queue of connections is full, as that of a machine that drops what it is sent.
class FullListener {
  public:
    FullListener() {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t length = sizeof address;
        auto* const place = reinterpret_cast<sockaddr*>(&address);
        for (int& end : ends_)
            end = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
        EXPECT_EQ(::bind(ends_[0], place, length) | ::listen(ends_[0], 0) |
                      ::getsockname(ends_[0], place, &length),
                  0);
        port = ntohs(address.sin_port);
        ::connect(ends_[1], place, length);
        ::connect(ends_[2], place, length);
    }
    ~FullListener() {
        for (const int end : ends_)
            ::close(end);
    }
    int port = 0;

  private:
    std::array<int, 3> ends_{};
};

TEST(URLSessionTest, ServersThatCannotBeReachedAreErrorsInTime) {
    const FullListener full;
    const int refusing = RawServer(RawServer::silence()).port();
    RawServer silent(RawServer::silence());
    RawServer plain([](RawConnection& connection) { connection.send("HTTP/1.1 400 No\r\n\r\n"); });
    const struct {
        std::string url;
        int code;
    } cases[] = {
        {"http://127.0.0.1:" + std::to_string(refusing), CURLE_COULDNT_CONNECT},
        {"http://127.0.0.1:" + std::to_string(full.port), CURLE_OPERATION_TIMEDOUT},
        {"https://127.0.0.1:" + std::to_string(silent.port()), CURLE_OPERATION_TIMEDOUT},
        {"https://127.0.0.1:" + std::to_string(plain.port()), CURLE_SSL_CONNECT_ERROR},
        {"http://hanging.invalid", CURLE_OPERATION_TIMEDOUT},
        // No name server would have to be asked for a name this long.
        {"http://" + std::string(64, 'a') + ".invalid", CURLE_COULDNT_RESOLVE_HOST},
    };
    for (const auto& [url, code] : cases) {
        URLRequest request = get(withSecrets(URL::parse(url).value()));
        if (code == CURLE_OPERATION_TIMEDOUT) request.timeout = milliseconds(100);
        const Result result = run(std::move(request));
        ASSERT_TRUE(result.error) << url;
        EXPECT_EQ(result.errorCode(), code) << url << result.error->description();
    }
    answered.notify();
}

TEST(URLSessionTest, RedirectsAreReportedAndNotFollowed) {
    TestServer other;
    const test::TemporaryDirectory directory;
    const std::string places[] = {other.url("/").string(),
                                  "https://127.0.0.1:" + std::to_string(other.port()) + "/",
                                  "//127.0.0.1:" + std::to_string(other.port()),
                                  "/p?q=1",
                                  "file://" + directory.path().string(),
                                  "gopher://127.0.0.1/",
                                  "javascript:0",
                                  ""};
    for (const int status : {301, 302, 303, 307, 308}) {
        for (const auto& place : places) {
            std::atomic<int> requests = 0;
            RawServer server([&](RawConnection& connection) {
                while (connection.readRequest()) {
                    ++requests;
                    connection.send("HTTP/1.1 " + std::to_string(status) + " Away\r\nLocation: " +
                                    place + "\r\nContent-Length: 0\r\n\r\n");
                }
            });
            const Result result = run(get(server.url("/p?q=1")));
            ASSERT_TRUE(result.response) << place << result.error->description();
            EXPECT_EQ(result.response->statusCode, status) << place;
            EXPECT_EQ(requests, 1) << place;
        }
    }
    EXPECT_TRUE(other.requests().empty());
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
    TestServer selfSigned(test::TestAuthority::selfSigned());
    TestServer otherName(known.issue({"DNS:collector.example.com"}));
    TestServer expired(known.issueForLoopback(test::TestAuthority::Validity::expired));
    TestServer old(known.issueForLoopback(), TLS1_1_VERSION);
    auto& session = URLSession::shared();

    // Other programs take their authorities from these.
    const char* const variables[] = {"SSL_CERT_FILE", "SSL_CERT_DIR", "CURL_CA_BUNDLE"};
    for (const char* const name : variables)
        ::setenv(name, known.file().c_str(), 1);
    EXPECT_EQ(run(get(good.url())).errorCode(), CURLE_PEER_FAILED_VERIFICATION);
    for (const char* const name : variables)
        ::unsetenv(name);
    session.setCertificateAuthorityFile(known.file());
    EXPECT_EQ(run(get(good.url())).response->statusCode, 200);
    EXPECT_EQ(run(get(good.url("", "127.0.0.1"))).response->statusCode, 200);
    for (const TestServer* const server : {&stranger, &selfSigned, &otherName, &expired}) {
        EXPECT_EQ(run(get(withSecrets(server->url()))).errorCode(), CURLE_PEER_FAILED_VERIFICATION);
        EXPECT_TRUE(server->requests().empty());
    }
    EXPECT_EQ(run(get(withSecrets(old.url()))).errorCode(), CURLE_SSL_CONNECT_ERROR);
    session.setCertificateAuthorityFile("/nowhere/at/all.pem");
    EXPECT_EQ(run(get(good.url())).errorCode(), CURLE_SSL_CACERT_BADFILE);
    session.setCertificateAuthorityFile({});
    EXPECT_EQ(run(get(good.url())).errorCode(), CURLE_PEER_FAILED_VERIFICATION);
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
