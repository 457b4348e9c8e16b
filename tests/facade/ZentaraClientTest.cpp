#include <zentara/ZentaraClient.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <ctime>

#include "model/EventDecoder.h"
#include "support/ClientCalls.h"
#include "support/ClientSettingsAccess.h"
#include "support/Files.h"
#include "support/SampleEvents.h"
#include "support/Services.h"
#include "support/TestHost.h"

namespace zentara {
namespace {

using namespace test;
using testing::ElementsAre;

struct SendResult {
    EventRef event;
    ZentaraClientErrorRef error;
};

std::string messageOf(const SendResult& outcome) {
    return outcome.error ? outcome.error->what() : "queued";
}

class ZentaraClientTest : public testing::Test {
  protected:
    ZentaraClientTest() {
        resetClient();
        TestHost::useServer(services_.url());
    }
    ~ZentaraClientTest() override {
        resetClient();
        expectBalanced(ZentaraClient::statistics());
    }

    static std::shared_ptr<ZentaraClient> readyClient() {
        auto client = getClient();
        EXPECT_TRUE(ZentaraClient::isReady());
        return client;
    }

    /// A client that has an identity and can dispatch.
    static std::shared_ptr<ZentaraClient> dispatchingClient() {
        auto client = readyClient();
        auto hsid = fetchHsid(*client);
        // A fetch that began while the service failed reports nothing.
        while (hsid == "")
            hsid = fetchHsid(*client);
        EXPECT_EQ(hsid, "session");
        return client;
    }

    static SendResult send(ZentaraClient& client, const std::string& schema,
                           JSONObject properties) {
        std::vector<SendResult> outcomes;
        client.send(schema, "1", "application/json", "https://example.com/a",
                    "https://from.example", std::move(properties), "relation",
                    [&](EventRef event, ZentaraClientErrorRef error) {
                        outcomes.push_back({std::move(event), std::move(error)});
                    });
        EXPECT_EQ(outcomes.size(), 1U);
        return outcomes.at(0);
    }

    [[nodiscard]] std::vector<std::string> schemasIn(const std::string& file) const {
        std::vector<std::string> ids;
        for (const auto& event : decodeEvents(contentsOf(host_.file(file))).events) {
            ids.push_back(event.id());
        }
        return ids;
    }

    /// A member of each posted event.
    [[nodiscard]] std::vector<JSONValue> posted(const char* member) const {
        std::vector<JSONValue> values;
        for (const auto& action : services_.actions())
            values.push_back(action.at(member));
        return values;
    }

    TestHost host_;
    Services services_;
};

TEST_F(ZentaraClientTest, RefusedEventTakesNoNumber) {
    const auto client = readyClient();
    resetClient();
    ClientSettingsAccess::setCurrent(nullptr);
    const auto outcome = send(*client, "any", {});
    EXPECT_NE(dynamic_cast<const ZentaraClientNotInitializedError*>(outcome.error.get()), nullptr);
    TestHost::configure();
    ZentaraClient::setIsReady(true);
    ASSERT_EQ(messageOf(send(*client, "any", {})), "queued");
    const auto queued = decodeEvents(contentsOf(host_.file("events-storage"))).events;
    EXPECT_EQ(queued.at(0).fields().zentaraActionSequence, 1);
}

TEST_F(ZentaraClientTest, HandlerReceivesTheOutcome) {
    // Without an identity nothing is dispatched.
    services_.idStatus = 500;
    const auto client = readyClient();
    JSONValue deep = JSONArray();
    for (int i = 0; i < 600; ++i)
        deep = JSONArray{std::move(deep)};
    const std::tuple<const char*, JSONObject, const char*> cases[] = {
        {"view", {{"title", "Home"}, {"n", 1}}, "queued"},
        {"view",
         {{"n", 1.5}},
         "Data not valid for specified Schema. Error validating view-1 schema: "
         "Required properties are missing '[\"title\"]', '1.5' is not of type 'integer'"},
        {"nowhere", {}, "Unknown error"},
        {"any", {{"x", std::nan("")}}, "Event Not Queued"},
        {"any", {{"x", deep}}, "Event Not Queued"},
        {"any", {{"x", std::string(1'000'000, 'x')}}, "queued"},
        {"any", {{"broken \xFF", "\xC0"}}, "queued"},
    };
    std::size_t queued = 0;
    const auto before = ZentaraClient::statistics().refusedNotEncodable;
    for (const auto& [schema, properties, message] : cases) {
        const auto outcome = send(*client, schema, properties);
        EXPECT_EQ(messageOf(outcome), message);
        EXPECT_EQ(outcome.event->schemaId(), schema);
        EXPECT_EQ(outcome.event->referer().string(), "");
        EXPECT_EQ(outcome.event->relationId(), "relation");
        if (!outcome.error) ++queued;
        EXPECT_EQ(schemasIn("events-storage").size(), queued);
    }
    EXPECT_EQ(ZentaraClient::statistics().refusedNotEncodable, before + 2);
}

TEST_F(ZentaraClientTest, EventsAreHeldBackWithoutSchemas) {
    services_.schemasStatus = 503;
    std::shared_ptr<ZentaraClient> client;
    const auto error =
        valueFrom<ZentaraClientErrorRef>([&](auto report) { client = ZentaraClient::get(report); });
    EXPECT_NE(dynamic_cast<const SchemasInitializationError*>(error.value().get()), nullptr);
    bool calledAtOnce = false;
    EXPECT_EQ(ZentaraClient::get([&](const auto& none) { calledAtOnce = none == nullptr; }),
              client);
    EXPECT_TRUE(calledAtOnce);

    ZentaraClient::setLoggedUser(UserTokenType::guest, "secret");
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    EXPECT_EQ(messageOf(send(*client, "view", {{"title", 5}})),
              "Zentara Client is not Ready! Event queued to be sent later: view.");
    EXPECT_EQ(messageOf(send(*client, "bad", {{"x", std::nan("")}})),
              "Zentara Client is not Ready! Event not queued: bad.");
    const auto output =
        testing::internal::GetCapturedStdout() + testing::internal::GetCapturedStderr();
    EXPECT_NE(output.find("Event queued to be sent later: view."), std::string::npos);
    EXPECT_EQ(output.find("secret"), std::string::npos) << output;
    EXPECT_THAT(schemasIn("unvalidated-events-storage"), ElementsAre("view"));
    EXPECT_THAT(schemasIn("events-storage"), ElementsAre());
}

TEST_F(ZentaraClientTest, ReadinessFollowsTheSharedClient) {
    const auto old = readyClient();
    auto settings = std::make_shared<ClientSettings>(*ClientSettings::current());
    settings->schemasRefreshInterval = 3600;
    ClientSettingsAccess::setCurrent(settings);
    const auto asked = std::make_shared<Signal>();
    const auto release = std::make_shared<Signal>();
    const auto hang = [asked, release] {
        asked->notify();
        EXPECT_TRUE(release->waitFor());
    };
    services_.beforeAnswering(hang, "/schemas");
    ZentaraClient::setSharedClient(nullptr);
    const auto reports = std::make_shared<Mailbox<bool>>();
    const auto report = [reports](const ZentaraClientErrorRef& error) {
        reports->put(!error);
    };
    const auto slow = ZentaraClient::get(report);
    ASSERT_TRUE(asked->waitFor());
    EXPECT_TRUE(ZentaraClient::isReady()) << "building a client leaves it unchanged";
    EXPECT_EQ(messageOf(send(*slow, "any", {})),
              "Zentara Client is not Ready! Event queued to be sent later: any.");
    ZentaraClient::setIsReady(true);
    EXPECT_EQ(messageOf(send(*slow, "any", {})), "Unknown error") << "the host has set it";

    services_.beforeAnswering({}, "/schemas");
    services_.schemasStatus = 503;
    ZentaraClient::setSharedClient(nullptr);
    const auto failed = ZentaraClient::get(report);
    EXPECT_EQ(reports->waitFor(), false);
    EXPECT_FALSE(ZentaraClient::isReady());
    services_.schemasStatus = 200;
    release->notify();
    EXPECT_EQ(reports->waitFor(1), true);
    EXPECT_FALSE(ZentaraClient::isReady()) << "the client is no longer shared";
    for (const auto& client : {old, failed, slow}) {
        ZentaraClient::setSharedClient(client);
        EXPECT_EQ(ZentaraClient::isReady(), client != failed);
    }
    EXPECT_EQ(messageOf(send(*slow, "any", {})), "queued");
}

TEST_F(ZentaraClientTest, RevalidatesHeldBackEventsTenAtATime) {
    const auto client = dispatchingClient();
    ZentaraClient::setIsReady(false);
    for (int n = 1; n <= 9; ++n)
        send(*client, "any", {{"n", n}});
    send(*client, "view", {{"title", false}});
    send(*client, "nowhere", {});
    send(*client, "any", {{"n", 12}});
    EXPECT_EQ(schemasIn("unvalidated-events-storage").size(), 12U);

    ZentaraClient::setIsReady(true);
    EXPECT_EQ(messageOf(send(*client, "view", {{"title", "new"}})), "queued");
    EXPECT_THAT(schemasIn("unvalidated-events-storage"), ElementsAre("nowhere", "any"));
    EXPECT_EQ(messageOf(send(*client, "view", {{"title", 5}})).substr(0, 14), "Data not valid");
    EXPECT_THAT(schemasIn("unvalidated-events-storage"), ElementsAre());
    drain(*client);
    EXPECT_THAT(posted("zentaraActionSequence"), ElementsAre(1, 2, 3, 4, 5, 6, 7, 8, 9, 13, 12));
}

TEST_F(ZentaraClientTest, StampsAndPostsAnEvent) {
    HostApplication::setBundleIdentifier("com.example.app");
    ZentaraClient::useSettings("tenant", ZentaraEnvironment::qa, "ad-1");
    const auto client = dispatchingClient();
    const auto context = client->getContextId();
    const JSONObject properties{{"title", "a/b"}, {"list", {1, 2.0, nullptr}}};
    ASSERT_EQ(messageOf(send(*client, "view", properties)), "queued");
    drain(*client);

    client->newContextId();
    EXPECT_NE(client->getContextId(), context);
    client->removeAdvertisingId();
    EXPECT_EQ(ClientSettings::current()->advertisingId, std::nullopt);
    ZentaraClient::setLoggedUser(UserTokenType::externalId, "user-7");
    client->send("any", "1", "text/plain", 42, nullptr, {});
    drain(*client);

    client->setAdvertisingId("ad-2");
    EXPECT_EQ(ClientSettings::current()->advertisingId, "ad-2");
    ZentaraClient::removeLoggedUser();
    client->send("any", "1", "text/plain", "u", "r", {});
    ZentaraClient::useSettings("other \xFF", ZentaraEnvironment::qa);
    drain(*client);

    const auto posts = services_.requests("/event");
    ASSERT_EQ(posts.size(), 3U);
    EXPECT_EQ(posts[0].header("User-Agent"),
              "Mobile App: com.example.app - TestOS 1.2 - ZentaraClient " ZENTARA_VERSION
              " - Device Model: Model3");
    EXPECT_EQ(posts[0].method, "POST");
    EXPECT_EQ(posts[0].header("Content-Type"), "application/json");
    EXPECT_EQ(posts[0].header("Cookie"), "qvn_uid=anon;hsid=session;ADVERTISING_ID=ad-1;");
    EXPECT_EQ(posts[1].header("Cookie"), "qvn_uid=anon;EXT_ID=user-7;hsid=session;");
    EXPECT_EQ(posts[2].header("Cookie"), "qvn_uid=anon;hsid=session;ADVERTISING_ID=ad-2;");
    EXPECT_EQ(parseJSON(posts[2].body)->at("zentaraClientTenant"), "other \xEF\xBF\xBD");

    auto first = services_.actions().at(0);
    const auto uuid = std::string(first.at("zentaraActionUUID").string());
    for (const auto& id : {uuid, context})
        EXPECT_THAT(id, testing::MatchesRegex("[0-9a-f]{8}-[0-9a-f]{4}-4[0-9a-f]{3}-[89ab]"
                                              "[0-9a-f]{3}-[0-9a-f]{12}"));
    EXPECT_NEAR(first.at("actionTs").asDouble().value(),
                1000.0 * static_cast<double>(std::time(nullptr)), 60'000);
    first.erase("zentaraActionUUID");
    first.erase("actionTs");
    auto expected = JSONValue::parse(R"({"id":"view","version":"1","url":"https://example.com/a",
        "contentType":"application/json","zentaraClientVersion":")" ZENTARA_VERSION R"(",
        "zentaraClientReferer":"https://from.example","zentaraRelationId":"relation",
        "zentaraActionSequence":1,"zentaraActionExtraAttributes":""})");
    expected.object()["properties"] = properties;
    expected.object()["zentaraClientContextID"] = context;
    EXPECT_EQ(first, expected);

    const auto second = services_.actions().at(1);
    EXPECT_EQ(second.at("url"), "42");
    EXPECT_EQ(second.at("zentaraClientReferer"), "");
    EXPECT_EQ(second.at("zentaraRelationId"), nullptr);
    EXPECT_EQ(second.at("zentaraActionSequence"), 2);
    EXPECT_NE(second.at("zentaraClientContextID"), JSONValue(context));
}

TEST_F(ZentaraClientTest, CachedSchemasMakeTheClientReadyInGet) {
    writeTo(host_.file("zentara-schemas-storage"), "[" + std::string(Services::table) + "]");
    std::vector<std::string> calls;
    // Later reports come on a worker and must not use the locals.
    const auto isFirst = std::make_shared<std::atomic<bool>>(true);
    const auto client = ZentaraClient::get([&, isFirst](const ZentaraClientErrorRef& error) {
        if (!isFirst->exchange(false)) return;
        calls.push_back(error ? "not ready" : "ready");
        calls.push_back(messageOf(send(*ZentaraClient::get(), "any", {})));
    });
    EXPECT_THAT(calls, ElementsAre("ready", "queued"));
    EXPECT_EQ(ZentaraClient::sharedClient(), client);
}

TEST_F(ZentaraClientTest, SlowCallbackDelaysCallbacksOnly) {
    const auto before = ZentaraClient::statistics().delivered;
    const auto entered = std::make_shared<Signal>();
    const auto release = std::make_shared<Signal>();
    const auto calls = std::make_shared<Mailbox<std::string>>();
    const auto client = ZentaraClient::get([=](const ZentaraClientErrorRef&) {
        entered->notify();
        EXPECT_TRUE(release->waitFor());
        calls->put("ready");
    });
    ASSERT_TRUE(entered->waitFor());
    client->getHsid([calls](const std::string& hsid) { calls->put(hsid); });
    ASSERT_EQ(messageOf(send(*client, "any", {})), "queued");
    EXPECT_TRUE(eventually([&] {
        client->performFetch(nullptr);
        return ZentaraClient::statistics().delivered == before + 1;
    }));
    client->performFetch([calls](BackgroundFetchResult result) {
        calls->put(result == BackgroundFetchResult::noData ? "none" : "some");
    });
    EXPECT_EQ(calls->values(), std::vector<std::string>{"none"}) << "performFetch has called it";
    release->notify();
    EXPECT_EQ(calls->waitFor(1), "ready");
    EXPECT_EQ(calls->waitFor(2), "session") << "callbacks keep their order";
}

TEST_F(ZentaraClientTest, ConcurrentFirstCallsYieldOneClient) {
    std::vector<std::shared_ptr<ZentaraClient>> clients(8);
    inThreads(8, [&](int number) {
        clients[static_cast<std::size_t>(number)] = ZentaraClient::get([](const auto&) {});
    });
    EXPECT_THAT(clients, testing::Each(clients.front()));
    EXPECT_NE(clients.front(), nullptr);
}

TEST_F(ZentaraClientTest, NewClientSharesTheQueueOfTheOld) {
    const auto old = dispatchingClient();
    send(*old, "any", {{"n", 1}});
    const auto release = std::make_shared<Signal>();
    services_.beforeAnswering([release] { EXPECT_TRUE(release->waitFor()); });
    const auto results = std::make_shared<Mailbox<BackgroundFetchResult>>();
    old->performFetch([results](BackgroundFetchResult result) { results->put(result); });
    EXPECT_TRUE(eventually([&] { return services_.requests("/event").size() == 1; }));
    // Without an identity the new client does not dispatch, and what is queued stays.
    services_.idStatus = 500;
    std::filesystem::remove(host_.file("anonymous-token-storage"));
    resetClient();
    const auto client = readyClient();
    EXPECT_NE(client, old);
    release->notify();
    EXPECT_EQ(results->waitFor(), BackgroundFetchResult::newData);
    EXPECT_EQ(messageOf(send(*client, "any", {{"n", 2}})), "queued");
    EXPECT_EQ(schemasIn("events-storage").size(), 1U) << "the batch in flight was not restored";
}

TEST_F(ZentaraClientTest, ChangedFoldersDoNotMoveTheClock) {
    const auto client = readyClient();
    HostApplication::setPreferencesDirectory(host_.documents() / "elsewhere");
    send(*client, "any", {});
    const auto queued = decodeEvents(contentsOf(host_.file("events-storage"))).events;
    EXPECT_GT(queued.at(0).fields().createdAt, 1'600'000'000'000);
}

TEST(ZentaraEndpoints, SelectsByEnvironment) {
    const auto defaults = ZentaraEndpoints::current();
    ZentaraEndpoints::use(
        {"https://a.test", "http://b.test", "https://c.test", "http://d.test", ""});
    EXPECT_EQ(ZentaraEndpoints::collector(ZentaraEnvironment::production).host(), "a.test");
    EXPECT_EQ(ZentaraEndpoints::collector(ZentaraEnvironment::qa).host(), "b.test");
    EXPECT_EQ(ZentaraEndpoints::schemas(ZentaraEnvironment::production).host(), "c.test");
    EXPECT_EQ(ZentaraEndpoints::schemas(ZentaraEnvironment::qa).host(), "d.test");
    ZentaraEndpoints::use(defaults);
}

}  // namespace
}  // namespace zentara
