#include "collector/data/Cookies.h"

#include <gmock/gmock.h>

namespace zentara::collector {
namespace {

using testing::ElementsAre;
using testing::Pair;

TEST(CookiesTest, EntriesAreReadInOrderAndOddOnesSkipped) {
    EXPECT_THAT(parseCookies("qvn_uid=a=b;GST=;; novalue ;=x; \t hsid=1 "),
                ElementsAre(Pair("qvn_uid", "a=b"), Pair("GST", ""), Pair("hsid", "1")));
    EXPECT_THAT(parseCookies(" ;"), ElementsAre());
}

}  // namespace
}  // namespace zentara::collector
