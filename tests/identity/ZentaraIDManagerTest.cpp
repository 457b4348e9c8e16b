#include "identity/ZentaraIDManager.h"

#include <gtest/gtest.h>

#include <deque>

#include "dispatch/storage/FileStorage.h"
#include "support/Files.h"
#include "support/ManualTicker.h"
#include "support/RecordingSession.h"
#include "support/TestHost.h"

namespace zentara {
namespace {

using namespace test;

class ZentaraIDManagerTest : public testing::Test {
  protected:
    std::shared_ptr<ZentaraIDManager> makeManager() {
        return ZentaraIDManager::create(
            {"agent",
             std::make_unique<FileStorage<Token>>(systemFiles(), "token"),
             std::make_unique<ManualTicker>(ticker_),
             {[this] { return settings_; },
              [](auto) { return URL::parse("http://id.test/base").value(); }, RestClient(session_)},
             [this] { ++ready_; },
             [this] {
                 return now_;
             }});
    }

    /// The report of one fetch, if there is one.
    static std::optional<std::string> fetch(ZentaraIDManager& manager) {
        std::optional<std::string> reported;
        manager.start([&](const std::string& hsid) { reported = hsid; });
        return reported;
    }

    static std::optional<std::string> cookieOf(const ZentaraIDManager& manager,
                                               const std::optional<ExtraCookie>& extra = {}) {
        const auto headers = manager.getHeaders(extra);
        const auto cookie = headers.find("Cookie");
        return cookie == headers.end() ? std::nullopt : std::optional(cookie->second);
    }

    /// From now on answers come at the call of `end`, with the number of the request.
    void hang() {
        session_.respond([this](const URLRequest&, URLSession::Completion done) {
            hanging_.push_back(std::move(done));
        });
    }
    void end(std::size_t index, int status, const char* body) {
        hanging_.at(index)(URLResponse{status, body});
    }

    static constexpr const char* whole = R"({"qvn_uid":"t1","qvn_uid_public":"p1","hsid":"h1"})";

    TestHost host_;
    RecordingSession session_;
    std::shared_ptr<const ClientSettings> settings_ = ClientSettings::current();
    ManualTicker ticker_;
    TickerProtocol::Clock::time_point now_;
    int ready_ = 0;
    std::deque<URLSession::Completion> hanging_;
};

TEST_F(ZentaraIDManagerTest, TokenIsFetchedStoredAndRenewed) {
    session_.respond(200, whole);
    const auto manager = makeManager();
    EXPECT_FALSE(manager->isReady());
    EXPECT_EQ(fetch(*manager), "h1");
    EXPECT_TRUE(manager->isReady());
    EXPECT_EQ(ready_, 1);
    EXPECT_EQ(cookieOf(*manager), "qvn_uid=t1;hsid=h1;");

    // A token that cannot be stored is used in this run.
    std::filesystem::create_directories(host_.file(".token.new"));
    session_.respond(200, R"({"qvn_uid":"t2","qvn_uid_public":"p2","hsid":"h2"})");
    EXPECT_EQ(fetch(*manager), "h2");
    EXPECT_TRUE(isFailing(Component::storage));
    EXPECT_EQ(cookieOf(*manager), "qvn_uid=t2;hsid=h2;");
    EXPECT_EQ(contentsOf(host_.file("token")),
              R"([{"type":"qvn_uid","value":"t1","publicValue":"p1"}])");

    const auto& request = session_.requests().at(0);
    EXPECT_EQ(request.method + " " + request.url.string(), "GET http://id.test/base/id");
    EXPECT_EQ(session_.header(0, "Cookie"), std::nullopt);
    EXPECT_EQ(session_.header(1, "Cookie"), "qvn_uid=t1;");
}

TEST_F(ZentaraIDManagerTest, FailedFetchReportsAnEmptySession) {
    const auto manager = makeManager();
    session_.respond(500);
    EXPECT_EQ(fetch(*manager), "");
    session_.respond(200, R"({"qvn_uid_public":"p3","hsid":"h3"})");
    EXPECT_EQ(fetch(*manager), "h3");
    EXPECT_EQ(lastFailure(Component::identity).text,
              "request to 'id.test' failed: the answer holds no anonymous token");
    settings_ = nullptr;
    EXPECT_EQ(fetch(*manager), "");
    EXPECT_EQ(lastFailure(Component::identity).text, "the library is not configured");
    EXPECT_EQ(session_.requests().size(), 2U) << "no request without settings";
}

TEST_F(ZentaraIDManagerTest, PartsOfAResponseAreUsed) {
    const std::pair<const char*, const char*> cookies[] = {
        {R"({"qvn_uid":"t2","qvn_uid_public":"p2"})", "qvn_uid=t2;"},
        {R"({"qvn_uid":"t2","qvn_uid_public":5,"hsid":7})", "qvn_uid=t1;"},
        {R"({"hsid":"h2"})", "qvn_uid=t1;hsid=h2;"},
    };
    for (const auto& [response, cookie] : cookies) {
        session_.respond(200, whole);
        const auto manager = makeManager();
        ASSERT_EQ(fetch(*manager), "h1");
        session_.respond(200, response);
        manager->start(nullptr);
        EXPECT_EQ(cookieOf(*manager), cookie) << response;
    }
}

TEST_F(ZentaraIDManagerTest, PendingFetchIsSharedForItsInterval) {
    hang();
    const auto manager = makeManager();
    std::vector<std::string> hsids;
    const auto note = [&](const std::string& hsid) {
        hsids.push_back(hsid);
    };
    EXPECT_EQ(ticker_.runningInterval(), 5.0);
    ticker_.fire();
    now_ += std::chrono::milliseconds(4499);
    manager->start(note);
    EXPECT_EQ(hanging_.size(), 1U);
    now_ += std::chrono::milliseconds(1);
    ticker_.fire();
    manager->start(note);
    EXPECT_EQ(hanging_.size(), 2U);
    end(1, 500, "{}");
    EXPECT_TRUE(ticker_.isRunning());
    EXPECT_EQ(hsids, std::vector<std::string>{""}) << "a failure is reported to its own callers";

    ticker_.fire();
    end(2, 200, whole);
    EXPECT_EQ(hsids, (std::vector<std::string>{"", "h1"}))
        << "the first success is reported to all";
    EXPECT_FALSE(ticker_.isRunning());
    end(0, 200, R"({"qvn_uid":"t9","qvn_uid_public":"p9"})");
    EXPECT_EQ(cookieOf(*manager), "qvn_uid=t1;hsid=h1;") << "a late response is ignored";
    EXPECT_EQ(hsids.size(), 2U);
}

TEST_F(ZentaraIDManagerTest, ForgetIgnoresAnswersOfOlderFetches) {
    hang();
    const auto manager = makeManager();
    ticker_.fire();
    end(0, 200, whole);
    manager->setLoggedUser(UserTokenType::externalId, "user");
    std::vector<std::string> hsids;
    manager->start([&](const std::string& hsid) { hsids.push_back(hsid); });
    writeTo(host_.file(".token.new"), "left by a kill");

    ASSERT_TRUE(manager->forget().ok());
    EXPECT_EQ(hsids, std::vector<std::string>{""});
    EXPECT_EQ(manager->getLoggedUser(), std::nullopt);
    end(1, 200, R"({"qvn_uid":"t2","qvn_uid_public":"p2","hsid":"h2"})");
    EXPECT_EQ(cookieOf(*manager), std::nullopt);
    EXPECT_EQ(namesIn(host_.documents()), std::set<std::string>());
    EXPECT_EQ(ticker_.runningInterval(), 5.0);
    ticker_.fire();
    EXPECT_EQ(session_.header(2, "Cookie"), std::nullopt);
    end(2, 200, whole);
    std::filesystem::remove(host_.file("token"));
    writeTo(host_.file("token/other"), "");
    EXPECT_FALSE(manager->forget().ok());
    EXPECT_EQ(cookieOf(*manager), std::nullopt);
}

TEST_F(ZentaraIDManagerTest, ClosedSessionIsNoFailure) {
    hang();
    const auto manager = makeManager();
    ticker_.fire();
    session_.close("consent is pending");
    hanging_.at(0)(Status(plainError("consent is pending")));
    ticker_.fire();
    EXPECT_EQ(fetch(*manager), "");
    EXPECT_EQ(session_.requests().size(), 1U);
    EXPECT_FALSE(isFailing(Component::identity));

    session_.open();
    std::string hsid = "not called";
    manager->start([&](const std::string& reported) { hsid = reported; });
    manager->stop();
    EXPECT_EQ(hsid, "");
    manager->resume();
    EXPECT_FALSE(ticker_.isRunning());
    manager->start(nullptr);
    EXPECT_EQ(session_.requests().size(), 2U);
}

TEST_F(ZentaraIDManagerTest, HeadersHoldTheCookiesInOrder) {
    session_.respond(200, whole);
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
    // No server ends a cookie at these characters.
    const std::string odd = "a, \"b c\" {d:1}=\\ \xc3\xa9%";
    manager->setAdvertisingId(odd);
    EXPECT_EQ(cookieOf(*manager), "qvn_uid=t1;hsid=h1;ADVERTISING_ID=" + odd + ";");
    manager->removeAdvertisingId();
    session_.respond(200, R"({"qvn_uid":"t;hsid=forged","qvn_uid_public":"p","hsid":"h\r\nX: 1"})");
    ASSERT_TRUE(fetch(*manager));
    EXPECT_EQ(cookieOf(*manager), std::nullopt);
    ASSERT_TRUE(fetch(*manager));
    EXPECT_EQ(session_.header(2, "Cookie"), std::nullopt);
}

}  // namespace
}  // namespace zentara
