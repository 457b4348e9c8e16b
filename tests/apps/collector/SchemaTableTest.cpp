#include "collector/SchemaTable.h"

#include <gtest/gtest.h>

#include "apps/collector/RunningCollector.h"
#include "apps/collector/Samples.h"
#include "collector/http/Gunzip.h"

namespace zentara::collector {
namespace {

constexpr const char* tableText = R"({"a-1":{"properties":{"price":{"minimum":1}}}})";

class SchemaTableTest : public testing::Test {
  protected:
    HttpResponse get(const NamedTexts& headers = {}) {
        auto request = samples::request("GET", "/schemas");
        request.headers = headers;
        return answers.answer(request, collector.catalogue.refreshed());
    }

    static std::string header(const HttpResponse& response, const std::string& name) {
        for (const auto& [key, value] : response.headers) {
            if (key == name) return value;
        }
        return "";
    }

    RunningCollector collector;
    SchemaTable answers;
};

TEST_F(SchemaTableTest, UnchangedTableIsNotSentAgain) {
    const auto first = get();
    EXPECT_EQ(first.body, tableText);
    EXPECT_EQ(header(first, "Cache-Control"), "no-cache");
    EXPECT_EQ(header(first, "Vary"), "Accept-Encoding");
    // The beginning of the SHA-256 of the table, so that other collectors have the same.
    const std::string tag = "\"728da87bfa59ca0ca49731b657c3d1e3\"";
    EXPECT_EQ(header(first, "ETag"), tag);
    const auto again = get({{"If-None-Match", "\"other\", W/" + tag}});
    EXPECT_EQ(again.status, 304);
    EXPECT_EQ(again.body, "");
    EXPECT_EQ(header(again, "ETag"), tag);
    EXPECT_EQ(get({{"If-None-Match", "*"}}).status, 304);
    EXPECT_EQ(get({{"If-None-Match", "\"other\""}}).status, 200);

    test::writeTo(collector.folder.path() / "b-1.json", "{}");
    const auto changed = get({{"If-None-Match", tag}});
    EXPECT_EQ(changed.status, 200);
    EXPECT_NE(header(changed, "ETag"), tag);
}

TEST_F(SchemaTableTest, TableIsCompressedForThoseThatAccept) {
    const auto compressed = get({{"accept-encoding", "deflate, gzip"}});
    EXPECT_EQ(gunzip(compressed.body, 1000).body, tableText);
    EXPECT_EQ(header(compressed, "Content-Encoding"), "gzip");
    const std::string tag = header(compressed, "ETag");
    EXPECT_NE(tag, header(get(), "ETag")) << "other bytes";
    EXPECT_EQ(get({{"Accept-Encoding", "gzip"}, {"If-None-Match", tag}}).status, 304);
    EXPECT_EQ(get({{"If-None-Match", tag}}).status, 200);

    const std::pair<const char*, bool> cases[] = {
        {"", false},        {"gzip", true},      {"GZIP ;q=0.5", true},
        {"br, gzip", true}, {"gzip;q=0", false}, {"gzip; q=0.000", false},
        {"*", true},        {"*;q=0", false},    {"*, gzip;q=0", false},
        {"xgzip", false},   {"identity", false},
    };
    for (const auto& [text, isAccepted] : cases)
        EXPECT_EQ(acceptsGzip(text), isAccepted) << text;
}

}  // namespace
}  // namespace zentara::collector
