#include "collector/Options.h"

#include <gmock/gmock.h>

namespace zentara::collector {
namespace {

ParsedOptions parse(std::vector<const char*> arguments) {
    arguments.insert(arguments.begin(), "zentara-collector");
    return parseOptions(static_cast<int>(arguments.size()), arguments.data());
}

TEST(CollectorOptionsTest, WhatIsNotUnderstoodIsAUsageErrorThatNamesIt) {
    const struct {
        std::vector<const char*> arguments;
        const char* message;
    } cases[] = {
        {{"--host", "0.0.0.0"}, "--reachable-from-the-network"},
        {{"--host", "::"}, "--reachable-from-the-network"},
        {{"--host", "example.com"}, "--reachable-from-the-network"},
        {{"--port", "65536"}, "--port"},
        {{"--schemas", "/there/is/no/such/folder"}, "--schemas"},
        {{"--fault", "pages:status=500"}, "pages"},
        {{"--fault", "event:status=five"}, "status"},
    };
    for (const auto& each : cases) {
        testing::internal::CaptureStderr();
        const auto parsed = parse(each.arguments);
        EXPECT_THAT(testing::internal::GetCapturedStderr(), testing::HasSubstr(each.message));
        EXPECT_FALSE(parsed.options);
        EXPECT_EQ(parsed.exitCode, exitUsage);
    }
}

TEST(CollectorOptionsTest, AFreePortForOneIsAFreePortForBoth) {
    EXPECT_EQ(parse({}).options->httpsPort, 8443);
    EXPECT_EQ(parse({"--port", "0"}).options->httpsPort, 0);
    EXPECT_EQ(parse({"--port", "0", "--https-port", "9443"}).options->httpsPort, 9443);
}

TEST(CollectorOptionsTest, OtherMachinesAreLetInWhenThatIsSaid) {
    EXPECT_TRUE(parse({"--host", "0.0.0.0", "--reachable-from-the-network"}).options);
    for (const char* host : {"127.0.0.1", "127.8.9.10", "::1", "localhost"})
        EXPECT_TRUE(parse({"--host", host}).options) << host;
}

TEST(CollectorOptionsTest, FaultsAddUp) {
    const auto faults = parse({"--fault", "event:status=500,rate=0.5", "--fault", "all:latency=20"})
                            .options->faults;
    ASSERT_EQ(faults.size(), 4U);
    EXPECT_EQ(faults[0].second.status, 500);
    EXPECT_EQ(faults[3].second.latency, 20);
}

}  // namespace
}  // namespace zentara::collector
