#include <zentara/ClientSettings.h>
#include <zentara/ZentaraEndpoints.h>

#include <gtest/gtest.h>

#include <zentara/ZentaraClient.h>
#include "facade/ClientSettingsAccess.h"

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
    EXPECT_EQ(settings->clientType, "mobile");
    EXPECT_EQ(settings->clientVersion, "3.3.0");
    EXPECT_EQ(settings->deviceGroup, "iOS");
    EXPECT_EQ(settings->eventLabel, "event");
    EXPECT_EQ(settings->schemasPath, "schemas");
    EXPECT_EQ(settings->idPath, "id");
    EXPECT_EQ(settings->eventsStorageName, "events-storage");
    EXPECT_EQ(settings->unvalidatedEventsStorageName, "unvalidated-events-storage");
    EXPECT_EQ(settings->schemasStorageName, "zentara-schemas-storage");
    EXPECT_EQ(settings->anonymousTokenStorageName, "anonymous-token-storage");
    EXPECT_EQ(settings->dispatchBatchSize, 10);
    EXPECT_EQ(settings->maxEvents, 8000);
    EXPECT_EQ(settings->dispatchInterval, 10.0);
    EXPECT_EQ(settings->schemasRefreshInterval, 10.0);
    EXPECT_EQ(settings->identityRefreshInterval, 5.0);
}

TEST(ClientSettings, RawValuesOutsideTheEnumerationsGiveNothing) {
    EXPECT_EQ(zentaraEnvironment(0), ZentaraEnvironment::production);
    EXPECT_EQ(zentaraEnvironment(1), ZentaraEnvironment::qa);
    EXPECT_EQ(userTokenType(2), UserTokenType::externalId);
    for (const std::int64_t raw : {-1, 2, 100})
        EXPECT_EQ(zentaraEnvironment(raw), std::nullopt);
    for (const std::int64_t raw : {-1, 3, 100})
        EXPECT_EQ(userTokenType(raw), std::nullopt);
    EXPECT_EQ(userTokenTypeName(UserTokenType::qvnId), "QVNID");
    EXPECT_EQ(userTokenTypeName(UserTokenType::guest), "GST");
    EXPECT_EQ(userTokenTypeName(UserTokenType::externalId), "EXT_ID");
    EXPECT_DEATH(static_cast<void>(userTokenTypeName(static_cast<UserTokenType>(3))), "token type");
}

TEST(ZentaraEndpoints, SelectsByEnvironmentAndRefusesWhatIsNoWebAddress) {
    const auto defaults = ZentaraEndpoints::current();
    ZentaraEndpoints::use(
        {"https://a.example", "http://b.example", "https://c.example/x", "http://d.example", ""});
    EXPECT_EQ(ZentaraEndpoints::collector(ZentaraEnvironment::production).host(), "a.example");
    EXPECT_EQ(ZentaraEndpoints::collector(ZentaraEnvironment::qa).host(), "b.example");
    EXPECT_EQ(ZentaraEndpoints::schemas(ZentaraEnvironment::production).host(), "c.example");
    EXPECT_EQ(ZentaraEndpoints::schemas(ZentaraEnvironment::qa).host(), "d.example");
    for (const char* wrong : {"", "example.com", "ftp://example.com", "http://a b"}) {
        auto endpoints = defaults;
        endpoints.qaCollector = wrong;
        EXPECT_DEATH(ZentaraEndpoints::use(endpoints), "not an http or https URL");
    }
    ZentaraEndpoints::use(defaults);
}

}  // namespace
}  // namespace zentara
