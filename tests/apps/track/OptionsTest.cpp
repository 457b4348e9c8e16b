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

TEST(OptionsTest, OnePlaceServesForSchemasAndPreferencesUnlessOthersAreNamed) {
    const auto one = parse({"--collector", "http://c", "--documents", "/d"}).options;
    ASSERT_TRUE(one);
    EXPECT_EQ(one->schemas, "http://c");
    EXPECT_EQ(one->preferences, "/d");
    EXPECT_EQ(one->input, "-");
    const auto two = parse({"--collector", "http://c", "--schemas", "http://s", "--documents", "/d",
                            "--preferences", "/p", "--environment", "production"})
                         .options;
    ASSERT_TRUE(two);
    EXPECT_EQ(two->schemas, "http://s");
    EXPECT_EQ(two->preferences, "/p");
    EXPECT_EQ(two->environment, ZentaraEnvironment::production);
}

TEST(OptionsTest, ALoggedUserIsATypeAndATokenThatMayHoldColons) {
    const auto user = parseLoggedUser("EXT_ID:a:b");
    ASSERT_TRUE(user);
    EXPECT_EQ(user->type, UserTokenType::externalId);
    EXPECT_EQ(user->token, "a:b");
    for (const char* text : {"", "GST", "GST:", ":a", "gst:a", "OTHER:a"}) {
        EXPECT_FALSE(parseLoggedUser(text)) << text;
    }
}

TEST(OptionsTest, AMistakeIsToldByTheExitCodeOfUsage) {
    testing::internal::CaptureStderr();
    testing::internal::CaptureStdout();
    EXPECT_EQ(parse({"--logged-user", "x"}).exitCode, exitUsage);
    EXPECT_EQ(parse({"--environment", "staging"}).exitCode, exitUsage);
    EXPECT_EQ(parse({"--ready-timeout", "-1"}).exitCode, exitUsage);
    EXPECT_EQ(parse({"--nonsense"}).exitCode, exitUsage);
    EXPECT_FALSE(parse({"--nonsense"}).options);
    EXPECT_EQ(parse({"--help"}).exitCode, exitComplete);
    EXPECT_FALSE(parse({"--help"}).options);
    testing::internal::GetCapturedStdout();
    testing::internal::GetCapturedStderr();
}

}  // namespace
}  // namespace zentara::track
