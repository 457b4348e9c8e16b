#include "collector/Options.h"

#include <gmock/gmock.h>

namespace zentara::collector {
namespace {

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
    };
    for (const auto& [arguments, message] : cases) {
        testing::internal::CaptureStderr();
        const auto parsed = parse(arguments);
        EXPECT_THAT(testing::internal::GetCapturedStderr(), testing::HasSubstr(message));
        EXPECT_FALSE(parsed.options);
        EXPECT_EQ(parsed.exitCode, exitUsage);
    }
}

TEST(CollectorOptionsTest, OtherMachinesNeedTheirOption) {
    EXPECT_TRUE(parse({"--host", "0.0.0.0", "--reachable-from-the-network"}).options);
    for (const char* host : {"127.0.0.1", "127.8.9.10", "::1", "0:0:0:0:0:0:0:1", "localhost"})
        EXPECT_TRUE(parse({"--host", host}).options) << host;
}

}  // namespace
}  // namespace zentara::collector
