#include "schemas/SchemasProvider.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "dispatch/storage/FileStorage.h"
#include "facade/ZentaraClientBuilder.h"
#include "schemas/SchemasServiceApi.h"
#include "support/ClientSettingsAccess.h"
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
        return SchemasProvider::create(
            std::make_unique<SchemasStorage>(systemFiles(), "schemas"),
            std::make_unique<ManualTicker>(ticker_),
            std::make_unique<SchemasServiceApi>(ZentaraClientBuilder::schemasService()),
            ClientSettings::current, [reports = reports_](ZentaraClientErrorRef error) {
                reports->put(error ? error->what() : "ready");
            });
    }

    /// What it reports, the `index`th time in all, after an answer of the service.
    std::string reportAfter(const std::string& body, std::size_t index, int status = 200) {
        server_.respond(TestAnswer{status, body});
        ticker_.fire();
        return reports_->waitFor(index).value_or("nothing");
    }

    static constexpr const char* failed = "Zentara client can not get schemas";

    TestHost host_;
    ManualTicker ticker_;
    std::shared_ptr<Mailbox<std::string>> reports_ = std::make_shared<Mailbox<std::string>>();
    TestServer server_;
};

TEST_F(SchemasProviderTest, FetchesUntilThereIsATable) {
    const auto provider = makeProvider();
    EXPECT_TRUE(reports_->values().empty());
    EXPECT_EQ(ticker_.runningInterval(), 10.0);
    std::size_t index = 0;
    for (const char* const body : {"[1,2]", "", "{\"a\":"})
        EXPECT_EQ(reportAfter(body, index++), failed) << body;
    EXPECT_EQ(provider->schema("ab", "1"), nullptr);
    EXPECT_TRUE(ticker_.isRunning());
    EXPECT_TRUE(isFailing(Component::schemas));

    EXPECT_EQ(reportAfter(R"({"ab-1":{"title":"Ab"},"text-1":"no schema"})", index), "ready");
    EXPECT_FALSE(isFailing(Component::schemas));
    const auto* const schema = provider->schema("ab", "1");
    ASSERT_NE(schema, nullptr);
    EXPECT_EQ(schema->title(), "Ab");
    EXPECT_EQ(provider->schema("ab", "2"), nullptr);
    EXPECT_EQ(provider->schema("text", "1"), nullptr);
    EXPECT_TRUE(eventually([&] { return !ticker_.isRunning(); }));
    EXPECT_EQ(server_.requests().back().method, "GET");
    EXPECT_EQ(server_.requests().back().target, "/schemas");
    EXPECT_TRUE(namesIn(host_.documents()).empty()) << "the cache is only ever read";
}

TEST_F(SchemasProviderTest, AnswersFromTheCacheWhileTheServiceIsDown) {
    writeTo(host_.file("schemas"), R"([{"ab-1":{"minProperties":1}},{"cd-1":{}}])");
    const auto provider = makeProvider();
    EXPECT_EQ(reports_->values(), std::vector<std::string>{"ready"});
    EXPECT_EQ(reportAfter(R"({"ef-1":{}})", 1, 503), failed);
    EXPECT_NE(provider->schema("ab", "1"), nullptr);
    EXPECT_EQ(provider->schema("cd", "1"), nullptr) << "only the first table counts";
    EXPECT_EQ(reportAfter(R"({"ef-1":{}})", 2), "ready");
    EXPECT_EQ(provider->schema("ab", "1"), nullptr) << "the fetched table replaces the cached one";
    EXPECT_NE(provider->schema("ef", "1"), nullptr);
}

TEST_F(SchemasProviderTest, TableIsReplacedDuringValidation) {
    const auto table = [](const char* type) {
        return std::string(R"({"ab-1":{"properties":{"a":{"pattern":"^x+$","type":")") + type +
               R"("}}}})";
    };
    writeTo(host_.file("schemas"), "[" + table("string") + "]");
    const auto provider = makeProvider();
    const JSONValue value = {{"a", "xx"}};
    std::atomic<bool> isReplaced = false;
    std::vector<std::jthread> threads;
    for (int i = 0; i < 3; ++i) {
        threads.emplace_back([&] {
            while (!isReplaced)
                (void)provider->schema("ab", "1")->validate(value);
            EXPECT_FALSE(provider->schema("ab", "1")->validate(value).valid());
        });
    }
    EXPECT_EQ(reportAfter(table("null"), 1), "ready");
    isReplaced = true;
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
    SchemasServiceApi(ZentaraClientBuilder::schemasService()).fetch([done](const auto&) {
        done->notify();
    });
    ASSERT_TRUE(done->waitFor());
    EXPECT_EQ(reports_->values().size(), 1U);
}

TEST_F(SchemasProviderTest, EmptyCacheIsReportedUnreadableIsNot) {
    writeTo(host_.file("schemas"), "[]");
    auto provider = makeProvider();
    EXPECT_EQ(reports_->values(), std::vector<std::string>{failed});
    ClientSettingsAccess::setCurrent(nullptr);
    ticker_.fire();
    EXPECT_EQ(reports_->values(), std::vector<std::string>(2, failed));
    writeTo(host_.file("schemas"), "[{");
    provider.reset();
    provider = makeProvider();
    EXPECT_FALSE(ticker_.isRunning());
    EXPECT_EQ(reports_->values().size(), 2U);
}

}  // namespace
}  // namespace zentara
