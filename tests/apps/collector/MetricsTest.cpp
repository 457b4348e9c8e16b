#include "collector/Metrics.h"

#include <gmock/gmock.h>

#include "apps/collector/RunningCollector.h"
#include "apps/collector/Samples.h"

namespace zentara::collector {
namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;
using testing::Not;

void countRequest(Metrics& metrics, const std::string& path, int status,
                  std::chrono::nanoseconds took, const std::string& fault = "",
                  const std::vector<Store::Arrival>& arrivals = {}) {
    const auto request = samples::request("GET", path);
    metrics.count({request, status, "", fault, {}, {}, arrivals, took});
}

Store::Arrival arrivalOf(const std::string& schema, bool isGood) {
    Store::Arrival arrival;
    arrival.schema = schema;
    arrival.good = isGood;
    return arrival;
}

TEST(MetricsTest, TextHasTheFormatOfPrometheus) {
    RunningCollector collector;
    collector.metrics.add([](std::string& text) {
        const MetricLabel labels[] = {{"path", "a\\b\"c\nd"}, {"x", ""}};
        appendMetric(text, "other_bytes", "gauge", "Of a component.");
        appendSample(text, "other_bytes", labels, 1.5);
        appendConnections(text, {.open = 3, .refused = 4});
    });
    countRequest(collector.metrics, "/event", 200, 1ms, "",
                 {arrivalOf("a-1", true), arrivalOf("a-1", false), arrivalOf("a-1", false)});
    countRequest(collector.metrics, "/event", 0, 31s, "event: lost", {});
    countRequest(collector.metrics, "/id", 200, 1500us);
    countRequest(collector.metrics, "/nothing", 404, 1ms);
    const std::string text = collector.metrics.text();
    EXPECT_THAT(
        text,
        testing::StartsWith(
            R"(# HELP zentara_collector_requests_total Requests to the services by the status of their answer.
# TYPE zentara_collector_requests_total counter
zentara_collector_requests_total{service="id",status="200"} 1
zentara_collector_requests_total{service="event",status="none"} 1
zentara_collector_requests_total{service="event",status="200"} 1
zentara_collector_requests_total{service="none",status="404"} 1
# HELP zentara_collector_events_total Events stored, by schema and by their check.
# TYPE zentara_collector_events_total counter
zentara_collector_events_total{schema="a-1",result="good"} 1
zentara_collector_events_total{schema="a-1",result="bad"} 2
zentara_collector_events_total{schema="other",result="good"} 0
zentara_collector_events_total{schema="other",result="bad"} 0
# HELP zentara_collector_faults_total Requests that met a fault that was asked for.
# TYPE zentara_collector_faults_total counter
zentara_collector_faults_total{service="schemas"} 0
zentara_collector_faults_total{service="id"} 0
zentara_collector_faults_total{service="event"} 1
)"));
    const std::string latency = "\nzentara_collector_request_duration_seconds";
    for (const char* line :
         {"_bucket{service=\"id\",le=\"0.001\"} 0", "_bucket{service=\"id\",le=\"0.002\"} 1",
          "_sum{service=\"id\"} 0.0015", "_bucket{service=\"event\",le=\"0.001\"} 1",
          "_bucket{service=\"event\",le=\"30\"} 1", "_bucket{service=\"event\",le=\"+Inf\"} 2",
          "_sum{service=\"event\"} 31.001", "_count{service=\"event\"} 2"})
        EXPECT_THAT(text, HasSubstr(latency + line + "\n"));
    EXPECT_THAT(text, testing::EndsWith(R"(# HELP other_bytes Of a component.
# TYPE other_bytes gauge
other_bytes{path="a\\b\"c\nd",x=""} 1.5
# HELP zentara_collector_connections Open connections to the ports of the services.
# TYPE zentara_collector_connections gauge
zentara_collector_connections 3
# HELP zentara_collector_connections_refused_total Connections that were closed at once because of a limit.
# TYPE zentara_collector_connections_refused_total counter
zentara_collector_connections_refused_total 4
)"));
    const auto answer = collector.metrics.answer(samples::request("GET", "/metrics"));
    EXPECT_EQ(answer.contentType, "text/plain; version=0.0.4; charset=utf-8");
    EXPECT_EQ(answer.body, text);
}

TEST(MetricsTest, SchemasWithALabelAreBounded) {
    RunningCollector collector;
    std::vector<Store::Arrival> arrivals{arrivalOf("unknown-1", true), arrivalOf("a\n-1", true)};
    std::string bundle;
    for (std::size_t number = 0; number <= Metrics::mostSchemas; ++number) {
        const std::string schema = "s" + std::to_string(number) + "-1";
        bundle += (number == 0 ? "{" : ",") + ("\"" + schema + "\":{}");
        arrivals.push_back(arrivalOf(schema, false));
    }
    test::writeTo(collector.folder.path() / "bundle", bundle + "}");
    SchemaCatalogue catalogue(collector.folder.path() / "bundle");
    Metrics metrics(catalogue);
    countRequest(metrics, "/event", 200, 1ms, "", arrivals);
    const std::string text = metrics.text();
    EXPECT_THAT(text, HasSubstr("{schema=\"s499-1\",result=\"bad\"} 1\n"));
    EXPECT_THAT(text, Not(HasSubstr("s500-1")));
    EXPECT_THAT(text, HasSubstr("{schema=\"other\",result=\"good\"} 2\n"));
    EXPECT_THAT(text, HasSubstr("{schema=\"other\",result=\"bad\"} 1\n"));
}

TEST(HealthTest, ReadinessNamesItsReasons) {
    Health health;
    std::string full;
    health.add([&full] { return full; });
    const auto answer = [&](const std::string& method, const std::string& path) {
        const auto response = health.answer(samples::request(method, path));
        return std::to_string(response.status) + response.body;
    };
    EXPECT_EQ(answer("GET", "/health/ready"), R"(200{"ready":true,"reasons":[]})");
    EXPECT_EQ(answer("POST", "/health").substr(0, 3), "405");
    full = "full";
    EXPECT_EQ(answer("HEAD", "/health/ready"), R"(503{"ready":false,"reasons":["full"]})");
    health.beginStop();
    EXPECT_EQ(answer("GET", "/health"),
              R"(503{"ready":false,"reasons":["the collector is stopping","full"]})");
    EXPECT_EQ(answer("GET", "/health/live"), R"(200{"live":true})");
}

}  // namespace
}  // namespace zentara::collector
