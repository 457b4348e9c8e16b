#include <zentara/ClientSettings.h>
#include <zentara/ZentaraEndpoints.h>

#include <gtest/gtest.h>

#include <zentara/ZentaraClient.h>
#include "support/ClientSettingsAccess.h"

namespace zentara {
namespace {

TEST(ClientSettings, UseSettingsReplacesTheWholeRecord) {
    ClientSettingsAccess::setCurrent(nullptr);
    EXPECT_FALSE(ClientSettingsAccess::setAdvertisingId("x"));
    ZentaraClient::useSettings("first", ZentaraEnvironment::production, "ad");
    const auto first = ClientSettings::current();
    EXPECT_TRUE(ClientSettingsAccess::setAdvertisingId("other"));
    EXPECT_EQ(ClientSettings::current()->advertisingId, "other");
    EXPECT_EQ(first->advertisingId, "ad") << "a record never changes";

    ZentaraClient::useSettings("second \xFF", ZentaraEnvironment::qa);
    const auto settings = ClientSettings::current();
    ClientSettingsAccess::setCurrent(nullptr);
    EXPECT_EQ(settings->tenant, "second \xEF\xBF\xBD");
    EXPECT_EQ(settings->environment, ZentaraEnvironment::qa);
    EXPECT_EQ(settings->advertisingId, std::nullopt);
}

TEST(ClientSettings, RawValuesOutsideTheEnumerationsGiveNothing) {
    for (const std::int64_t raw : {-1, 0, 1, 2, 3}) {
        EXPECT_EQ(zentaraEnvironment(raw).has_value(), raw == 0 || raw == 1);
        EXPECT_EQ(userTokenType(raw).has_value(), 0 <= raw && raw <= 2);
    }
    EXPECT_EQ(zentaraEnvironment(1), ZentaraEnvironment::qa);
    EXPECT_EQ(userTokenTypeName(userTokenType(0).value()), "QVNID");
    EXPECT_EQ(userTokenTypeName(userTokenType(1).value()), "GST");
    EXPECT_EQ(userTokenTypeName(userTokenType(2).value()), "EXT_ID");
    EXPECT_DEATH(static_cast<void>(userTokenTypeName(static_cast<UserTokenType>(3))), "token type");
    EXPECT_DEATH(ZentaraClient::useSettings("tenant", static_cast<ZentaraEnvironment>(2)),
                 "there is no environment 2");
}

TEST(ZentaraEndpoints, SelectsByEnvironmentAndRefusesNonURLs) {
    const auto defaults = ZentaraEndpoints::current();
    ZentaraEndpoints::use(
        {"https://a.test", "http://b.test", "https://c.test", "http://d.test", ""});
    EXPECT_EQ(ZentaraEndpoints::collector(ZentaraEnvironment::production).host(), "a.test");
    EXPECT_EQ(ZentaraEndpoints::collector(ZentaraEnvironment::qa).host(), "b.test");
    EXPECT_EQ(ZentaraEndpoints::schemas(ZentaraEnvironment::production).host(), "c.test");
    EXPECT_EQ(ZentaraEndpoints::schemas(ZentaraEnvironment::qa).host(), "d.test");
    for (const char* wrong : {"", "example.com", "ftp://example.com", "http://a b"}) {
        auto endpoints = defaults;
        endpoints.qaCollector = wrong;
        EXPECT_DEATH(ZentaraEndpoints::use(endpoints), "not an http or https URL");
    }
    ZentaraEndpoints::use(defaults);
}

}  // namespace
}  // namespace zentara
