#include "collector/http/HttpServer.h"

#include <gmock/gmock.h>

#include <functional>
#include <list>
#include <stdexcept>
#include <thread>
#include <vector>

#include "apps/collector/http/RawClient.h"
#include "collector/http/LocalAuthority.h"
#include "support/Files.h"

namespace zentara::collector {
namespace {

using namespace std::chrono_literals;
using test::eventually;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

const std::string local = "Host: localhost\r\n";
const std::string postHead = "POST / HTTP/1.1\r\n" + local;

std::string get(const std::string& path) {
    return "GET " + path + " HTTP/1.1\r\n" + local + "\r\n";
}

constexpr std::chrono::hours later{1};

/// Answers with the body of the request by default. Set `script` before use.
class ScriptedHandler : public HttpHandler {
  public:
    std::function<void(std::shared_ptr<Exchange>)> script = [](const auto& exchange) {
        exchange->deliver(saying(exchange->request().body));
    };
    test::Mailbox<HttpRequest> refused;

    static Delivery saying(std::string body, Transmission transmission = Transmission::whole) {
        Delivery delivery;
        delivery.response.body = std::move(body);
        delivery.transmission = transmission;
        return delivery;
    }

    std::optional<std::size_t> readingPace(HttpRequest&) override { return std::nullopt; }
    void handle(std::shared_ptr<Exchange> exchange) override { script(std::move(exchange)); }
    HttpResponse refuse(const HttpRequest& request, int status,
                        const std::string& reason) override {
        HttpRequest kept = request;
        kept.tag = nullptr;
        refused.put(std::move(kept));
        return {status, "{\"error\":\"" + reason + "\"}", {}};
    }
};

class HttpServerTest : public testing::Test {
  protected:
    void start() {
        server = std::make_unique<HttpServer>(handler, timeouts, limits);
        port = server->listen("127.0.0.1", 0);
    }

    void startWithoutAnswers() {
        handler.script = [this](auto exchange) {
            pending.put(std::move(exchange));
        };
        start();
    }

    [[nodiscard]] std::string allOf(const std::string& request) const {
        return RawClient(port, request).readToEnd();
    }

    test::Mailbox<std::shared_ptr<Exchange>> pending;
    ScriptedHandler handler;
    HttpTimeouts timeouts;
    HttpLimits limits;
    std::unique_ptr<HttpServer> server;
    int port = 0;
};

TEST_F(HttpServerTest, RequestReachesTheHandlerDecoded) {
    startWithoutAnswers();
    const RawClient client(port,
                           "\r\nPOST /a%20b+%C3%A9?x=1+2&y=%26%3d&z HTTP/1.1\r\nHost: localhost\r\n"
                           "cookie: a=1\r\nCookie: b=2\r\nTransfer-Encoding: chunked\r\n\r\n"
                           "3;ext=1\r\nabc\r\nA\r\n0123456789\r\n0\r\nTrailer: t\r\n\r\n");
    const auto exchange = pending.waitFor().value();
    exchange->deliver({});
    const HttpRequest& request = exchange->request();
    EXPECT_EQ(request.target, "/a%20b+%C3%A9?x=1+2&y=%26%3d&z");
    EXPECT_EQ(request.path, "/a b+\xC3\xA9");
    EXPECT_EQ(request.query, (NamedTexts{{"x", "1 2"}, {"y", "&="}, {"z", ""}}));
    EXPECT_EQ(request.headers, (NamedTexts{{"Host", "localhost"},
                                           {"cookie", "a=1"},
                                           {"Cookie", "b=2"},
                                           {"Transfer-Encoding", "chunked"}}));
    EXPECT_EQ(request.body, "abc0123456789");
    EXPECT_GT(request.receivedAt, 1'700'000'000'000);
}

TEST_F(HttpServerTest, ConnectionAndBodyFollowTheRequest) {
    handler.script = [](const auto& exchange) {
        Delivery delivery = ScriptedHandler::saying(exchange->request().body);
        if (exchange->request().path == "/204") delivery.response.status = 204;
        delivery.response.headers = {{"X-Split", "a\r\nX-Injected: b"}};
        exchange->deliver(std::move(delivery));
    };
    start();
    const std::string three = "Content-Length: 3\r\n";
    const std::string close = "Connection: close\r\n\r\n";
    const auto both = allOf(postHead + three + "\r\none" + postHead + three + close + "two");
    EXPECT_THAT(both, testing::ContainsRegex("keep-alive\r\n\r\noneHTTP/1.1 200 OK\r\n"));
    EXPECT_THAT(both, EndsWith(close + "two"));
    EXPECT_THAT(allOf("POST / HTTP/1.0\r\n" + three + "\r\nold"), EndsWith("\r\n\r\nold"));
    EXPECT_EQ(allOf("HEAD / HTTP/1.1\r\n" + local + three + close + "one"),
              "HTTP/1.1 200 OK\r\nContent-Length: 3\r\nContent-Type: application/json\r\n"
              "X-Content-Type-Options: nosniff\r\nX-Split: aX-Injected: b\r\n" +
                  close);
    EXPECT_EQ(allOf("GET /204 HTTP/1.1\r\n" + local + close),
              "HTTP/1.1 204 No Content\r\nX-Split: aX-Injected: b\r\n" + close);

    RawClient waiting(port, postHead + three + "Expect: 100-continue\r\n\r\n");
    EXPECT_EQ(waiting.readUntil("\r\n\r\n"), "HTTP/1.1 100 Continue\r\n\r\n");
    waiting.send("now");
    EXPECT_THAT(waiting.readUntil("now"), HasSubstr("HTTP/1.1 200 OK\r\n"));
}

TEST_F(HttpServerTest, InvalidRequestIsRefusedInJSON) {
    const std::string line = "GET / HTTP/1.1\r\n";
    std::string manyFields;
    for (int number = 0; number < 100; ++number)
        manyFields += "a: b\r\n";
    const std::string chunked = postHead + "Transfer-Encoding: chunked\r\n";
    const std::vector<std::pair<std::string, int>> cases{
        {"\x16\x03\x01\x02\x01", 400},
        {get("/%2"), 400},
        {line + local + "no colon\r\n\r\n", 400},
        {line + "\r\n", 400},
        {line + local + local + "\r\n", 400},
        {postHead + "Content-Length: 1\r\nContent-Length: 2\r\n\r\nab", 400},
        {postHead + "Content-Length: 1\r\nTransfer-Encoding: chunked\r\n\r\n0\r\n\r\n", 400},
        {chunked + "\r\n1\r\nabcde\r\n", 400},
        {chunked + "\r\n1;" + std::string(40'000, 'x'), 400},
        {postHead + "Transfer-Encoding: gzip, chunked\r\n\r\n0\r\n\r\n", 501},
        {postHead + "Content-Length: 4194305\r\nExpect: 100-continue\r\n\r\n", 413},
        {chunked + "\r\n400001\r\n", 413},
        {get("/" + std::string(17'000, 'a')), 414},
        {line + "Host: evil.example\r\n\r\n", 421},
        {line + "Host: 127.0.0.1.evil.example\r\n\r\n", 421},
        {line + "Host: xlocalhost\r\n\r\n", 421},
        {line + "Host: [::2]\r\n\r\n", 421},
        {line + "Host: user@localhost\r\n\r\n", 421},
        {get("http://evil.example/"), 421},
        {line + local + manyFields + "\r\n", 431},
        {"PRI * HTTP/2.0\r\n\r\nSM\r\n\r\n", 505},
        {line + "Host: 127.8.9.10:1234\r\n\r\n", 200},
        {line + "Host: [::1]:80\r\n\r\n", 200},
        {line + "Host: a.LOCALHOST\r\n\r\n", 200},
        {get("http://localhost?x"), 200},
        {"PUT /event?a=b HTTP/1.1\r\n" + local + "a: " + std::string(17'000, 'b') + "\r\n\r\n",
         431},
    };
    start();
    for (const auto& [bytes, status] : cases) {
        SCOPED_TRACE(bytes.substr(0, 120));
        RawClient client(port, bytes);
        client.endOutput();
        const std::string answer = client.readToEnd();
        EXPECT_THAT(answer, StartsWith("HTTP/1.1 " + std::to_string(status)));
        EXPECT_FALSE(client.wasReset);
        if (status == 200) continue;
        EXPECT_THAT(answer, AllOf(HasSubstr("\r\nConnection: close\r\n"),
                                  HasSubstr("\r\n\r\n{\"error\":\"")));
    }
    ASSERT_FALSE(handler.refused.values().empty());
    EXPECT_EQ(handler.refused.values().back().path, "/event");
}

TEST_F(HttpServerTest, SendingClientSeesItsRefusal) {
    start();
    const std::string part(0x100000, ' ');
    for (const bool isChunked : {false, true}) {
        RawClient client(port, postHead + (isChunked ? "Transfer-Encoding: chunked\r\n\r\n"
                                                     : "Content-Length: 17825792\r\n\r\n"));
        for (int sent = 0; sent < 17; ++sent)
            EXPECT_TRUE(client.send(isChunked ? "100000\r\n" + part + "\r\n" : part));
        EXPECT_THAT(client.readToEnd(), StartsWith("HTTP/1.1 413 "));
    }
}

TEST_F(HttpServerTest, ExceptionIsAnsweredDroppedExchangeCloses) {
    handler.script = [](const auto& exchange) {
        if (exchange->request().path == "/thrown") throw std::runtime_error("what went wrong");
    };
    start();
    EXPECT_THAT(RawClient(port, get("/thrown")).readUntil("\"}"),
                AllOf(StartsWith("HTTP/1.1 500 "), EndsWith("{\"error\":\"what went wrong\"}")));
    RawClient released(port, get("/"));
    EXPECT_EQ(released.readToEnd(), "");
    EXPECT_TRUE(released.wasReset);
}

TEST_F(HttpServerTest, ExchangeOutlivesItsServer) {
    timeouts.stop = 50ms;
    startWithoutAnswers();
    std::list<RawClient> clients;
    for (std::size_t number = 0; number < 4; ++number) {
        clients.emplace_back(port, get("/"));
        ASSERT_TRUE(pending.waitFor(number));
    }
    const auto exchanges = pending.values();
    EXPECT_TRUE(exchanges[0]->isOpen());
    clients.pop_front();
    EXPECT_TRUE(eventually([&] { return !exchanges[0]->isOpen(); }));
    EXPECT_TRUE(exchanges[1]->isOpen());
    exchanges[1]->deliver({});
    EXPECT_FALSE(exchanges[1]->isOpen());
    EXPECT_TRUE(exchanges[2]->isOpen());

    server.reset();
    EXPECT_FALSE(exchanges[2]->isOpen());
    exchanges[2]->deliver(ScriptedHandler::saying("too late"));
    const auto stream = exchanges[3]->openStream();
    stream->write("too late");
    EXPECT_FALSE(stream->isOpen());
    EXPECT_EQ(clients.back().readToEnd(), "");
}

TEST_F(HttpServerTest, StreamEndsWhenItsClientLeavesOrStalls) {
    startWithoutAnswers();
    std::list<RawClient> clients;
    std::vector<std::shared_ptr<EventStream>> streams;
    for (std::size_t number = 0; number < 3; ++number) {
        clients.emplace_back(port, get("/"));
        streams.push_back(pending.waitFor(number).value()->openStream());
        for (const char* text : {"one ", "two ", "three"})
            streams[number]->write(text);
        EXPECT_THAT(clients.back().readUntil("three"), EndsWith("\r\n\r\none two three"));
    }
    clients.pop_front();
    EXPECT_TRUE(eventually([&] { return !streams[0]->isOpen(); }));
    // The buffers of the system and the server hold far less than this.
    for (int written = 0; streams[1]->isOpen() && written < 1000; ++written)
        streams[1]->write(std::string(64UL * 1024, 'x'));
    EXPECT_FALSE(streams[1]->isOpen());
    EXPECT_TRUE(streams[2]->isOpen());
    server->stop();
    EXPECT_THAT(clients.back().readToEnd(), EndsWith("three"));
    EXPECT_FALSE(clients.back().wasReset);
}

TEST_F(HttpServerTest, SlowClientsAreDisconnected) {
    timeouts.idle = 20ms;
    timeouts.request = 20ms;
    timeouts.linger = 20ms;
    start();
    EXPECT_EQ(allOf(""), "");
    for (const auto& begun : {std::string("GET / HT"), postHead + "Content-Length: 5\r\n\r\nfour"})
        EXPECT_THAT(allOf(begun), StartsWith("HTTP/1.1 408 "));
    const test::TemporaryDirectory folder;
    const LocalAuthority authority(folder.path() / "data");
    const int secure = server->listen("127.0.0.1", 0, authority.issue({}));
    EXPECT_EQ(RawClient(secure, "\x16\x03\x01").readToEnd(), "") << "a handshake without an end";
}

TEST_F(HttpServerTest, AddressHasALimitOfConnections) {
    limits.connectionsPerAddress = 2;
    start();
    std::list<RawClient> clients;
    for (int number = 0; number < 2; ++number) {
        clients.emplace_back(port, get("/"));
        EXPECT_THAT(clients.back().readUntil("\r\n\r\n"), HasSubstr(" 200 "));
    }
    EXPECT_EQ(allOf(get("/")), "");
    EXPECT_EQ(server->connections().open, 2U);
    EXPECT_EQ(server->connections().refused, 1U);
    clients.pop_back();
    const auto answer = [this] {
        return RawClient(port, get("/")).readUntil("\r\n\r\n");
    };
    EXPECT_TRUE(eventually([&] { return answer().find(" 200 ") != std::string::npos; }));
    limits.exempt = {"127.0.0.1"};
    start();
    for (int number = 0; number < 4; ++number) {
        clients.emplace_back(port, get("/"));
        EXPECT_THAT(clients.back().readUntil("\r\n\r\n"), HasSubstr(" 200 "));
    }
}

TEST_F(HttpServerTest, ConnectionsBeyondTheLimitAreClosed) {
    limits.connections = 5;
    timeouts.idle = later;
    handler.script = [this](const auto& exchange) {
        const std::string& path = exchange->request().path;
        if (path == "/pending") return pending.put(exchange);
        exchange->deliver(ScriptedHandler::saying(
            "", path == "/held" ? Transmission::none : Transmission::whole));
    };
    start();
    std::list<RawClient> clients;
    for (const auto& sent : {get("/pending"), get("/held"), get("/"),
                             std::string("POST / HTTP/1.1\r\nHost: loc"), std::string()})
        clients.emplace_back(port, sent);
    EXPECT_EQ(allOf(""), "");
    const auto exchange = pending.waitFor().value();
    clients.clear();
    exchange->deliver(ScriptedHandler::saying(std::string(100'000, 'x')));
    EXPECT_TRUE(eventually([this] {
        std::list<RawClient> again;
        while (again.size() < limits.connections)
            again.emplace_back(port, get("/"));
        return std::all_of(again.begin(), again.end(), [](auto& each) {
            return each.readUntil("\r\n\r\n").starts_with("HTTP/1.1 200 ");
        });
    }));
}

TEST_F(HttpServerTest, BodiesBeyondTheBudgetAreRefused) {
    limits.bodies = 300'000;
    test::Signal handling;
    test::Signal release;
    handler.script = [&](const auto& exchange) {
        if (!exchange->request().body.empty()) {
            handling.notify();
            EXPECT_TRUE(release.waitFor());
        }
        exchange->deliver({});
    };
    start();
    const std::string chunked = postHead + "Transfer-Encoding: chunked\r\n\r\n30000\r\n" +
                                std::string(0x30000, 'x') + "\r\n0\r\n\r\n";
    const std::string whole =
        postHead + "Content-Length: 200000\r\n\r\n" + std::string(200'000, 'x');
    // An announced body takes nothing of the budget.
    const RawClient announcing(port, postHead + "Content-Length: 4000000\r\n\r\n");
    const RawClient first(port, whole);
    ASSERT_TRUE(handling.waitFor());
    const auto answer = [this](const std::string& bytes) {
        return RawClient(port, bytes).readUntil("\r\n\r\n").substr(9, 3);
    };
    EXPECT_EQ(answer(whole) + answer(chunked) + answer(get("/")), "503503200");
    release.notify();
    EXPECT_TRUE(eventually([&] { return answer(whole) == "200"; }));
}

TEST_F(HttpServerTest, DelayedAnswerBlocksNeitherOthersNorStop) {
    handler.script = [](const auto& exchange) {
        const std::string& path = exchange->request().path;
        // Larger than the buffers for a client that does not read.
        auto delivery =
            ScriptedHandler::saying(std::string(path == "/large" ? 64U << 20U : 4, 'x'));
        if (path == "/soon") delivery.delay = 1ms;
        if (path == "/late") delivery.delay = later;
        if (path == "/held") delivery.transmission = Transmission::none;
        exchange->deliver(std::move(delivery));
    };
    timeouts.stop = 50ms;
    start();
    std::list<RawClient> late;
    for (int number = 0; number < 50; ++number)
        late.emplace_back(port, get("/late"));
    std::list<RawClient> silent;
    for (const auto& sent : {std::string(), std::string("POST / HTTP/1.1\r\nHost"), get("/held")})
        silent.emplace_back(port, sent);
    RawClient notReading(port, get("/large"));
    EXPECT_THAT(notReading.readUntil("\r\n\r\n"), StartsWith("HTTP/1.1 200 "));
    EXPECT_THAT(RawClient(port, get("/soon")).readUntil("xxxx"), EndsWith("\r\n\r\nxxxx"));
    server->stop();
    server->stop();
    for (auto& client : late)
        EXPECT_THAT(client.readToEnd(), EndsWith("Connection: close\r\n\r\nxxxx"));
    for (auto& client : silent)
        EXPECT_EQ(client.readToEnd(), "");
    notReading.readToEnd();
    EXPECT_FALSE(RawClient(port).send(postHead)) << "the listener is closed";
}

TEST_F(HttpServerTest, StopWaitsForOpenRequests) {
    timeouts.stop = test::generousTimeout;
    startWithoutAnswers();
    RawClient client(port, get("/"));
    RawClient other(port);
    const auto exchange = pending.waitFor().value();
    std::jthread stopping([this] { server->stop(); });
    EXPECT_EQ(other.readToEnd(), "");  // the stop has begun
    exchange->deliver(ScriptedHandler::saying("in time"));
    EXPECT_THAT(client.readToEnd(), EndsWith("\r\n\r\nin time"));
}

TEST_F(HttpServerTest, ListensOnFreePortsOfAnyAddress) {
    start();
    EXPECT_THAT(
        [this] { server->listen("localhost", port); },
        testing::ThrowsMessage<std::runtime_error>("cannot listen on localhost port " +
                                                   std::to_string(port) + ": the port is in use"));
    // Only on a loopback address are other host names refused.
    port = server->listen("0.0.0.0", 0);
    EXPECT_THAT(allOf("GET / HTTP/1.1\r\nHost: devbox\r\nConnection: close\r\n\r\n"),
                StartsWith("HTTP/1.1 200 "));
}

}  // namespace
}  // namespace zentara::collector
