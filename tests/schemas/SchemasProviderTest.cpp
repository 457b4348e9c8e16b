#include "schemas/SchemasProvider.h"

#include <gtest/gtest.h>

#include <atomic>
#include <deque>
#include <thread>

#include "dispatch/storage/FileStorage.h"
#include "schemas/SchemasServiceApi.h"
#include "support/Files.h"
#include "support/ManualTicker.h"
#include "support/RecordingSession.h"
#include "support/TestHost.h"

namespace zentara {
namespace {

using namespace test;

class SchemasProviderTest : public testing::Test {
  protected:
    std::shared_ptr<SchemasProvider> makeProvider() {
        const RemoteService service{[this] { return settings_; },
                                    [](auto) { return URL::parse("http://qa.test/base").value(); },
                                    RestClient(session_)};
        return SchemasProvider::create(std::make_unique<SchemasStorage>(systemFiles(), "schemas"),
                                       std::make_unique<ManualTicker>(ticker_),
                                       std::make_unique<SchemasServiceApi>(service),
                                       service.settings, [this](ZentaraClientErrorRef error) {
                                           reports_.push_back(error ? error->what() : "ready");
                                       });
    }

    /// What the provider reports after an answer of the service.
    std::string reportAfter(const std::string& body, int status = 200) {
        session_.respond(status, body);
        const auto before = reports_.size();
        ticker_.fire();
        EXPECT_EQ(reports_.size(), before + 1);
        return reports_.back();
    }

    static constexpr const char* failed = "Zentara client can not get schemas";

    TestHost host_;
    ManualTicker ticker_;
    RecordingSession session_;
    std::shared_ptr<const ClientSettings> settings_ = ClientSettings::current();
    std::vector<std::string> reports_;
};

TEST_F(SchemasProviderTest, FetchesUntilThereIsATable) {
    const auto provider = makeProvider();
    EXPECT_TRUE(reports_.empty());
    EXPECT_EQ(ticker_.runningInterval(), 10.0);
    EXPECT_EQ(reportAfter("[1,2]"), failed);
    EXPECT_TRUE(ticker_.isRunning());
    EXPECT_TRUE(isFailing(Component::schemas));

    EXPECT_EQ(reportAfter(R"({"ab-1":{"title":"Ab"},"text-1":"no schema"})"), "ready");
    EXPECT_FALSE(isFailing(Component::schemas));
    EXPECT_EQ(provider->schema("ab", "1")->title(), "Ab");
    const auto& request = session_.requests().back();
    EXPECT_EQ(request.method + " " + request.url.string(), "GET http://qa.test/base/schemas");
    EXPECT_TRUE(namesIn(host_.documents()).empty()) << "the cache is never written";
}

TEST_F(SchemasProviderTest, CacheServesUntilATableIsFetched) {
    writeTo(host_.file("schemas"), R"([{"ab-1":{"minProperties":1}},{"cd-1":{}}])");
    const auto provider = makeProvider();
    EXPECT_EQ(reports_, std::vector<std::string>{"ready"});
    EXPECT_EQ(reportAfter(R"({"ef-1":{}})", 503), failed);
    EXPECT_NE(provider->schema("ab", "1"), nullptr);
    EXPECT_EQ(provider->schema("cd", "1"), nullptr) << "only the first table counts";
    EXPECT_EQ(reportAfter(R"({"ef-1":{}})"), "ready");
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
    EXPECT_EQ(reportAfter(table("null")), "ready");
    isReplaced = true;
}

TEST_F(SchemasProviderTest, LateFailureDoesNotUndoASuccess) {
    std::deque<URLSession::Completion> pending;
    session_.respond([&](const auto&, auto done) { pending.push_back(std::move(done)); });
    const auto provider = makeProvider();
    ticker_.fire();
    ticker_.fire();
    ASSERT_EQ(pending.size(), 2U);
    pending[1](URLResponse{200, "{}"});
    pending[0](URLResponse{500, "{}"});
    EXPECT_EQ(reports_, std::vector<std::string>{"ready"});
}

TEST_F(SchemasProviderTest, EmptyCacheIsReportedUnreadableIsNot) {
    writeTo(host_.file("schemas"), "[]");
    auto provider = makeProvider();
    EXPECT_EQ(reports_, std::vector<std::string>{failed});
    settings_ = nullptr;
    ticker_.fire();
    EXPECT_EQ(reports_, std::vector<std::string>(2, failed));
    EXPECT_TRUE(session_.requests().empty());
    writeTo(host_.file("schemas"), "[{");
    provider.reset();
    provider = makeProvider();
    EXPECT_FALSE(ticker_.isRunning());
    EXPECT_EQ(reports_.size(), 2U);
}

}  // namespace
}  // namespace zentara
