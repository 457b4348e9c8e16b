#include "collector/Ports.h"

#include <gmock/gmock.h>
#include <zentara/CollectorClient.h>

#include <thread>

#include "apps/collector/RunningCollector.h"
#include "apps/collector/Samples.h"
#include "apps/collector/http/RawClient.h"
#include "support/TestServer.h"

namespace zentara::collector {
namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;
using testing::MatchesRegex;

class PortsTest : public testing::Test {
  protected:
    PortsTest() {
        options.port = options.httpsPort = 0;
        options.https = false;
        options.quiet = true;
    }

    /// Starts; the URLs that it prints, by the first word of their lines.
    std::vector<std::string> start() {
        ports.emplace(options, collector.targets(), log);
        testing::internal::CaptureStdout();
        ports->listen();
        std::istringstream lines(testing::internal::GetCapturedStdout());
        std::vector<std::string> words;
        for (std::string word, url; lines >> word >> url; words.push_back(word))
            urls.push_back(url);
        return words;
    }

    static int portOf(const std::string& url) { return std::stoi(url.substr(url.rfind(':') + 1)); }

    static std::string answerOf(const std::string& url, const std::string& path) {
        RawClient client(portOf(url), "GET " + path + " HTTP/1.1\r\nHost: localhost\r\n\r\n");
        return client.readUntil("}");
    }

    RunningCollector collector;
    Options options;
    RequestLog log{LogFormat::text};
    std::vector<std::string> urls;
    std::optional<Ports> ports;
};

TEST_F(PortsTest, EverythingIsOnOnePortByDefault) {
    EXPECT_EQ(start(), std::vector<std::string>{"listening"});
    for (const char* path : {"/received/summary", "/health", "/schemas"})
        EXPECT_THAT(answerOf(urls[0], path), HasSubstr(" 200 OK"));
    EXPECT_THAT(RawClient(portOf(urls[0]), "GET / HTTP/1.1\r\nHost: x.example\r\n\r\n").readToEnd(),
                HasSubstr(" 421 "));
}

TEST_F(PortsTest, ReachableCollectorKeepsThePageToItself) {
    options.service.isReachable = true;
    options.service.pagePort = 0;
    options.service.metrics = {"127.0.0.1", 0};
    EXPECT_EQ(start(), (std::vector<std::string>{"listening", "page", "metrics"}));
    for (const char* host : {"localhost", "x.example"}) {
        const std::string rest = std::string(" HTTP/1.1\r\nHost: ") + host + "\r\n\r\n";
        EXPECT_THAT(RawClient(portOf(urls[0]), "GET /id" + rest).readUntil("}"),
                    HasSubstr(" 200 "));
        EXPECT_THAT(RawClient(portOf(urls[0]), "GET /metrics" + rest).readUntil("}"),
                    HasSubstr(" 404 "));
    }
    EXPECT_THAT(answerOf(urls[1], "/received/summary"), HasSubstr(" 200 OK"));
    EXPECT_THAT(answerOf(urls[2], "/received/summary"), HasSubstr(" 404 "));
    EXPECT_THAT(answerOf(urls[2], "/health"), HasSubstr(" 200 OK"));
}

TEST_F(PortsTest, StopDrainsOpenRequestsInItsTime) {
    options.service.pagePort = 0;
    options.service.drain = test::generousTimeout;
    start();
    const std::string body = samples::envelope(samples::action("a", "u1"));
    const std::string head =
        "POST /event HTTP/1.1\r\nHost: localhost\r\nContent-Type: application/json\r\n"
        "Expect: 100-continue\r\nContent-Length: " +
        std::to_string(body.size()) + "\r\n\r\n";
    RawClient open(portOf(urls[0]), head);
    open.readUntil("\r\n\r\n");
    {
        std::jthread stopping([this] {
            collector.health.beginStop();
            ports->stop();
        });
        EXPECT_TRUE(test::eventually([this] { return !RawClient(portOf(urls[0])).send("GET "); }));
        EXPECT_THAT(answerOf(urls[1], "/health/ready"), HasSubstr(" 503 "));
        open.send(body);
        EXPECT_THAT(open.readToEnd(),
                    testing::EndsWith("Connection: close\r\n\r\n{\"received\":1}"));
    }
    EXPECT_EQ(collector.store.summary().events, 1U);

    options.service.drain = 0ms;
    urls.clear();
    start();
    RawClient silent(portOf(urls[0]), head);
    silent.readUntil("\r\n\r\n");
    const auto begin = std::chrono::steady_clock::now();
    ports->stop();
    EXPECT_LT(std::chrono::steady_clock::now() - begin, HttpTimeouts().stop);
    EXPECT_EQ(silent.readToEnd(), "HTTP/1.1 100 Continue\r\n\r\n");
}

TEST_F(PortsTest, RenewedCertificateIsUsedBrokenIsNot) {
    const test::TestAuthority first, second;
    const auto certificate = collector.folder.path() / "tls" / "certificate.pem";
    const auto key = collector.folder.path() / "tls" / "key.pem";
    const auto put = [&](const Certificate& one, const Certificate& other) {
        test::writeTo(certificate, one.certificateText());
        test::writeTo(key, other.keyText());
    };
    const auto isServedBy = [&](const test::TestAuthority& authority) {
        try {
            return CollectorClient(urls[1], authority.file()).get("/health").at("ready") == true;
        } catch (const CollectorError&) {
            return false;
        }
    };
    const auto old = first.issue(), renewed = second.issue();
    put(old, old);
    options.https = true;
    options.service.certificate = certificate.string();
    options.service.key = key.string();
    EXPECT_EQ(start(), (std::vector<std::string>{"listening", "listening"}));
    EXPECT_TRUE(isServedBy(first));

    put(renewed, old);
    ports->reloadCertificate();
    EXPECT_TRUE(isServedBy(first));
    put(renewed, renewed);
    ports->refreshCertificate();
    EXPECT_TRUE(isServedBy(first)) << "the files may still change";
    ports->refreshCertificate();
    EXPECT_TRUE(test::eventually([&] { return isServedBy(second); }));
    EXPECT_FALSE(isServedBy(first));
    std::filesystem::remove(key);
    ports->reloadCertificate();
    EXPECT_TRUE(isServedBy(second));
}

}  // namespace
}  // namespace zentara::collector
