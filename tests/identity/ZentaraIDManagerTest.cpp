#include "identity/ZentaraIDManager.h"

#include <gtest/gtest.h>

#include "dispatch/storage/FileStorage.h"
#include "facade/ClientSettingsAccess.h"
#include "support/Files.h"
#include "support/ManualTicker.h"
#include "support/TestHost.h"
#include "support/TestServer.h"
#include "support/WaitFor.h"

namespace zentara {
namespace {

using namespace test;

class ZentaraIDManagerTest : public testing::Test {
  protected:
    ZentaraIDManagerTest() { TestHost::useServer(server_.url("/base")); }

    std::shared_ptr<ZentaraIDManager> makeManager() {
        return ZentaraIDManager::create(
            "agent", std::make_unique<FileStorage<Token>>("token"),
            std::make_unique<ManualTicker>(ticker_), [ready = ready_] { ready->notify(); },
            [now = now_] { return *now; });
    }

    void answer(std::string body, int status = 200) {
        server_.respond(TestAnswer{.status = status, .body = std::move(body), .headers = {}});
    }

    /// What one fetch reports.
    static std::optional<std::string> fetch(ZentaraIDManager& manager) {
        return valueFrom<std::string>([&](auto done) { manager.start(done); });
    }

    static std::optional<std::string> cookieOf(const ZentaraIDManager& manager,
                                               const std::optional<ExtraCookie>& extra = {}) {
        const auto headers = manager.getHeaders(extra);
        const auto cookie = headers.find("Cookie");
        return cookie == headers.end() ? std::nullopt : std::optional(cookie->second);
    }

    static constexpr const char* whole = R"({"qvn_uid":"t1","qvn_uid_public":"p1","hsid":"h1"})";

    TestHost host_;
    ManualTicker ticker_;
    std::shared_ptr<TickerProtocol::Clock::time_point> now_ =
        std::make_shared<TickerProtocol::Clock::time_point>();
    std::shared_ptr<Signal> ready_ = std::make_shared<Signal>();
    TestServer server_;
};

TEST_F(ZentaraIDManagerTest, FetchesStoresAndRenewsTheAnonymousToken) {
    answer(whole);
    const auto manager = makeManager();
    EXPECT_FALSE(manager->isReady());
    EXPECT_EQ(fetch(*manager), "h1");
    EXPECT_TRUE(manager->isReady());
    EXPECT_EQ(ready_->count(), 1U);
    EXPECT_EQ(cookieOf(*manager), "qvn_uid=t1;hsid=h1;");

    // A token that cannot be stored serves this run.
    std::filesystem::create_directories(host_.file(".token.new"));
    answer(R"({"qvn_uid":"t2","qvn_uid_public":"p2","hsid":"h2"})");
    EXPECT_EQ(fetch(*manager), "h2");
    EXPECT_TRUE(isFailing(Component::storage));
    EXPECT_EQ(cookieOf(*manager), "qvn_uid=t2;hsid=h2;");
    EXPECT_EQ(contentsOf(host_.file("token")),
              R"([{"type":"qvn_uid","value":"t1","publicValue":"p1"}])");

    const auto requests = server_.requests();
    EXPECT_EQ(requests.at(0).method + " " + requests.at(0).target, "GET /base/id");
    EXPECT_EQ(requests.at(0).header("Cookie"), std::nullopt);
    EXPECT_EQ(requests.at(1).header("Cookie"), "qvn_uid=t1;");
}

TEST_F(ZentaraIDManagerTest, StartsWithTheStoredToken) {
    writeTo(host_.file("token"), R"([{"type":"qvn_uid","value":"t0","publicValue":"p0"},)"
                                 R"({"type":"qvn_uid","value":"x","publicValue":"y"}])");
    const auto manager = makeManager();
    EXPECT_EQ(ready_->count(), 1U);
    EXPECT_EQ(cookieOf(*manager), "qvn_uid=t0;");
}

TEST_F(ZentaraIDManagerTest, AFailedFetchReportsAnEmptySession) {
    const auto manager = makeManager();
    answer("{}", 500);
    EXPECT_EQ(fetch(*manager), "");
    answer("[]");
    EXPECT_EQ(fetch(*manager), "") << "not an object";
    answer(R"({"qvn_uid_public":"p3","hsid":"h3"})");
    EXPECT_EQ(fetch(*manager), "h3");
    EXPECT_EQ(lastFailure(Component::identity).text,
              "request to 'localhost' failed: the answer holds no anonymous token");
    ClientSettingsAccess::setCurrent(nullptr);
    EXPECT_EQ(fetch(*manager), "");
    EXPECT_EQ(server_.requests().size(), 3U) << "without settings there is none";
}

TEST_F(ZentaraIDManagerTest, TakesFromAResponseWhatIsThere) {
    const std::pair<const char*, const char*> cookies[] = {
        {R"({"qvn_uid":"t2","qvn_uid_public":"p2"})", "qvn_uid=t2;"},
        {R"({"qvn_uid":"t2","qvn_uid_public":5,"hsid":7})", "qvn_uid=t1;"},
        {R"({"hsid":"h2"})", "qvn_uid=t1;hsid=h2;"},
    };
    for (const auto& [response, cookie] : cookies) {
        answer(whole);
        const auto manager = makeManager();
        ASSERT_EQ(fetch(*manager), "h1");
        answer(response);
        manager->start(nullptr);
        EXPECT_TRUE(eventually([&, wanted = cookie] { return cookieOf(*manager) == wanted; }))
            << response;
    }
}

TEST_F(ZentaraIDManagerTest, AHangingFetchIsSharedForItsInterval) {
    Signal release;
    server_.respond([&](const RecordedRequest&) {
        EXPECT_TRUE(release.waitFor());
        return TestAnswer{.body = R"({"qvn_uid":"t9","qvn_uid_public":"p9"})", .headers = {}};
    });
    auto manager = makeManager();
    const auto hsids = std::make_shared<Mailbox<std::string>>();
    const auto note = [hsids](const std::string& hsid) {
        hsids->put(hsid);
    };
    EXPECT_EQ(ticker_.runningInterval(), 5.0);
    ticker_.fire();
    EXPECT_TRUE(server_.waitForRequest());
    *now_ += std::chrono::milliseconds(4000);
    manager->start(note);

    answer("{}", 500);
    *now_ += std::chrono::milliseconds(999);
    ticker_.fire();
    EXPECT_TRUE(eventually([&] { return manager.use_count() == 2; })) << "by the first fetch";
    EXPECT_TRUE(ticker_.isRunning());
    manager->start(note);
    EXPECT_EQ(hsids->waitFor(), "") << "a failure is for its own callers";

    answer(whole);
    ticker_.fire();
    EXPECT_EQ(hsids->waitFor(1), "h1") << "the first success serves all";
    EXPECT_TRUE(eventually([&] { return !ticker_.isRunning(); }));
    EXPECT_EQ(server_.requests().size(), 4U);
    release.notify();
    EXPECT_TRUE(eventually([&] { return manager.use_count() == 1; }));
    EXPECT_EQ(cookieOf(*manager), "qvn_uid=t1;hsid=h1;") << "a second identity came too late";
    EXPECT_EQ(hsids->values().size(), 2U);
}

TEST_F(ZentaraIDManagerTest, HeadersHoldTheCookiesInTheirOrder) {
    answer(whole);
    const auto manager = makeManager();
    ASSERT_EQ(fetch(*manager), "h1");
    manager->setAdvertisingId("ad/1");
    EXPECT_EQ(cookieOf(*manager, ExtraCookie{"GST", "user"}),
              "qvn_uid=t1;GST=user;hsid=h1;ADVERTISING_ID=ad/1;");
    using namespace std::string_literals;
    for (const auto& forged : {"a\r\nX-Forged: 1"s, "a\nb"s, "a\rb"s, "a\0b"s, "a\x0b"s, "a\x7f"s,
                               "a;hsid=forged"s, ";"s}) {
        manager->setAdvertisingId(forged);
        EXPECT_EQ(cookieOf(*manager, ExtraCookie{"GST", forged}), "qvn_uid=t1;hsid=h1;");
        EXPECT_EQ(cookieOf(*manager, ExtraCookie{forged, "user"}), "qvn_uid=t1;hsid=h1;");
    }
    for (const auto* name : {"", " hsid", "a=b", "a b", "a,b", "\"a", "\xc3\xa9"})
        EXPECT_EQ(cookieOf(*manager, ExtraCookie{name, "user"}), "qvn_uid=t1;hsid=h1;") << name;
    // No server ends a cookie at these.
    const std::string odd = "a, \"b c\" {d:1}=\\ \xc3\xa9%";
    manager->setAdvertisingId(odd);
    EXPECT_EQ(cookieOf(*manager), "qvn_uid=t1;hsid=h1;ADVERTISING_ID=" + odd + ";");
    manager->removeAdvertisingId();
    answer(R"({"qvn_uid":"t;hsid=forged","qvn_uid_public":"p","hsid":"h\r\nX: 1"})");
    ASSERT_TRUE(fetch(*manager));
    EXPECT_EQ(cookieOf(*manager), std::nullopt);
    ASSERT_TRUE(fetch(*manager));
    EXPECT_EQ(server_.requests().at(2).header("Cookie"), std::nullopt);
}

}  // namespace
}  // namespace zentara
