#include "collector/Front.h"

#include <gmock/gmock.h>

#include "apps/collector/RunningCollector.h"
#include "apps/collector/Samples.h"
#include "apps/collector/http/RawClient.h"
#include "collector/http/HttpServer.h"

namespace zentara::collector {
namespace {

using testing::HasSubstr;

class FrontTest : public testing::Test {
  protected:
    /// The status of a port that offers `parts`.
    std::string statusOf(FrontParts parts, const std::string& path, const std::string& host) {
        Front front(collector.targets(), parts);
        HttpServer server(front);
        const auto names = parts.page || !parts.services ? HostNames::byAddress : HostNames::any;
        const int port = server.listen("127.0.0.1", 0, std::nullopt, names);
        const std::string request =
            "GET " + path + " HTTP/1.1\r\nHost: " + host + "\r\nConnection: close\r\n\r\n";
        return RawClient(port, request).readToEnd().substr(9, 3);
    }

    RunningCollector collector;
};

TEST_F(FrontTest, PortOffersItsPartsOnly) {
    const FrontParts services{.services = true};
    const FrontParts page{.page = true, .metrics = true};
    const FrontParts metrics{.metrics = true};
    const FrontParts all{.services = true, .page = true, .metrics = true};
    const std::tuple<const char*, const char*, const char*, const char*, const char*> cases[] = {
        {"/schemas", "200", "404", "404", "200"},
        {"/id", "200", "404", "404", "200"},
        {"/event", "405", "404", "404", "405"},
        {"/", "404", "200", "404", "200"},
        {"/page.css", "404", "200", "404", "200"},
        {"/catalogue", "404", "200", "404", "200"},
        {"/received/summary", "404", "200", "404", "200"},
        {"/faults", "404", "200", "404", "200"},
        {"/metrics", "404", "200", "200", "200"},
        {"/health", "200", "200", "200", "200"},
        {"/health/live", "200", "200", "200", "200"},
        {"/health/ready", "200", "200", "200", "200"},
        {"/health/other", "404", "404", "404", "404"},
    };
    for (const auto& [path, one, two, three, four] : cases) {
        EXPECT_EQ(statusOf(services, path, "collector.example"), one) << path;
        EXPECT_EQ(statusOf(page, path, "localhost"), two) << path;
        EXPECT_EQ(statusOf(metrics, path, "localhost"), three) << path;
        EXPECT_EQ(statusOf(all, path, "localhost"), four) << path;
        EXPECT_EQ(statusOf(page, path, "collector.example"), "421") << path;
    }
}

TEST_F(FrontTest, FasterClientIsTurnedAwayUnstored) {
    Front front(collector.targets(), {.services = true}, {{"127.0.0.1"}, 0.001});
    HttpServer server(front);
    const int port = server.listen("127.0.0.1", 0);
    const auto post = [&](const std::string& forwarded) {
        // The body never comes; a request that is admitted waits for it.
        RawClient client(port,
                         "POST /event HTTP/1.1\r\nHost: localhost\r\nContent-Length: 9\r\n"
                         "Expect: 100-continue\r\nX-Forwarded-For: " +
                             forwarded + "\r\n\r\n");
        return client.readUntil("\r\n\r\n");
    };
    EXPECT_EQ(post("9.9.9.9, 10.0.0.1"), "HTTP/1.1 100 Continue\r\n\r\n");
    const auto refused = post("8.8.8.8, 10.0.0.1");
    EXPECT_THAT(refused, testing::StartsWith("HTTP/1.1 429 Too Many Requests\r\n"));
    EXPECT_THAT(refused, HasSubstr("\r\nRetry-After: 1000\r\n"));
    EXPECT_EQ(post("10.0.0.2"), "HTTP/1.1 100 Continue\r\n\r\n");
    for (int health = 0; health < 2; ++health) {
        RawClient client(port, "GET /health HTTP/1.1\r\nHost: localhost\r\n\r\n");
        EXPECT_THAT(client.readUntil("}"), HasSubstr(" 200 OK"));
    }
    EXPECT_EQ(collector.store.requests({}).total, 0U);
    EXPECT_THAT(
        collector.metrics.text(),
        HasSubstr("zentara_collector_requests_total{service=\"event\",status=\"429\"} 1\n"));
}

TEST_F(FrontTest, GarbageIsNotCached) {
    Front front(collector.targets(), {.services = true});
    HttpServer server(front);
    const int port = server.listen("127.0.0.1", 0);
    const std::string get = "GET /schemas HTTP/1.1\r\nHost: localhost\r\nConnection: close\r\n\r\n";
    EXPECT_THAT(RawClient(port, get).readToEnd(), HasSubstr("\r\nETag: "));
    Fault fault;
    fault.answer = Fault::Answer::garbage;
    collector.faults.set(Service::schemas, fault);
    const auto answer = RawClient(port, get).readToEnd();
    EXPECT_THAT(answer, HasSubstr(" 200 OK"));
    EXPECT_THAT(answer, testing::Not(HasSubstr("\r\nETag: ")));
}

}  // namespace
}  // namespace zentara::collector
