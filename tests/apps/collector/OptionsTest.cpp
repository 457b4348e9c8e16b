#include <gmock/gmock.h>

#include <atomic>

#include "collector/Faults.h"
#include "collector/Options.h"
#include "support/WaitFor.h"

namespace zentara::collector {
namespace {

using testing::HasSubstr;
using testing::VariantWith;

TEST(FaultsTest, FaultAffectsItsShareOfTheRequests) {
    Faults faults(1);
    faults.set(Service::event,
               std::get<Fault>(readFault(R"({"answer":"lost","rate":0.25,"times":1000000})")));
    std::atomic<std::uint64_t> met = 0;
    test::inThreads(4, [&](int) {
        for (int request = 0; request < 250'000; ++request)
            met += faults.next(Service::event) ? 1 : 0;
    });
    EXPECT_NEAR(static_cast<double>(met), 250'000, 5 * 433.0);  // five standard deviations
    EXPECT_EQ(faults.current(Service::event)->times, 1'000'000 - met);
}

TEST(FaultsTest, InvalidFaultIsExplained) {
    const std::pair<const char*, const char*> bodies[] = {
        {"", "JSON object"},
        {R"({"sttus":500})", "no member \"sttus\""},
        {R"({"answer":null})", "answer is one of"},
        {R"({"status":199})", "status is an integer from 200 to 599"},
        {R"({"rate":1.01})", "rate is a number from 0 to 1"},
        {R"({"times":0})", "times is an integer of at least 1"},
        {R"({"latency":1e300})", "latency is an integer from 0 to 600000"},
        {R"({"readingPace":-1})", "readingPace is an integer of at least 1"},
    };
    for (const auto& [body, reason] : bodies)
        EXPECT_THAT(readFault(body), VariantWith<std::string>(HasSubstr(reason))) << body;
    const std::pair<const char*, const char*> options[] = {
        {"", "begins with schemas:, id:, event: or all:"},
        {"events:status=500", "not \"events\""},
        {"event", "has settings"},
        {"event:lost", "\"lost\" has no value"},
        {"event:rate=nan", "rate is a number"},
    };
    for (const auto& [option, reason] : options)
        EXPECT_THAT(readFaultOption(option), VariantWith<std::string>(HasSubstr(reason))) << option;
}

ParsedOptions parse(std::vector<const char*> arguments) {
    arguments.insert(arguments.begin(), "zentara-collector");
    return parseOptions(static_cast<int>(arguments.size()), arguments.data());
}

TEST(CollectorOptionsTest, UsageErrorNamesTheOption) {
    const std::pair<std::vector<const char*>, const char*> cases[] = {
        {{"--host", "0.0.0.0"}, "--reachable-from-the-network"},
        {{"--host", "example.com"}, "--reachable-from-the-network"},
        {{"--schemas", "/there/is/no/such/folder"}, "--schemas"},
        {{"--port", "65536"}, "--port: a port from 0 to 65535 is expected, not 65536"},
        {{"--fault", "pages:status=500"}, "pages"},
        {{"--quiet", "expect"}, "expect is the first argument, or none"},
        {{"--page-port", "-1"}, "--page-port: a port from 0 to 65535 is expected, not -1"},
        {{"--metrics", "9100"}, "--metrics: HOST:PORT is expected, not 9100"},
        {{"--certificate", "/dev/null"}, "--certificate requires --key"},
        {{"--key", "/dev/null"}, "--key requires --certificate"},
        {{"--certificate", "/dev/null", "--key", "/dev/null", "--no-https"}, "is for HTTPS"},
        {{"--drain", "-1"}, "--drain: a number of seconds up to 86400 is expected, not -1"},
        {{"--connections-per-address", "1.5"}, "a number from 1 on is expected, not 1.5"},
        {{"--requests-per-address", "5/m"}, "a number above 0, or N/s, is expected, not 5/m"},
        {{"--trusted-proxy", "proxy"}, "--trusted-proxy: an IP address is expected, not proxy"},
        {{"--log", "xml"}, "--log: text or json is expected, not xml"},
    };
    for (const auto& [arguments, message] : cases) {
        testing::internal::CaptureStderr();
        const auto parsed = parse(arguments);
        EXPECT_THAT(testing::internal::GetCapturedStderr(), testing::HasSubstr(message));
        EXPECT_FALSE(parsed.options);
        EXPECT_EQ(parsed.exitCode, exitUsage);
    }
}

TEST(CollectorOptionsTest, ForeignAddressesNeedAnOption) {
    EXPECT_TRUE(parse({"--host", "0.0.0.0", "--reachable-from-the-network"}).options);
    for (const char* host : {"127.0.0.1", "127.8.9.10", "::1", "0:0:0:0:0:0:0:1", "localhost"})
        EXPECT_TRUE(parse({"--host", host}).options) << host;
}

TEST(CollectorOptionsTest, ServiceOptionsAreRead) {
    const auto plain = parse({}).options->service;
    EXPECT_EQ(plain.pagePort, std::nullopt);
    EXPECT_EQ(plain.names(), HostNames::byAddress);
    EXPECT_EQ(parse({"--reachable-from-the-network"}).options->service.pagePort, 8081);
    EXPECT_EQ(parse({"--reachable-from-the-network", "--port", "0"}).options->service.pagePort, 0);
    const auto all = parse({"--reachable-from-the-network", "--page-port", "9001", "--metrics",
                            "[::1]:9100", "--drain", "2.5", "--connections-per-address", "7",
                            "--requests-per-address", "0.5/s", "--trusted-proxy", "10.0.0.1",
                            "--trusted-proxy", "2001:DB8::0:1", "--log", "json"})
                         .options->service;
    EXPECT_EQ(all.names(), HostNames::any);
    EXPECT_EQ(all.pagePort, 9001);
    EXPECT_EQ(all.metrics, std::pair(std::string("::1"), 9100));
    EXPECT_EQ(all.drain, std::chrono::milliseconds(2500));
    EXPECT_EQ(all.connectionsPerAddress, 7U);
    EXPECT_EQ(all.requestsPerAddress, 0.5);
    EXPECT_EQ(all.trustedProxies, (std::vector<std::string>{"10.0.0.1", "2001:db8::1"}));
    EXPECT_TRUE(all.logsJSON);
}

}  // namespace
}  // namespace zentara::collector
