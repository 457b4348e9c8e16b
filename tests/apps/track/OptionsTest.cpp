#include "track/Options.h"

#include <gmock/gmock.h>

#include <utility>
#include <vector>

namespace zentara::track {
namespace {

ParsedOptions parse(std::vector<const char*> arguments) {
    arguments.insert(arguments.begin(), "zentara-track");
    return parseOptions(static_cast<int>(arguments.size()), arguments.data());
}

TEST(OptionsTest, TokenOfALoggedUserMayHoldColons) {
    const auto user = parseLoggedUser("EXT_ID:a:b").value();
    EXPECT_EQ(user.type, UserTokenType::externalId);
    EXPECT_EQ(user.token, "a:b");
    for (const char* text : {"", "GST", "GST:", ":a", "gst:a"})
        EXPECT_FALSE(parseLoggedUser(text)) << text;
}

TEST(OptionsTest, InvalidOptionGivesTheUsageExitCode) {
    const std::pair<std::vector<const char*>, const char*> cases[] = {
        {{"--logged-user", "x"}, "QVNID:TOKEN, GST:TOKEN or EXT_ID:TOKEN is expected"},
        {{"--environment", "staging"}, "--environment"},
        {{"--ready-timeout", "-1"},
         "--ready-timeout: seconds from 0 to 1000000 are expected, not -1"},
        {{"--drain-timeout", "1h"},
         "--drain-timeout: seconds from 0 to 1000000 are expected, not 1h"},
    };
    for (const auto& [arguments, message] : cases) {
        testing::internal::CaptureStderr();
        EXPECT_EQ(parse(arguments).exitCode, exitUsage);
        EXPECT_THAT(testing::internal::GetCapturedStderr(), testing::HasSubstr(message));
    }
}

}  // namespace
}  // namespace zentara::track
