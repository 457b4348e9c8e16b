#include "track/Options.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <vector>

namespace zentara::track {
namespace {

ParsedOptions parse(std::initializer_list<const char*> arguments) {
    std::vector<const char*> argv{"zentara-track"};
    argv.insert(argv.end(), arguments);
    return parseOptions(static_cast<int>(argv.size()), argv.data());
}

TEST(OptionsTest, ALoggedUserIsATypeAndATokenThatMayHoldColons) {
    const auto user = parseLoggedUser("EXT_ID:a:b").value();
    EXPECT_EQ(user.type, UserTokenType::externalId);
    EXPECT_EQ(user.token, "a:b");
    for (const char* text : {"", "GST", "GST:", ":a", "gst:a"})
        EXPECT_FALSE(parseLoggedUser(text)) << text;
}

TEST(OptionsTest, AMistakeIsToldByTheExitCodeOfUsage) {
    testing::internal::CaptureStderr();
    EXPECT_EQ(parse({"--logged-user", "x"}).exitCode, exitUsage);
    EXPECT_EQ(parse({"--environment", "staging"}).exitCode, exitUsage);
    EXPECT_EQ(parse({"--ready-timeout", "-1"}).exitCode, exitUsage);
    testing::internal::GetCapturedStderr();
}

}  // namespace
}  // namespace zentara::track
