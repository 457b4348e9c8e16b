#include <gtest/gtest.h>

#include <future>
#include <string>
#include <string_view>

#include "support/ClientCalls.h"
#include "support/Files.h"
#include "support/Services.h"
#include "support/TestHost.h"

namespace zentara {
namespace {

using namespace test;

/// The schemas service answers when a test says so, or at its end.
class BundledSchemasTest : public testing::Test {
  protected:
    BundledSchemasTest() {
        resetClient();
        TestHost::useServer(services_.url());
        services_.beforeAnswering([may = mayAnswer_.get_future().share()] { may.wait(); },
                                  "/schemas");
    }
    ~BundledSchemasTest() override {
        answer();
        ZentaraClient::setBundledSchemas("");
        ZentaraClient::shutdown(std::chrono::milliseconds(0));
        resetClient();
    }

    void answer() {
        if (!std::exchange(isAnswered_, true)) mayAnswer_.set_value();
    }

    static std::string send(ZentaraClient& client, const char* schema, JSONObject properties) {
        return test::send(
            client,
            {.schemaId = schema, .schemaVersion = "1", .properties = std::move(properties)});
    }

    static constexpr std::string_view bundle =
        R"({"any-1":{"required":["n"]},"cut-1":{"maxProperties":1}})";

    TestHost host_;
    std::promise<void> mayAnswer_;
    bool isAnswered_ = false;
    Services services_;
    Mailbox<std::string> reports_;

    std::shared_ptr<ZentaraClient> get() {
        return ZentaraClient::get([this](const ZentaraClientErrorRef& error) {
            reports_.put(error ? "error" : "ready");
        });
    }
};

TEST_F(BundledSchemasTest, FirstStartValidatesWithoutNetwork) {
    ZentaraClient::setBundledSchemas(bundle);
    for (std::size_t start = 0; start < 2; ++start) {
        const auto client = get();
        EXPECT_EQ(reports_.values().size(), start + 1);
        EXPECT_TRUE(ZentaraClient::isReady());
        EXPECT_EQ(send(*client, "any", {{"n", 1}}), "queued");
        EXPECT_EQ(send(*client, "any", {}),
                  "Data not valid for specified Schema. Error validating any-1 schema: "
                  "Required properties are missing '[\"n\"]'");
        EXPECT_EQ(send(*client, "view", {}), "Unknown error");
        if (start == 0) ZentaraClient::shutdown(std::chrono::milliseconds(0));
    }
    EXPECT_EQ(namesIn(host_.documents()).count("zentara-schemas-storage"), 0U);
    answer();
    EXPECT_EQ(reports_.waitFor(2), "ready");
    EXPECT_EQ(send(*get(), "any", {}), "queued") << "the fetched table replaces the bundled one";
}

TEST_F(BundledSchemasTest, CacheWins) {
    writeTo(host_.file("zentara-schemas-storage"), R"([{"any-1":{}}])");
    ZentaraClient::setBundledSchemas(bundle);
    EXPECT_EQ(send(*get(), "any", {}), "queued");
}

TEST_F(BundledSchemasTest, ServesInPlaceOfADamagedCache) {
    writeTo(host_.file("zentara-schemas-storage"), "[{");
    ZentaraClient::setBundledSchemas(bundle);
    EXPECT_EQ(send(*get(), "cut", {{"a", 1}}), "queued");
}

TEST_F(BundledSchemasTest, DamagedBundleIsReportedAndIgnored) {
    ZentaraClient::setBundledSchemas("[1]");
    const auto client = get();
    EXPECT_FALSE(ZentaraClient::isReady());
    EXPECT_EQ(reports_.values().size(), 0U);
    const auto failure = ZentaraClient::statistics().schemasFailure;
    EXPECT_EQ(failure.text, "the bundled schemas: not a table of schemas");
    EXPECT_EQ(failure.inARow, 0);
    answer();
    EXPECT_EQ(reports_.waitFor(0), "ready");
}

}  // namespace
}  // namespace zentara
