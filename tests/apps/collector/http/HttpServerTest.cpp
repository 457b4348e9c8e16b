#include "collector/http/HttpServer.h"

#include <gmock/gmock.h>
#include <httplib.h>

#include <atomic>
#include <filesystem>
#include <iterator>
#include <list>
#include <stdexcept>
#include <thread>
#include <vector>

#include "apps/collector/http/RawClient.h"
#include "apps/collector/http/ScriptedHandler.h"

namespace zentara::collector {
namespace {

using namespace std::chrono_literals;
using test::eventually;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

constexpr const char* hello = "GET / HTTP/1.1\r\nHost: localhost\r\n\r\n";

/// Far longer than any test: what is to happen only at a stop.
constexpr std::chrono::hours later{1};

std::ptrdiff_t openDescriptors() {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
}

class HttpServerTest : public testing::Test {
  protected:
    void start() {
        server = std::make_unique<HttpServer>(handler, timeouts, limits);
        port = server->listen("127.0.0.1", 0);
    }

    ScriptedHandler handler;
    HttpTimeouts timeouts;
    HttpLimits limits;
    std::unique_ptr<HttpServer> server;
    int port = 0;
};

TEST_F(HttpServerTest, EachOfManyClientsGetsItsOwnAnswers) {
    start();
    constexpr int clients = 16;
    std::atomic<int> right = 0;
    std::vector<std::thread> threads;
    for (int number = 0; number < clients; ++number) {
        threads.emplace_back([&, number] {
            httplib::Client kept("127.0.0.1", port);
            kept.set_keep_alive(true);
            kept.set_tcp_nodelay(true);
            for (int post = 0; post < 25; ++post) {
                // From nothing to far more than is read at once.
                const std::string body(static_cast<std::size_t>(post * 4001),
                                       static_cast<char>('a' + number));
                const auto first = kept.Post("/event", body, "text/plain");
                const auto second =
                    httplib::Client("127.0.0.1", port).Post("/event", body, "text/plain");
                if (first && second && first->body == body && second->body == body) ++right;
            }
        });
    }
    for (auto& thread : threads)
        thread.join();
    EXPECT_EQ(right, clients * 25);
}

TEST_F(HttpServerTest, ARequestReachesTheHandlerDecoded) {
    test::Mailbox<HttpRequest> requests;
    handler.script = [&](const auto& exchange) {
        requests.put(exchange->request());
        exchange->deliver({});
    };
    start();
    RawClient client(
        port,
        "\r\nPOST /a%20b+%C3%A9?x=1+2&y=%26%3d&z HTTP/1.1\r\nHost: localhost\r\n"
        "cookie: a=1\r\nX-Other: o\r\nCookie: b=2\r\nTransfer-Encoding: chunked\r\n\r\n"
        "3;ext=1\r\nabc\r\nA\r\n0123456789\r\n0\r\nTrailer: t\r\n\r\n");
    const auto request = requests.waitFor();
    ASSERT_TRUE(request);
    EXPECT_EQ(request->method, "POST");
    EXPECT_EQ(request->target, "/a%20b+%C3%A9?x=1+2&y=%26%3d&z");
    EXPECT_EQ(request->path, "/a b+\xC3\xA9");
    EXPECT_EQ(request->query, (NamedTexts{{"x", "1 2"}, {"y", "&="}, {"z", ""}}));
    EXPECT_EQ(request->headers, (NamedTexts{{"Host", "localhost"},
                                            {"cookie", "a=1"},
                                            {"X-Other", "o"},
                                            {"Cookie", "b=2"},
                                            {"Transfer-Encoding", "chunked"}}));
    EXPECT_EQ(request->body, "abc0123456789");
    EXPECT_FALSE(request->secure);
    EXPECT_GT(request->receivedAt, 1'700'000'000'000);
}

TEST_F(HttpServerTest, ConnectionsAreKeptAsTheClientWishes) {
    start();
    const std::string post = "POST / HTTP/1.1\r\nHost: [::1]:80\r\nContent-Length: 3\r\n";
    RawClient pipelining(port, post + "\r\none" + post + "Connection: close\r\n\r\ntwo");
    const std::string both = pipelining.readToEnd();
    EXPECT_THAT(both, testing::ContainsRegex("keep-alive\r\n\r\noneHTTP/1.1 200 OK\r\n"));
    EXPECT_THAT(both, EndsWith("Connection: close\r\n\r\ntwo"));
    EXPECT_EQ(pipelining.end(), RawClient::End::closed);

    RawClient old(port, "POST / HTTP/1.0\r\nContent-Length: 3\r\n\r\nold");
    EXPECT_THAT(old.readToEnd(), EndsWith("\r\n\r\nold"));

    RawClient halfClosing(port, post + "\r\nend");
    halfClosing.endOutput();
    EXPECT_THAT(halfClosing.readToEnd(), EndsWith("\r\n\r\nend"));

    RawClient waiting(port, post + "Expect: 100-continue\r\n\r\n");
    EXPECT_EQ(waiting.readUntil("\r\n\r\n"), "HTTP/1.1 100 Continue\r\n\r\n");
    waiting.send("now");
    EXPECT_THAT(waiting.readUntil("now"), HasSubstr("HTTP/1.1 200 OK\r\n"));
}

TEST_F(HttpServerTest, AnAnswerHasABodyOnlyWhereItsClientExpectsOne) {
    handler.script = [](const auto& exchange) {
        Delivery delivery = ScriptedHandler::saying("body");
        if (exchange->request().path == "/204") delivery.response.status = 204;
        delivery.response.headers = {{"X-Split", "a\r\nX-Injected: b"}};
        exchange->deliver(std::move(delivery));
    };
    start();
    RawClient head(port, "HEAD / HTTP/1.1\r\nHost: localhost\r\nConnection: close\r\n\r\n");
    EXPECT_EQ(head.readToEnd(),
              "HTTP/1.1 200 OK\r\nContent-Length: 4\r\nContent-Type: application/json\r\n"
              "X-Content-Type-Options: nosniff\r\nX-Split: aX-Injected: b\r\n"
              "Connection: close\r\n\r\n");
    RawClient none(port, "GET /204 HTTP/1.1\r\nHost: localhost\r\nConnection: close\r\n\r\n");
    EXPECT_EQ(none.readToEnd(),
              "HTTP/1.1 204 No Content\r\nX-Split: aX-Injected: b\r\nConnection: close\r\n\r\n");
}

TEST_F(HttpServerTest, WhatIsNoRequestIsRefusedInJSON) {
    const std::string get = "GET / HTTP/1.1\r\n";
    const std::string local = get + "Host: localhost\r\n";
    const std::string post = "POST / HTTP/1.1\r\nHost: localhost\r\n";
    std::string manyFields;
    for (int number = 0; number < 100; ++number)
        manyFields += "a: b\r\n";
    const std::vector<std::pair<std::string, int>> cases{
        {"\x16\x03\x01\x02\x01", 400},
        {"GET / HTTP/1.1\n\n", 400},
        {"nonsense\r\n\r\n", 400},
        {"GET nonsense HTTP/1.1\r\nHost: localhost\r\n\r\n", 400},
        {"GET /%2 HTTP/1.1\r\nHost: localhost\r\n\r\n", 400},
        {"GET /?a=%zz HTTP/1.1\r\nHost: localhost\r\n\r\n", 400},
        {local + "no colon\r\n\r\n", 400},
        {local + "a: b\x01\r\n\r\n", 400},
        {get + "\r\n", 400},
        {local + "Host: localhost\r\n\r\n", 400},
        {post + "Content-Length: 1\r\nContent-Length: 2\r\n\r\nab", 400},
        {post + "Content-Length: -1\r\n\r\n", 400},
        {post + "Content-Length: 1\r\nTransfer-Encoding: chunked\r\n\r\n0\r\n\r\n", 400},
        {post + "Transfer-Encoding: chunked\r\nContent-Length: 1\r\n\r\n0\r\n\r\n", 400},
        {post + "Transfer-Encoding: chunked\r\n\r\nx\r\n", 400},
        {post + "Transfer-Encoding: chunked\r\n\r\n1\r\nabcde\r\n", 400},
        {post + "Transfer-Encoding: chunked\r\n\r\n1;" + std::string(40'000, 'x'), 400},
        {post + "Transfer-Encoding: gzip, chunked\r\n\r\n0\r\n\r\n", 501},
        {post + "Content-Length: 4194305\r\n\r\n", 413},
        {post + "Content-Length: 4194305\r\nExpect: 100-continue\r\n\r\n", 413},
        {post + "Transfer-Encoding: chunked\r\n\r\n400001\r\n", 413},
        {"GET /" + std::string(17'000, 'a') + " HTTP/1.1\r\nHost: localhost\r\n\r\n", 414},
        {get + "Host: evil.example\r\n\r\n", 421},
        {get + "Host: 127.0.0.1.evil.example\r\n\r\n", 421},
        {get + "Host: xlocalhost\r\n\r\n", 421},
        {get + "Host: 192.168.0.1\r\n\r\n", 421},
        {get + "Host: [::2]\r\n\r\n", 421},
        {get + "Host: user@localhost\r\n\r\n", 421},
        {"GET http://evil.example/ HTTP/1.1\r\nHost: localhost\r\n\r\n", 421},
        {local + "a: " + std::string(17'000, 'b') + "\r\n\r\n", 431},
        {local + manyFields + "\r\n", 431},
        {"GET / HTTP/2.0\r\nHost: localhost\r\n\r\n", 505},
        {"PRI * HTTP/2.0\r\n\r\nSM\r\n\r\n", 505},
        {get + "Host: 127.8.9.10:1234\r\n\r\n", 200},
        {get + "Host: a.LOCALHOST\r\n\r\n", 200},
        {"GET http://localhost?x HTTP/1.1\r\nHost: localhost\r\n\r\n", 200},
    };
    start();
    for (const auto& [bytes, status] : cases) {
        SCOPED_TRACE(bytes.substr(0, 120));
        RawClient client(port, bytes);
        client.endOutput();
        const std::string answer = client.readToEnd();
        EXPECT_THAT(answer, StartsWith("HTTP/1.1 " + std::to_string(status)));
        EXPECT_EQ(client.end(), RawClient::End::closed);
        if (status == 200) continue;
        EXPECT_THAT(answer, HasSubstr("\r\nConnection: close\r\n"));
        EXPECT_THAT(answer, HasSubstr("\r\n\r\n{\"error\":\""));
    }
}

TEST_F(HttpServerTest, ARefusedRequestTellsWhatWasAskedFor) {
    start();
    RawClient client(port, "PUT /event?a=b HTTP/1.1\r\nHost: localhost\r\na: " +
                               std::string(20'000, 'b') + "\r\n\r\n");
    const auto request = handler.refused.waitFor();
    ASSERT_TRUE(request);
    EXPECT_EQ(request->method, "PUT");
    EXPECT_EQ(request->path, "/event");
    EXPECT_GT(request->receivedAt, 0);
}

TEST_F(HttpServerTest, AClientSeesItsRefusalWhileItStillSends) {
    start();
    const std::string large(17UL * 1024 * 1024, ' ');
    RawClient announcing(port);
    EXPECT_TRUE(announcing.send("POST / HTTP/1.1\r\nHost: localhost\r\nContent-Length: " +
                                std::to_string(large.size()) + "\r\n\r\n" + large));
    EXPECT_THAT(announcing.readToEnd(), StartsWith("HTTP/1.1 413 "));

    RawClient chunking(port,
                       "POST / HTTP/1.1\r\nHost: localhost\r\nTransfer-Encoding: chunked\r\n\r\n");
    for (std::size_t sent = 0; sent < large.size(); sent += 0x100000)
        EXPECT_TRUE(chunking.send("100000\r\n" + large.substr(0, 0x100000) + "\r\n"));
    EXPECT_THAT(chunking.readToEnd(), StartsWith("HTTP/1.1 413 "));
}

TEST_F(HttpServerTest, AnAnswerMayBeBrokenInManyWays) {
    handler.script = [](const auto& exchange) {
        const std::string& path = exchange->request().path;
        if (path == "/thrown") throw std::runtime_error("what went wrong");
        if (path == "/released") return;
        exchange->deliver(
            ScriptedHandler::saying("0123456789", path == "/truncated" ? Manner::truncated
                                                  : path == "/garbage" ? Manner::garbage
                                                                       : Manner::dropped));
        exchange->deliver(ScriptedHandler::saying("a second answer"));
    };
    start();
    const auto get = [this](const std::string& path) {
        RawClient client(port, "GET " + path + " HTTP/1.1\r\nHost: localhost\r\n\r\n");
        std::string answer = client.readUntil("\"}");
        return std::pair(std::move(answer), client.end());
    };
    const auto [truncated, truncatedEnd] = get("/truncated");
    EXPECT_THAT(truncated, HasSubstr("\r\nContent-Length: 10\r\n"));
    EXPECT_THAT(truncated, EndsWith("\r\n\r\n01234"));
    EXPECT_EQ(truncatedEnd, RawClient::End::closed);

    const auto [garbage, garbageEnd] = get("/garbage");
    EXPECT_FALSE(garbage.empty());
    EXPECT_THAT(garbage, testing::Not(HasSubstr("HTTP/")));
    EXPECT_EQ(garbageEnd, RawClient::End::closed);

    for (const char* path : {"/dropped", "/released"}) {
        SCOPED_TRACE(path);
        EXPECT_EQ(get(path), std::pair(std::string(), RawClient::End::reset));
    }
    EXPECT_THAT(get("/thrown").first, StartsWith("HTTP/1.1 500 "));
    EXPECT_THAT(get("/thrown").first, HasSubstr("{\"error\":\"what went wrong\"}"));
}

TEST_F(HttpServerTest, ManyLateAnswersKeepNobodyElseWaiting) {
    handler.script = [](const auto& exchange) {
        Delivery delivery = ScriptedHandler::saying(exchange->request().path);
        if (exchange->request().path == "/late") delivery.delay = later;
        if (exchange->request().path == "/held") delivery.manner = Manner::none;
        if (exchange->request().path == "/soon") delivery.delay = 20ms;
        exchange->deliver(std::move(delivery));
    };
    start();
    std::list<RawClient> late;
    std::list<RawClient> held;
    for (int number = 0; number < 50; ++number) {
        late.emplace_back(port, "GET /late HTTP/1.1\r\nHost: localhost\r\n\r\n");
        held.emplace_back(port, "GET /held HTTP/1.1\r\nHost: localhost\r\n\r\n");
    }
    const auto begin = std::chrono::steady_clock::now();
    RawClient soon(port, "GET /soon HTTP/1.1\r\nHost: localhost\r\n\r\n");
    EXPECT_THAT(soon.readUntil("/soon"), EndsWith("/soon"));
    EXPECT_GE(std::chrono::steady_clock::now() - begin, 20ms);

    server->stop();
    for (auto& client : late)
        EXPECT_THAT(client.readToEnd(), EndsWith("Connection: close\r\n\r\n/late"));
    for (auto& client : held)
        EXPECT_EQ(client.readToEnd(), "");
}

TEST_F(HttpServerTest, NothingIsLeftOfClientsThatHaveGone) {
    test::Mailbox<std::shared_ptr<Exchange>> pending;
    handler.script = [&](auto exchange) {
        if (exchange->request().path == "/held") {
            exchange->deliver(ScriptedHandler::saying("", Manner::none));
        } else {
            pending.put(std::move(exchange));
        }
    };
    start();
    const auto before = openDescriptors();
    {
        std::list<RawClient> clients;
        for (int number = 0; number < 20; ++number) {
            clients.emplace_back(port, "GET /held HTTP/1.1\r\nHost: localhost\r\n\r\n");
            clients.emplace_back(port, hello);
            clients.emplace_back(port, "POST / HTTP/1.1\r\nHost: loc");
            clients.emplace_back(port);
        }
        ASSERT_TRUE(pending.waitFor(19));
    }
    for (const auto& exchange : pending.values())
        exchange->deliver(ScriptedHandler::saying(std::string(100'000, 'x')));
    EXPECT_TRUE(eventually([&] { return openDescriptors() <= before; }));
}

TEST_F(HttpServerTest, AnExchangeMayBeAnsweredWhenTheServerIsGone) {
    test::Mailbox<std::shared_ptr<Exchange>> pending;
    handler.script = [&](auto exchange) {
        pending.put(std::move(exchange));
    };
    timeouts.stop = 50ms;
    start();
    RawClient first(port, hello);
    RawClient second(port, hello);
    ASSERT_TRUE(pending.waitFor(1));
    server.reset();
    EXPECT_EQ(first.readToEnd(), "");
    pending.values()[0]->deliver(ScriptedHandler::saying("too late"));
    const auto stream = pending.values()[1]->openStream();
    stream->write("too late");
    EXPECT_FALSE(stream->isOpen());
    EXPECT_EQ(second.readToEnd(), "");
}

TEST_F(HttpServerTest, AStreamReachesAllThatListenUntilTheyLeave) {
    test::Mailbox<std::shared_ptr<EventStream>> streams;
    handler.script = [&](const auto& exchange) {
        streams.put(exchange->openStream());
    };
    start();
    constexpr int listeners = 100;
    std::list<RawClient> clients;
    for (int number = 0; number < listeners; ++number)
        clients.emplace_back(port, hello);
    ASSERT_TRUE(streams.waitFor(listeners - 1));
    for (const auto& stream : streams.values()) {
        for (const char* text : {"data: 1\n\n", "data: 2\n\n", "data: 3\n\n"})
            stream->write(text);
    }
    for (auto& client : clients) {
        const std::string received = client.readUntil("3\n\n");
        EXPECT_THAT(received, HasSubstr("\r\nContent-Type: text/event-stream\r\n"));
        EXPECT_THAT(received, EndsWith("\r\n\r\ndata: 1\n\ndata: 2\n\ndata: 3\n\n"));
    }
    clients.erase(std::next(clients.begin()), clients.end());
    const auto open = [&] {
        const auto all = streams.values();
        return std::count_if(all.begin(), all.end(), [](auto& each) { return each->isOpen(); });
    };
    EXPECT_TRUE(eventually([&] { return open() == 1; }));
    server->stop();
    EXPECT_EQ(open(), 0);
    EXPECT_THAT(clients.front().readToEnd(), EndsWith("3\n\n"));
    EXPECT_EQ(clients.front().end(), RawClient::End::closed);
}

TEST_F(HttpServerTest, AStreamThatIsNotReadIsBounded) {
    test::Mailbox<std::shared_ptr<EventStream>> streams;
    handler.script = [&](const auto& exchange) {
        streams.put(exchange->openStream());
    };
    start();
    RawClient client(port, hello);
    const auto stream = streams.waitFor();
    ASSERT_TRUE(stream);
    const std::string text(64UL * 1024, 'x');
    // The system takes some for the client, the server the rest: far less than this in all.
    std::size_t written = 0;
    while ((*stream)->isOpen() && written < 1000 * text.size()) {
        (*stream)->write(text);
        written += text.size();
    }
    EXPECT_FALSE((*stream)->isOpen());
}

TEST_F(HttpServerTest, ABodyThatIsReadSlowlyHoldsItsSenderUp) {
    handler.pace = 1000;
    start();
    constexpr std::size_t size = 4UL * 1024 * 1024;
    RawClient client(port, 4096);
    client.send("POST / HTTP/1.1\r\nHost: localhost\r\nContent-Length: " + std::to_string(size) +
                "\r\n\r\n");
    EXPECT_LT(client.sendUntilHeldUp(std::string(size, 'x'), 300), size / 4);
}

TEST_F(HttpServerTest, ABodyThatIsReadSlowlyArrivesInItsTime) {
    handler.pace = 20'000;
    start();
    const std::string body(2000, 'x');
    const auto begin = std::chrono::steady_clock::now();
    const auto answer = httplib::Client("127.0.0.1", port).Post("/", body, "text/plain");
    EXPECT_GE(std::chrono::steady_clock::now() - begin, 100ms);
    ASSERT_TRUE(answer);
    EXPECT_EQ(answer->body, body);
}

TEST_F(HttpServerTest, ClientsThatTakeTooLongAreGivenUp) {
    timeouts.idle = 20ms;
    timeouts.request = 20ms;
    timeouts.linger = 20ms;
    start();
    RawClient silent(port);
    EXPECT_EQ(silent.readToEnd(), "");
    EXPECT_EQ(silent.end(), RawClient::End::closed);
    for (const char* begun : {"GET / HT",
                              "POST / HTTP/1.1\r\nHost: localhost\r\n"
                              "Content-Length: 5\r\n\r\nfour"}) {
        RawClient slow(port, begun);
        EXPECT_THAT(slow.readToEnd(), StartsWith("HTTP/1.1 408 "));
    }
}

TEST_F(HttpServerTest, WhatTheHandlerNotesOfAHeadTravelsWithTheRequestOrIsLetGoOf) {
    std::atomic<int> asked = 0;
    std::atomic<int> noted = 0;
    handler.onHead = [&](HttpRequest& head) {
        ++asked;
        if (head.path == "/thrown") throw std::runtime_error("no head for it");
        const auto forget = [&noted](std::string* path) {
            delete path;
            --noted;
        };
        ++noted;
        head.tag = std::shared_ptr<std::string>(new std::string(head.method), forget);
    };
    handler.script = [](const auto& exchange) {
        exchange->deliver(ScriptedHandler::saying(
            *std::static_pointer_cast<std::string>(exchange->request().tag)));
    };
    timeouts.request = 50ms;
    timeouts.linger = later;
    start();
    const std::string post = "POST / HTTP/1.1\r\nHost: localhost\r\n";
    RawClient kept(port, hello + post + "Content-Length: 3\r\n\r\none");
    EXPECT_THAT(kept.readUntil("POST"), testing::ContainsRegex("\r\n\r\nGETHTTP.*\r\n\r\nPOST"));
    EXPECT_EQ(asked, 2);

    RawClient thrown(port, "GET /thrown HTTP/1.1\r\nHost: localhost\r\n\r\n");
    EXPECT_THAT(thrown.readUntil("no head for it"), StartsWith("HTTP/1.1 500 "));
    RawClient(port, post + "Content-Length: 3\r\n\r\non");  // gives up
    RawClient malformed(port, post + "Transfer-Encoding: chunked\r\n\r\nx\r\n");
    EXPECT_THAT(malformed.readUntil("\"}"), StartsWith("HTTP/1.1 400 "));
    RawClient slow(port, post + "Content-Length: 3\r\n\r\non");
    EXPECT_THAT(slow.readUntil("\"}"), StartsWith("HTTP/1.1 408 "));
    EXPECT_TRUE(eventually([&] { return asked == 6 && noted == 0; })) << asked << ' ' << noted;
}

TEST_F(HttpServerTest, AnExchangeTellsWhetherItsClientIsStillThere) {
    test::Mailbox<std::shared_ptr<Exchange>> pending;
    handler.script = [&](auto exchange) {
        pending.put(std::move(exchange));
    };
    timeouts.stop = 50ms;
    start();
    auto leaving = std::make_unique<RawClient>(port, hello);
    const auto left = pending.waitFor(0).value();
    RawClient answeredClient(port, hello);
    const auto answered = pending.waitFor(1).value();
    RawClient waiting(port, hello);
    const auto unanswered = pending.waitFor(2).value();
    EXPECT_TRUE(left->isOpen());
    leaving.reset();
    EXPECT_TRUE(eventually([&] { return !left->isOpen(); }));
    EXPECT_TRUE(answered->isOpen());
    answered->deliver({});
    EXPECT_FALSE(answered->isOpen());
    EXPECT_TRUE(unanswered->isOpen());
    server.reset();
    EXPECT_FALSE(unanswered->isOpen());
}

TEST_F(HttpServerTest, ConnectionsBeyondTheLimitAreClosedUntilOneEnds) {
    limits.connections = 2;
    timeouts.idle = later;
    start();
    auto first = std::make_unique<RawClient>(port, hello);
    RawClient second(port, hello);
    first->readUntil("\r\n\r\n");
    second.readUntil("\r\n\r\n");
    RawClient third(port);
    EXPECT_EQ(third.readToEnd(), "");
    EXPECT_EQ(third.end(), RawClient::End::closed);
    first.reset();
    EXPECT_TRUE(eventually([&] {
        return RawClient(port, hello).readUntil("\r\n\r\n").rfind("HTTP/1.1 200 ", 0) == 0;
    }));
}

TEST_F(HttpServerTest, BodiesThatAreTooLargeTogetherAreRefusedUntilOneIsDoneWith) {
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
    const std::string head = "POST / HTTP/1.1\r\nHost: localhost\r\n";
    const std::string chunked = head + "Transfer-Encoding: chunked\r\n\r\n30000\r\n" +
                                std::string(0x30000, 'x') + "\r\n0\r\n\r\n";
    const std::string whole = head + "Content-Length: 200000\r\n\r\n" + std::string(200'000, 'x');
    // What is only announced takes nothing from others.
    const RawClient announcing(port, head + "Content-Length: 4000000\r\n\r\n");
    const RawClient first(port, whole);
    ASSERT_TRUE(handling.waitFor());
    const auto answer = [this](const std::string& bytes) {
        return RawClient(port, bytes).readUntil("\r\n\r\n").substr(9, 3);
    };
    EXPECT_EQ(answer(whole), "503");
    EXPECT_EQ(answer(chunked), "503");
    EXPECT_EQ(answer(hello), "200");

    release.notify();
    EXPECT_TRUE(eventually([&] { return answer(whole) == "200"; }));
}

TEST_F(HttpServerTest, AStopWaitsForNoClient) {
    handler.script = [&](const auto& exchange) {
        // More than the system holds for a client that does not read.
        exchange->deliver(ScriptedHandler::saying(std::string(64UL * 1024 * 1024, 'x')));
    };
    timeouts.stop = 50ms;
    start();
    RawClient idle(port);
    RawClient unfinished(port, "POST / HTTP/1.1\r\nHost");
    RawClient notReading(port, hello);
    EXPECT_THAT(notReading.readUntil("\r\n\r\n"), StartsWith("HTTP/1.1 200 "));
    server->stop();
    server->stop();
    EXPECT_EQ(idle.readToEnd() + unfinished.readToEnd(), "");
    notReading.readToEnd();
    EXPECT_NE(notReading.end(), RawClient::End::timeout);
    EXPECT_FALSE(RawClient(port).isConnected());
}

TEST_F(HttpServerTest, AStopWaitsForTheRequestsUnderWay) {
    test::Mailbox<std::shared_ptr<Exchange>> pending;
    handler.script = [&](auto exchange) {
        pending.put(std::move(exchange));
    };
    timeouts.stop = test::generousTimeout;
    start();
    RawClient client(port, hello);
    RawClient other(port);
    const auto exchange = pending.waitFor();
    ASSERT_TRUE(exchange);
    std::thread stopping([this] { server->stop(); });
    EXPECT_EQ(other.readToEnd(), "");  // the stop has begun
    (*exchange)->deliver(ScriptedHandler::saying("in time"));
    EXPECT_THAT(client.readToEnd(), EndsWith("\r\n\r\nin time"));
    stopping.join();
}

TEST_F(HttpServerTest, APortThatCannotBeHadIsExplained) {
    start();
    HttpServer second(handler);
    const auto reason = [&](const std::string& address, int wanted) -> std::string {
        try {
            return "listens on " + std::to_string(second.listen(address, wanted));
        } catch (const std::runtime_error& error) {
            return error.what();
        }
    };
    EXPECT_EQ(reason("127.0.0.1", port),
              "cannot listen on 127.0.0.1 port " + std::to_string(port) + ": the port is in use");
    EXPECT_THAT(reason("192.0.2.1", 0), EndsWith(": the address is none of this machine"));
    EXPECT_THAT(reason("nowhere", 0), EndsWith(": this is no IP address"));
    EXPECT_THAT(reason("localhost", 0), StartsWith("listens on "));
}

TEST_F(HttpServerTest, WhoListensForOtherMachinesAnswersUnderAnyName) {
    server = std::make_unique<HttpServer>(handler);
    port = server->listen("0.0.0.0", 0);
    RawClient client(port, "GET / HTTP/1.1\r\nHost: devbox\r\nConnection: close\r\n\r\n");
    EXPECT_THAT(client.readToEnd(), StartsWith("HTTP/1.1 200 "));
}

}  // namespace
}  // namespace zentara::collector
