#pragma once

#include <array>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <mutex>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "collector/Services.h"
#include "collector/data/SchemaCatalogue.h"
#include "collector/http/HttpMessage.h"
#include "collector/http/HttpSettings.h"

namespace zentara::collector {

/// Counts what the collector does and shows it in the text format of Prometheus, version 0.0.4.
///
/// Other components add metrics of their own with `add`. Any thread, except for `add`.
class Metrics {
  public:
    static constexpr std::string_view path = "/metrics";
    /// The events of further schemas, and of schemas that are not served, have the label "other".
    static constexpr std::size_t mostSchemas = 500;

    /// Appends whole lines, by `appendMetric` and `appendSample`. Must not block.
    using Source = std::function<void(std::string& text)>;

    /// The catalogue outlives the metrics.
    explicit Metrics(SchemaCatalogue& catalogue) : catalogue_(catalogue) {}
    Metrics(const Metrics&) = delete;
    Metrics& operator=(const Metrics&) = delete;

    /// Before use. What `source` uses outlives the metrics.
    void add(Source source) { sources_.push_back(std::move(source)); }

    void count(const RequestReport& report);

    [[nodiscard]] std::string text() const;
    [[nodiscard]] HttpResponse answer(const HttpRequest& request) const;

  private:
    /// A service, or none of them.
    static constexpr std::size_t places = allServices.size() + 1;
    static constexpr std::size_t statuses = 600;

    /// The upper bounds of the buckets, in milliseconds.
    static constexpr std::array<std::int64_t, 14> bounds{1,   2,   5,    10,   25,   50,    100,
                                                         250, 500, 1000, 2500, 5000, 10000, 30000};

    using Counter = std::atomic<std::uint64_t>;

    struct Latency {
        std::array<Counter, bounds.size() + 1>
            buckets{};  // by the first bound that is not exceeded
        Counter nanoseconds = 0;
    };

    struct Events {
        std::uint64_t good = 0;
        std::uint64_t bad = 0;
    };

    void countEvents(std::span<const Store::Arrival> arrivals);
    void countLatency(std::size_t place, std::chrono::nanoseconds took);
    void appendRequests(std::string& text) const;
    void appendEvents(std::string& text) const;
    void appendFaults(std::string& text) const;
    void appendLatencies(std::string& text) const;

    SchemaCatalogue& catalogue_;
    std::vector<Source> sources_;

    std::array<std::array<Counter, statuses>, places> requests_{};
    std::array<Counter, places> faults_{};
    std::array<Latency, allServices.size()> latencies_{};

    mutable std::mutex mutex_;
    std::unordered_map<std::string, Events> events_;  // by schema; guarded by mutex_
    Events otherEvents_;                              // guarded by mutex_
};

/// The metrics of a server's connections.
void appendConnections(std::string& text, const HttpConnectionCounts& counts);

/// Begins a metric of `type` ("counter", "gauge", "histogram").
void appendMetric(std::string& text, std::string_view name, std::string_view type,
                  std::string_view help);

struct MetricLabel {
    std::string_view name;
    std::string_view value;
};

/// A line of a metric.
void appendSample(std::string& text, std::string_view name, std::span<const MetricLabel> labels,
                  double value);
void appendSample(std::string& text, std::string_view name, std::span<const MetricLabel> labels,
                  std::uint64_t value);

/// A metric with a single line, without labels.
template <typename Number>
void appendSingle(std::string& text, std::string_view name, std::string_view type,
                  std::string_view help, Number value) {
    appendMetric(text, name, type, help);
    appendSample(text, name, {}, value);
}

}  // namespace zentara::collector
