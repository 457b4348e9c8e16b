#include "network/CurlSession.h"

#include <curl/curl.h>
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <netdb.h>
#include <stdlib.h>

#include <atomic>
#include <memory>
#include <string_view>
#include <thread>

#include "support/NoDestructor.h"
#include "support/PlatformError.h"
#include "support/RawServer.h"
#include "support/TestServer.h"
#include "support/WaitFor.h"

namespace {

/// Ends the look-ups of hanging.invalid.
zentara::test::Signal lookupMayEnd;

}  // namespace

/// Replaces the system's: the look-up of one name hangs.
extern "C" __attribute__((visibility("default"))) int getaddrinfo(const char* name,
                                                                  const char* service,
                                                                  const addrinfo* hints,
                                                                  addrinfo** found) {
    if (name != nullptr && std::string_view(name) == "hanging.invalid") {
        static_cast<void>(lookupMayEnd.waitFor());
        return EAI_AGAIN;
    }
    static auto* const systems =
        reinterpret_cast<decltype(&getaddrinfo)>(::dlsym(RTLD_NEXT, "getaddrinfo"));
    return systems(name, service, hints, found);
}

namespace zentara {
namespace {

using namespace std::string_literals;
using std::chrono::milliseconds;
using test::Mailbox;
using test::RawConnection;
using test::RawServer;
using test::Signal;
using test::TestServer;

std::string authorityFile;

URLSession& session() {
    static NoDestructor<CurlSession> session([] { return authorityFile; }, runAtExit);
    return *session;
}

std::string failed(CURLcode code) {
    return "error " + std::to_string(code);
}

/// How an exchange ends: "200 body", "200" without a body, "no status", or an error of the network.
std::string run(const URLRequest& request) {
    const auto ends = std::make_shared<Mailbox<std::string>>();
    const std::string beginning = "request to '" + request.url.host() + "' failed: ";
    session().start(request, [ends, beginning](const Result<URLResponse>& response) {
        std::string end = "no status";
        if (response.ok()) {
            if (response->statusCode) end = std::to_string(*response->statusCode);
            if (response->body) end += " " + *response->body;
        } else {
            const auto& failure = dynamic_cast<const PlatformError&>(*response.error());
            EXPECT_EQ(failure.domain(), PlatformError::Domain::network);
            const std::string text = failure.description();
            EXPECT_TRUE(text.starts_with(beginning)) << text;
            EXPECT_EQ(text.find("secret"), std::string::npos) << text;
            end = failed(static_cast<CURLcode>(failure.code()));
        }
        ends->put(end);
    });
    return ends->waitFor().value_or("no completion");
}

/// A request with secrets that no error text may show.
URLRequest get(const URL& url) {
    std::string text = url.string() + "/?key=secret";
    text.insert(text.find("//") + 2, "user:secret@");
    return {URL::parse(text).value(), "GET", {{"Cookie", "qvn_uid=secret;"}}, {}};
}

TEST(CurlSessionTest, SendsNothingAfterTheExitWork) {
    static std::function<void()> exitWork;
    static NoDestructor<CurlSession> parked(
        [] { return ""s; }, [](std::function<void()> work) { exitWork = std::move(work); });
    TestServer server;
    const auto answers = std::make_shared<Signal>();
    const auto ask = [&] {
        parked->start(URLRequest{server.url(), "GET", {}, {}},
                      [answers](const Result<URLResponse>&) { answers->notify(); });
    };
    ask();
    ASSERT_TRUE(answers->waitFor());
    const auto start = std::chrono::steady_clock::now();
    exitWork();
    EXPECT_LT(std::chrono::steady_clock::now() - start, milliseconds(1000)) << "not parked";
    ask();
    EXPECT_FALSE(answers->waitFor(2, milliseconds(50)));
}

TEST(CurlSessionTest, IncompleteAnswersAreErrors) {
    const std::string ok = "HTTP/1.1 200 OK\r\n";
    const std::string chunked = ok + "Transfer-Encoding: chunked\r\n\r\n";
    const std::string provisional = "HTTP/1.1 100 Continue\r\n\r\n";
    const std::pair<std::string, std::string> cases[] = {
        {ok + "Content-Length: 2\r\n\r\n{}", "200 {}"},
        {ok + "Content-Length: 0\r\n\r\n", "200 "},
        {chunked + "2\r\n{}\r\n0\r\n\r\n", "200 {}"},
        {ok + "\r\nuntil the end", "200 until the end"},
        {ok + "\r\n", "200"},
        {"HTTP/1.1 204 No Content\r\nContent-Length: 0\r\n\r\n", "204 "},
        {"HTTP/1.1 302 Away\r\nLocation: /\r\nContent-Length: 1\r\n\r\nx", "302 x"},
        {provisional + ok + "Content-Length: 1\r\n\r\nx", "200 x"},
        {"HTTP/1.1 103 Hints\r\nContent-Length: 9\r\n\r\nHTTP/1.1 204 No\r\n\r\n", "204"},
        {"hello\n", "no status"},
        {"no line at all", "no status"},
        {"HTTP/x.y 200 OK\r\n\r\n", "no status"},
        {"HTTP/1.1 OK\r\n\r\n", "no status"},
        {"", failed(CURLE_GOT_NOTHING)},
        {ok + "Content-Length: 10\r\n\r\nshort", failed(CURLE_PARTIAL_FILE)},
        {chunked + "ff\r\nshort", failed(CURLE_PARTIAL_FILE)},
        {chunked + "zz\r\n", failed(CURLE_RECV_ERROR)},
        {ok + "Content-Encoding: gzip\r\nContent-Length: 3\r\n\r\nabc",
         failed(CURLE_BAD_CONTENT_ENCODING)},
        {ok, failed(CURLE_PARTIAL_FILE)},
        {provisional + ok, failed(CURLE_PARTIAL_FILE)},
        {ok + "no colon\r\n\r\n", failed(CURLE_WEIRD_SERVER_REPLY)},
        {ok + "Content-Length: 2147483648\r\n\r\n{}", failed(CURLE_FILESIZE_EXCEEDED)},
    };
    for (const auto& [answer, end] : cases) {
        RawServer server(RawServer::answer(answer));
        EXPECT_EQ(run(get(server.url())), end) << answer;
    }
}

/// How an exchange without an answer ends. The other error numbers depend on curl's version.
std::string kindOf(const std::string& end) {
    if (end == failed(CURLE_OPERATION_TIMEDOUT)) return "out of time";
    return end.starts_with("error ") ? "broken off" : end;
}

TEST(CurlSessionTest, EndlessAnswersEndInTimeAndMemory) {
    constexpr milliseconds soon(50);
    const std::string ok = "HTTP/1.1 200 OK\r\n";
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
        std::string end;
        milliseconds timeout = test::generousTimeout;
        bool discardsBody = false;
    } cases[] = {
        {"", "", "out of time", soon},
        // Each byte is in time, the whole is not.
        {ok + "\r\n", "x", "out of time", soon},
        {ok + "\r\n", large, "broken off"},
        {ok + "Content-Length: 4294967296\r\n\r\n", large, "200", test::generousTimeout, true},
        {ok, lines, "broken off"},
        {ok + "X-Filler: ", large, "broken off"},
        {ok + "Transfer-Encoding: chunked\r\n\r\n0\r\n", lines, "broken off"},
        {"", provisional, "broken off"},
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
        request.discardsBody = each.discardsBody;
        EXPECT_EQ(kindOf(run(request)), each.end) << each.head << each.forEver.substr(0, 30);
    }
}

TEST(CurlSessionTest, UnreachableServersAreErrorsInTime) {
    const int refusing = RawServer(RawServer::silence()).port();
    RawServer silent(RawServer::silence());
    RawServer plain([](RawConnection& connection) { connection.send("HTTP/1.1 400 No\r\n\r\n"); });
    const std::pair<std::string, CURLcode> cases[] = {
        {"http://127.0.0.1:" + std::to_string(refusing), CURLE_COULDNT_CONNECT},
        {"https://127.0.0.1:" + std::to_string(silent.port()), CURLE_OPERATION_TIMEDOUT},
        {"https://127.0.0.1:" + std::to_string(plain.port()), CURLE_SSL_CONNECT_ERROR},
        {"http://hanging.invalid", CURLE_OPERATION_TIMEDOUT},
        // Too long a name to ask a name server for.
        {"http://" + std::string(64, 'a') + ".invalid", CURLE_COULDNT_RESOLVE_HOST},
    };
    for (const auto& [url, code] : cases) {
        URLRequest request = get(URL::parse(url).value());
        if (code == CURLE_OPERATION_TIMEDOUT) request.timeout = milliseconds(100);
        EXPECT_EQ(run(request), failed(code)) << url;
    }
    lookupMayEnd.notify();
    for (const char* const url : {"file:///etc/hosts", "ftp://127.0.0.1/"}) {
        EXPECT_EQ(run({URL::parse(url).value(), "GET", {}, {}}), failed(CURLE_UNSUPPORTED_PROTOCOL))
            << url;
    }
}

/// The bytes of the request that reach the server.
std::string sent(const std::string& method, const decltype(URLRequest::headers)& headers,
                 std::optional<std::string> body = {}) {
    const auto requests = std::make_shared<Mailbox<std::string>>();
    RawServer server([requests](RawConnection& connection) {
        requests->put(connection.readRequest().value_or(""));
        connection.send("HTTP/1.1 204 No\r\n\r\n");
    });
    EXPECT_EQ(run({server.url("/p?q=1"), method, headers, std::move(body)}), "204");
    std::string text = requests->waitFor().value_or("");
    const std::string port = std::to_string(server.port());
    return text.replace(text.find(port), port.size(), "PORT");
}

TEST(CurlSessionTest, SendsTheGivenHeadersAndBodyOnly) {
    const std::string start = " /p?q=1 HTTP/1.1\r\nHost: 127.0.0.1:PORT\r\n";
    const std::string encodings = start + "Accept-Encoding: deflate, gzip, br, zstd\r\n";
    EXPECT_EQ(sent("GET", {}), "GET" + encodings + "\r\n");
    EXPECT_EQ(sent("POST", {}), "POST" + encodings + "Content-Length: 0\r\n\r\n");
    EXPECT_EQ(sent("PUT", {{"A", "1"}, {"A", "2"}, {"Empty", ""}}, "x"),
              "PUT" + encodings + "A: 1\r\nA: 2\r\nEmpty:\r\nContent-Length: 1\r\n\r\nx");
    EXPECT_EQ(sent("GET", {{"Accept-Encoding", "identity"}, {"Accept", "a/b"}}),
              "GET" + start + "Accept-Encoding: identity\r\nAccept: a/b\r\n\r\n");
    EXPECT_EQ(sent("GET", {{"One", "a\r\nForged: 1"},
                           {"Two", "a\rForged: 2"},
                           {"Three", "a\0Forged: 3"s},
                           {"Four", "\x1b[2J"},
                           {"Five\r\nForged", "5"},
                           {"Forged six", "6"},
                           {"Seven", "7"}}),
              "GET" + encodings + "Seven: 7\r\n\r\n");
    URLRequest forging = get(URL::parse("http://127.0.0.1:1").value());
    forging.method = "GET / HTTP/1.1\r\nX: y\r\n\r\nGET";
    EXPECT_EQ(run(forging), failed(CURLE_BAD_FUNCTION_ARGUMENT));
    const std::string large(3 * 1024 * 1024, 'b');
    EXPECT_EQ(sent("POST", {}, large),
              "POST" + encodings + "Content-Length: 3145728\r\n\r\n" + large);
}

TEST(CurlSessionTest, ConnectionIsReusedUnlessResendIsPossible) {
    Signal opened;
    Signal closed;
    RawServer server([&](RawConnection& connection) {
        opened.notify();
        while (connection.readRequest())
            connection.send("HTTP/1.1 200 OK\r\nContent-Length: 1\r\n\r\nx");
        closed.notify();
    });
    for (const char* const method : {"GET", "GET", "GET", "POST", "POST"})
        EXPECT_EQ(run({server.url(), method, {}, {}}), "200 x");
    EXPECT_TRUE(closed.waitFor(2)) << "POST closes its connection";
    EXPECT_EQ(opened.count(), 3U);
}

TEST(CurlSessionTest, PostOnAReusedConnectionIsSentOnce) {
    Mailbox<std::string> bodies;
    std::atomic<int> connections = 0;
    RawServer server([&](RawConnection& connection) {
        ++connections;
        while (const auto request = connection.readRequest()) {
            bodies.put(request->substr(request->find("\r\n\r\n") + 4));
            // As a server does that ends in the middle of a request.
            if (bodies.values().size() == 3) return;
            connection.send("HTTP/1.1 200 OK\r\nContent-Length: 1\r\n\r\nx");
        }
    });
    const auto post = [&](std::string body) {
        URLRequest request{server.url(), "POST", {{"Content-Type", "a/b"}}, std::move(body)};
        request.reusesConnection = true;
        return run(request);
    };
    // More than curl sends with the head, so that it would have to go back in the body.
    const std::string large(300'000, 'c');
    EXPECT_EQ(post("a"), "200 x");
    EXPECT_EQ(post("b"), "200 x");
    EXPECT_EQ(connections, 1);
    EXPECT_EQ(post(large), failed(CURLE_SEND_FAIL_REWIND));
    EXPECT_EQ(post("d"), "200 x");
    EXPECT_TRUE(bodies.values() == std::vector<std::string>({"a", "b", large, "d"}));
}

TEST(CurlSessionTest, TellsHowLongTheServerAsksToWait) {
    const auto asked = [](const std::string& header) {
        RawServer server(
            RawServer::answer("HTTP/1.1 429 Slow\r\nContent-Length: 0\r\n" + header + "\r\n"));
        Mailbox<std::int64_t> waits;
        session().start(
            URLRequest{server.url(), "GET", {}, {}}, [&](const Result<URLResponse>& response) {
                waits.put(response.ok() && response->retryAfter ? response->retryAfter->count()
                                                                : 0);
            });
        return waits.waitFor().value_or(-1);
    };
    EXPECT_EQ(asked(""), 0);
    EXPECT_EQ(asked("Retry-After: 7\r\n"), 7);
    EXPECT_EQ(asked("Retry-After: soon\r\n"), 0);
    EXPECT_EQ(asked("Retry-After: -5\r\n"), 0);
    EXPECT_EQ(asked("Retry-After: Sun, 06 Nov 1994 08:49:37 GMT\r\n"), 0);
    // Newer versions of curl shorten it to six hours, the library to one.
    EXPECT_GT(asked("Retry-After: Fri, 01 Jan 2100 00:00:00 GMT\r\n"), 3600);
}

TEST(CurlSessionTest, ClosedSessionSendsNothing) {
    Signal requested;
    Signal left;
    RawServer silent([&](RawConnection& connection) {
        static_cast<void>(connection.readRequest());
        requested.notify();
        connection.waitForClose();
        left.notify();
    });
    TestServer server;
    Mailbox<std::string> ends;
    const auto ask = [&](const URL& url) {
        session().start(URLRequest{url, "GET", {}, {}}, [&](const Result<URLResponse>& response) {
            ends.put(response.ok() ? "ok" : response.error()->description());
        });
    };
    ask(silent.url());
    ASSERT_TRUE(requested.waitFor());
    session().close("the reason");
    EXPECT_FALSE(session().isOpen());
    ask(server.url());
    session().close("another reason");
    ask(server.url());
    EXPECT_EQ(ends.waitFor(2), "request to 'localhost' failed: another reason");
    EXPECT_TRUE(left.waitFor());
    const auto closings = session().closings();
    session().open();
    EXPECT_TRUE(session().isOpen());
    ask(server.url());
    EXPECT_EQ(ends.waitFor(3), "ok");
    URLRequest made{server.url(), "GET", {}, {}};
    for (const auto& [seen, status] : {std::pair(closings - 1, 0), {closings, 200}}) {
        made.closings = seen;
        Mailbox<int> statuses;
        session().start(made, [&](const Result<URLResponse>& response) {
            statuses.put(response.ok() ? response->statusCode.value_or(-1) : 0);
        });
        EXPECT_EQ(statuses.waitFor(), status);
    }
    EXPECT_EQ(ends.values()[0], "request to '127.0.0.1' failed: the reason");
    EXPECT_EQ(ends.values()[1], "request to 'localhost' failed: the reason");
    EXPECT_EQ(server.requests().size(), 2U);
}

TEST(CurlSessionTest, CompletionsAreSerialAndBlockNoTransfer) {
    TestServer server;
    struct State {
        Signal served;
        std::atomic<int> inside = 0;
        std::atomic<int> highest = 0;
        Signal done;
    };
    constexpr std::size_t count = 20;
    const auto state = std::make_shared<State>();
    server.respond([state](const test::RecordedRequest&) {
        state->served.notify();
        return test::TestAnswer{};
    });
    for (std::size_t i = 0; i < count; ++i) {
        session().start(get(server.url()), [state](const auto&) {
            state->highest = std::max(state->highest.load(), ++state->inside);
            // A completion on the thread of the transfers would wait for ever.
            EXPECT_TRUE(state->served.waitFor(count));
            --state->inside;
            state->done.notify();
        });
    }
    ASSERT_TRUE(state->done.waitFor(count));
    EXPECT_EQ(state->highest, 1);
}

TEST(CurlSessionTest, CertificatesAreVerified) {
    const test::TestAuthority known;
    const test::TestAuthority unknown;
    TestServer good(known.issue());
    TestServer stranger(unknown.issue());
    TestServer otherName(known.issue({"collector.test"}));
    TestServer expired(known.issueExpired());
    const std::string refused = failed(CURLE_PEER_FAILED_VERIFICATION);

    // Other programs read authorities from these variables; the session must not.
    const char* const variables[] = {"SSL_CERT_FILE", "SSL_CERT_DIR", "CURL_CA_BUNDLE"};
    for (const char* const name : variables)
        ::setenv(name, known.file().c_str(), 1);
    EXPECT_EQ(run(get(good.url())), refused);
    for (const char* const name : variables)
        ::unsetenv(name);
    authorityFile = known.file();
    EXPECT_EQ(run(get(good.url())), "200 {}");
    for (const TestServer* const server : {&stranger, &otherName, &expired}) {
        EXPECT_EQ(run(get(server->url())), refused);
        EXPECT_TRUE(server->requests().empty());
    }
    authorityFile = "/nowhere/at/all.pem";
    EXPECT_EQ(run(get(good.url())), failed(CURLE_SSL_CACERT_BADFILE));
    authorityFile.clear();
    EXPECT_EQ(run(get(good.url())), refused);
}

TEST(CurlSessionTest, LoopbackHostsBypassTheProxy) {
    TestServer proxy;
    RawServer server(RawServer::answer("HTTP/1.1 201 Yes\r\n\r\n"));
    ::setenv("http_proxy", proxy.url().string().c_str(), 1);
    ::setenv("no_proxy", "", 1);
    for (const char* const host : {"localhost", "127.0.0.1", "LOCALHOST"}) {
        const auto url = "http://" + std::string(host) + ":" + std::to_string(server.port());
        EXPECT_EQ(run(get(URL::parse(url).value())), "201") << host;
    }
    EXPECT_EQ(run(get(URL::parse("http://collector.invalid/far").value())), "200 {}");
    ::unsetenv("http_proxy");
    ::unsetenv("no_proxy");
}

}  // namespace
}  // namespace zentara
