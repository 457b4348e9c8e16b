#include "support/UUID.h"

#include <gmock/gmock.h>

namespace zentara {
namespace {

TEST(UUIDTest, IsRandomAndOfVersionFour) {
    const auto uuid = lowerCaseUUID();
    EXPECT_THAT(uuid, testing::MatchesRegex(
                          "[0-9a-f]{8}-[0-9a-f]{4}-4[0-9a-f]{3}-[89ab][0-9a-f]{3}-[0-9a-f]{12}"));
    EXPECT_NE(lowerCaseUUID(), uuid);
}

}  // namespace
}  // namespace zentara
