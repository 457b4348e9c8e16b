#include "collector/RequestLog.h"

#include <gtest/gtest.h>

#include "apps/collector/Samples.h"

namespace zentara::collector {
namespace {

using namespace std::chrono_literals;

constexpr std::int64_t logTime = 1'706'745'599'007;  // 2024-01-31T23:59:59.007Z

TEST(RequestLogTest, LineInJSONHoldsNoSecret) {
    auto request = samples::request("POST", "/event", "12345");
    request.target = "/event?token=secret";
    request.query = {{"token", "secret"}};
    request.headers.emplace_back("Cookie", "qvn_uid=secret");
    request.client = "10.0.0.7";
    std::vector<Store::Arrival> arrivals(3);
    arrivals[1].good = false;
    EXPECT_EQ(
        RequestLog::requestLine({request, 200, "", "", {}, {}, arrivals, 1500us}, logTime),
        R"({"time":"2024-01-31T23:59:59.007Z","level":"warning","message":"POST /event 200",)"
        R"("service":"event","method":"POST","path":"/event","status":200,"client":"10.0.0.7",)"
        R"("events":3,"bad":1,"bytes":5,"milliseconds":1.5})"
        "\n");
    const auto odd = samples::request("GET", "/\x9b\"\n");
    EXPECT_EQ(RequestLog::requestLine({odd, 0, "why", "id: lost", {}, {}, {}, 0ns}, logTime),
              "{\"time\":\"2024-01-31T23:59:59.007Z\",\"level\":\"warning\","
              "\"message\":\"GET /?\\\"? no answer\",\"service\":null,\"method\":\"GET\","
              "\"path\":\"/?\\\"?\",\"status\":null,\"client\":\"\",\"events\":0,\"bad\":0,"
              "\"bytes\":0,\"milliseconds\":0.0,\"reason\":\"why\",\"fault\":\"id: lost\"}\n");
}

TEST(RequestLogTest, MessagesHaveTheChosenFormat) {
    const auto line = [](LogFormat format, RequestLog::Level level) {
        return RequestLog::messageLine(format, level, "a \"b\"", logTime);
    };
    EXPECT_EQ(line(LogFormat::text, RequestLog::Level::error), "zentara-collector: a \"b\"\n");
    EXPECT_EQ(line(LogFormat::json, RequestLog::Level::error),
              R"({"time":"2024-01-31T23:59:59.007Z","level":"error","message":"a \"b\""})"
              "\n");
    const auto request = samples::request("GET", "/id");
    for (const auto& [status, level] : {std::pair{200, "info"}, {503, "error"}})
        EXPECT_NE(RequestLog::requestLine({request, status, "", "", {}, {}, {}, 0ns}, logTime)
                      .find("\"level\":\"" + std::string(level) + "\""),
                  std::string::npos);
}

}  // namespace
}  // namespace zentara::collector
