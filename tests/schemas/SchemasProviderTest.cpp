#include "schemas/SchemasProvider.h"

#include <gtest/gtest.h>

#include "dispatch/SchemasStorage.h"
#include "facade/ClientSettingsAccess.h"
#include "schemas/SchemasServiceApi.h"
#include "support/Files.h"
#include "support/ManualTicker.h"
#include "support/TestHost.h"
#include "support/TestServer.h"
#include "support/WaitFor.h"

namespace zentara {
namespace {

using namespace test;

class SchemasProviderTest : public testing::Test {
  protected:
    SchemasProviderTest() { TestHost::useServer(server_.url()); }

    std::shared_ptr<SchemasProvider> makeProvider() {
        return SchemasProvider::create(std::make_unique<SchemasStorage>("schemas"),
                                       std::make_unique<ManualTicker>(ticker_),
                                       std::make_unique<SchemasServiceApi>(),
                                       [reports = reports_](ZentaraClientErrorRef error) {
                                           reports->put(error ? error->what() : "ready");
                                       });
    }

    void answer(std::string body, int status = 200) {
        TestAnswer answer;
        answer.status = status;
        answer.body = std::move(body);
        server_.respond(answer);
    }

    static constexpr const char* failed = "Zentara client can not get schemas";

    TestHost host_;
    TickerView ticker_;
    std::shared_ptr<Mailbox<std::string>> reports_ = std::make_shared<Mailbox<std::string>>();
    TestServer server_;
};

TEST_F(SchemasProviderTest, FetchesOnceWithoutACache) {
    answer(R"({"ab-1":{"type":"object"},"text-1":"no schema"})");
    const auto provider = makeProvider();
    EXPECT_TRUE(reports_->values().empty());
    EXPECT_EQ(ticker_.runningInterval(), 10.0);
    EXPECT_EQ(provider->schema("ab", "1"), nullptr);
    ticker_.fire();
    EXPECT_EQ(reports_->waitFor(), "ready");
    const auto document = provider->schema("ab", "1");
    ASSERT_NE(document, nullptr);
    EXPECT_EQ(*document, (JSONObject{{"type", "object"}}));
    EXPECT_EQ(provider->schema("ab", "2"), nullptr);
    EXPECT_EQ(provider->schema("text", "1"), nullptr);
    EXPECT_TRUE(eventually([&] { return !ticker_.isRunning(); }));
    const auto requests = server_.requests();
    ASSERT_EQ(requests.size(), 1U);
    EXPECT_EQ(requests[0].method, "GET");
    EXPECT_EQ(requests[0].target, "/schemas");
    EXPECT_TRUE(namesIn(host_.documents()).empty()) << "the cache is only ever read";
}

TEST_F(SchemasProviderTest, AnswersFromTheCacheWhileTheServiceIsDown) {
    writeTo(host_.file("schemas"), R"([{"ab-1":{"minProperties":1}},{"cd-1":{}}])");
    answer("unavailable", 503);
    const auto provider = makeProvider();
    EXPECT_EQ(reports_->values(), std::vector<std::string>{"ready"});
    for (std::size_t attempt = 1; attempt <= 2; ++attempt) {
        ticker_.fire();
        EXPECT_EQ(reports_->waitFor(attempt), failed);
        EXPECT_NE(provider->schema("ab", "1"), nullptr);
        EXPECT_EQ(provider->schema("cd", "1"), nullptr) << "only the first table counts";
        EXPECT_TRUE(ticker_.isRunning());
    }
    answer(R"({"ef-1":{}})");
    ticker_.fire();
    EXPECT_EQ(reports_->waitFor(3), "ready");
    EXPECT_EQ(provider->schema("ab", "1"), nullptr) << "the fetched table replaces the cached one";
    EXPECT_NE(provider->schema("ef", "1"), nullptr);
}

TEST_F(SchemasProviderTest, ReportsAnEmptyCacheAndKeepsSilentAboutAnUnreadableOne) {
    writeTo(host_.file("schemas"), "[]");
    static_cast<void>(makeProvider());
    EXPECT_EQ(reports_->values(), std::vector<std::string>{failed});
    writeTo(host_.file("schemas"), "[{");
    static_cast<void>(makeProvider());
    EXPECT_EQ(reports_->values().size(), 1U);
}

TEST_F(SchemasProviderTest, ResponsesThatAreNoTableAreFailures) {
    const auto provider = makeProvider();
    std::size_t attempt = 0;
    for (const char* body : {"[1,2]", "", "5", "{\"a\":", "<html>"}) {
        answer(body);
        ticker_.fire();
        EXPECT_EQ(reports_->waitFor(attempt++), failed) << body;
    }
    EXPECT_TRUE(ticker_.isRunning());
}

TEST_F(SchemasProviderTest, ALateFailureDoesNotUndoASuccess) {
    Signal release;
    std::atomic<int> count = 0;
    server_.respond([&](const RecordedRequest&) {
        TestAnswer answer;
        if (++count == 1) {
            EXPECT_TRUE(release.waitFor());
            answer.status = 500;
        }
        return answer;
    });
    const auto provider = makeProvider();
    ticker_.fire();
    ASSERT_TRUE(server_.waitForRequest());
    ticker_.fire();
    EXPECT_EQ(reports_->waitFor(), "ready");
    release.notify();
    // The next exchange ends after the late one, whose report would have come first.
    const auto done = std::make_shared<Signal>();
    SchemasServiceApi().fetch([done](const auto&, const ErrorRef&) { done->notify(); });
    ASSERT_TRUE(done->waitFor());
    EXPECT_EQ(reports_->values().size(), 1U);
}

TEST_F(SchemasProviderTest, WithoutSettingsItDoesNotFetch) {
    ClientSettingsAccess::setCurrent(nullptr);
    const auto unconfigured = makeProvider();
    EXPECT_FALSE(ticker_.isRunning());
    TestHost::configure();
    const auto provider = makeProvider();
    ClientSettingsAccess::setCurrent(nullptr);
    ticker_.fire();
    EXPECT_EQ(reports_->values(), std::vector<std::string>{failed});
}

}  // namespace
}  // namespace zentara
