#include "collector/Metrics.h"

#include <algorithm>
#include <charconv>
#include <map>
#include <optional>

#include "collector/Refusal.h"

namespace zentara::collector {

namespace {

constexpr std::string_view requestsName = "zentara_collector_requests_total";
constexpr std::string_view eventsName = "zentara_collector_events_total";
constexpr std::string_view faultsName = "zentara_collector_faults_total";
constexpr std::string_view latencyName = "zentara_collector_request_duration_seconds";

std::size_t indexOf(const std::optional<Service>& service) {
    return service ? static_cast<std::size_t>(*service) : allServices.size();
}

std::string_view nameOfPlace(std::size_t place) {
    return place < allServices.size() ? nameOf(allServices[place]) : "none";
}

void appendEscaped(std::string& text, std::string_view value) {
    for (const char character : value) {
        if (character == '\\' || character == '"') text += '\\';
        if (character == '\n') {
            text += "\\n";
        } else {
            text += character;
        }
    }
}

template <typename Number>
std::string numberText(Number number) {
    std::array<char, 32> digits{};
    const auto end = std::to_chars(digits.begin(), digits.end(), number).ptr;
    return {digits.begin(), end};
}

void appendLine(std::string& text, std::string_view name, std::span<const MetricLabel> labels,
                const std::string& value) {
    text += name;
    char separator = '{';
    for (const auto& label : labels) {
        text += separator;
        text += label.name;
        text += "=\"";
        appendEscaped(text, label.value);
        text += '"';
        separator = ',';
    }
    if (!labels.empty()) text += '}';
    text += ' ';
    text += value;
    text += '\n';
}

}  // namespace

void appendMetric(std::string& text, std::string_view name, std::string_view type,
                  std::string_view help) {
    text.append("# HELP ").append(name).append(" ").append(help).append("\n");
    text.append("# TYPE ").append(name).append(" ").append(type).append("\n");
}

void appendSample(std::string& text, std::string_view name, std::span<const MetricLabel> labels,
                  double value) {
    appendLine(text, name, labels, numberText(value));
}

void appendSample(std::string& text, std::string_view name, std::span<const MetricLabel> labels,
                  std::uint64_t value) {
    appendLine(text, name, labels, numberText(value));
}

void appendConnections(std::string& text, const HttpConnectionCounts& counts) {
    appendSingle(text, "zentara_collector_connections", "gauge",
                 "Open connections to the ports of the services.", std::uint64_t{counts.open});
    appendSingle(text, "zentara_collector_connections_refused_total", "counter",
                 "Connections that were closed at once because of a limit.", counts.refused);
}

void Metrics::count(const RequestReport& report) {
    const std::size_t place = indexOf(Services::at(report.request.path));
    const auto status = static_cast<std::size_t>(std::clamp<int>(report.status, 0, statuses - 1));
    ++requests_[place][status];
    if (!report.fault.empty()) ++faults_[place];
    if (place < latencies_.size()) countLatency(place, report.took);
    if (!report.arrivals.empty()) countEvents(report.arrivals);
}

void Metrics::countLatency(std::size_t place, std::chrono::nanoseconds took) {
    const auto bucket = std::find_if(bounds.begin(), bounds.end(), [took](std::int64_t bound) {
        return took <= std::chrono::milliseconds(bound);
    });
    Latency& latency = latencies_[place];
    ++latency.buckets[static_cast<std::size_t>(bucket - bounds.begin())];
    latency.nanoseconds += static_cast<std::uint64_t>(std::max<std::int64_t>(took.count(), 0));
}

void Metrics::countEvents(std::span<const Store::Arrival> arrivals) {
    const auto schemas = catalogue_.current();
    const std::lock_guard lock(mutex_);
    for (const auto& arrival : arrivals) {
        auto found = events_.find(arrival.schema);
        if (found == events_.end() && events_.size() < mostSchemas &&
            schemas->find(arrival.schema) != nullptr) {
            found = events_.emplace(arrival.schema, Events{}).first;
        }
        Events& events = found == events_.end() ? otherEvents_ : found->second;
        ++(arrival.good ? events.good : events.bad);
    }
}

HttpResponse Metrics::answer(const HttpRequest& request) const {
    if (!isReading(request)) return wrongMethod(request, "GET");
    HttpResponse response;
    response.body = text();
    response.contentType = "text/plain; version=0.0.4; charset=utf-8";
    return response;
}

std::string Metrics::text() const {
    std::string text;
    appendRequests(text);
    appendEvents(text);
    appendFaults(text);
    appendLatencies(text);
    for (const auto& source : sources_)
        source(text);
    return text;
}

void Metrics::appendRequests(std::string& text) const {
    appendMetric(text, requestsName, "counter",
                 "Requests to the services by the status of their answer.");
    for (std::size_t place = 0; place < places; ++place) {
        for (std::size_t status = 0; status < statuses; ++status) {
            const std::uint64_t count = requests_[place][status];
            if (count == 0) continue;
            const std::string code = status == 0 ? "none" : std::to_string(status);
            const MetricLabel labels[] = {{"service", nameOfPlace(place)}, {"status", code}};
            appendSample(text, requestsName, labels, count);
        }
    }
}

void Metrics::appendEvents(std::string& text) const {
    std::map<std::string, Events> events;
    {
        const std::lock_guard lock(mutex_);
        events.insert(events_.begin(), events_.end());
        events["other"] = otherEvents_;
    }
    appendMetric(text, eventsName, "counter", "Events stored, by schema and by their check.");
    for (const auto& [schema, counts] : events) {
        const MetricLabel good[] = {{"schema", schema}, {"result", "good"}};
        const MetricLabel bad[] = {{"schema", schema}, {"result", "bad"}};
        appendSample(text, eventsName, good, counts.good);
        appendSample(text, eventsName, bad, counts.bad);
    }
}

void Metrics::appendFaults(std::string& text) const {
    appendMetric(text, faultsName, "counter", "Requests that met a fault that was asked for.");
    for (const Service service : allServices) {
        const MetricLabel labels[] = {{"service", nameOf(service)}};
        appendSample(text, faultsName, labels, faults_[indexOf(service)].load());
    }
}

void Metrics::appendLatencies(std::string& text) const {
    appendMetric(text, latencyName, "histogram",
                 "Time from the first byte of a request to its answer.");
    const std::string bucketName = std::string(latencyName) + "_bucket";
    const std::string sumName = std::string(latencyName) + "_sum";
    const std::string countName = std::string(latencyName) + "_count";
    for (const Service service : allServices) {
        const Latency& latency = latencies_[indexOf(service)];
        std::uint64_t count = 0;
        for (std::size_t index = 0; index <= bounds.size(); ++index) {
            count += latency.buckets[index];
            const std::string bound = index == bounds.size()
                                          ? "+Inf"
                                          : numberText(static_cast<double>(bounds[index]) / 1000);
            const MetricLabel labels[] = {{"service", nameOf(service)}, {"le", bound}};
            appendSample(text, bucketName, labels, count);
        }
        const MetricLabel labels[] = {{"service", nameOf(service)}};
        appendSample(text, sumName, labels, static_cast<double>(latency.nanoseconds) / 1e9);
        appendSample(text, countName, labels, count);
    }
}

}  // namespace zentara::collector
