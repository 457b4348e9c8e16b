#include "collector/QueryInterface.h"

#include <zentara/JSONValue.h>

#include <boost/asio/post.hpp>
#include <chrono>
#include <optional>
#include <set>
#include <utility>
#include <variant>

#include "collector/Refusal.h"
#include "collector/data/EventFilter.h"
#include "collector/data/JSONText.h"

namespace zentara::collector {

namespace {

// A hostile application can send any number of names; the page gets them ten times a second.
constexpr std::size_t mostNames = 1000;

constexpr std::string_view receivedPath = "/received";
constexpr std::string_view faultsPath = "/faults";
constexpr std::string_view cataloguePath = "/catalogue";

constexpr std::size_t longestWait = 600'000;                      // milliseconds
constexpr std::size_t exportPart = 1024UL * 1024;                 // bytes
constexpr std::size_t longestBucket = 366ULL * 24 * 3600 * 1000;  // milliseconds

/// The part of `path` below `root`: "" at the root itself, "summary" for "/received/summary".
/// Nothing if the path is not below the root.
std::optional<std::string_view> below(std::string_view path, std::string_view root) {
    if (path == root) return "";
    if (!path.starts_with(root) || path[root.size()] != '/') return std::nullopt;
    return path.substr(root.size() + 1);
}

HttpResponse json(std::string body) {
    HttpResponse response;
    response.body = std::move(body);
    return response;
}

JSONObject firstCounts(const std::map<std::string, std::uint64_t>& counts) {
    JSONObject object;
    for (const auto& [name, count] : counts) {
        if (object.size() == mostNames) break;
        object.set(name, count);
    }
    return object;
}

std::string listed(std::string_view name, const Store::Page& page, std::size_t offset) {
    std::string text = "{";
    appendMember(text, "total", page.total);
    appendMember(text, "offset", offset);
    appendMember(text, name);
    appendJSONList(text, page.records);
    return text + "}";
}

std::string gapsText(const std::vector<Gap>& gaps, std::uint64_t missing) {
    JSONArray list;
    for (const Gap& gap : gaps) {
        list.push_back(JSONObject{{"context", gap.context},
                                  {"clientUUID", gap.clientUUID},
                                  {"from", gap.from},
                                  {"to", gap.to},
                                  {"count", gap.count}});
    }
    return JSONValue(JSONObject{{"missing", missing}, {"gaps", std::move(list)}}).text();
}

std::string timelineText(const Store::Timeline& timeline) {
    JSONArray list;
    for (const auto& bucket : timeline.buckets) {
        list.push_back(
            JSONObject{{"start", bucket.start}, {"good", bucket.good}, {"bad", bucket.bad}});
    }
    return JSONValue(JSONObject{{"width", timeline.width}, {"buckets", std::move(list)}}).text();
}

/// Passes each parameter of the request to `take`, which returns whether it knows the name.
template <typename Take>
void readParameters(const HttpRequest& request, Take take) {
    std::set<std::string_view> names;
    for (const auto& [name, value] : request.query) {
        if (!names.insert(name).second) {
            throw ParameterError("the parameter " + name + " is there twice");
        }
        if (!take(name, value)) {
            throw ParameterError(request.path + " does not know the parameter " + name);
        }
    }
}

void readNoParameters(const HttpRequest& request) {
    readParameters(request, [](const auto&, const auto&) { return false; });
}

struct PagePart {
    std::size_t offset = 0;
    std::optional<std::size_t> limit;

    [[nodiscard]] bool take(std::string_view name, std::string_view value) {
        if (name == "offset") {
            offset = readCount(name, value);
        } else if (name == "limit") {
            limit = readCount(name, value);
        } else {
            return false;
        }
        return true;
    }
};

std::string answerEvents(const Store& store, const HttpRequest& request) {
    EventQuery query;
    readParameters(request,
                   [&](const auto& name, const auto& value) { return query.take(name, value); });
    return listed("events", store.events(query), query.offset);
}

HttpResponse answerExport(const Store& store, const HttpRequest& request) {
    EventFilter filter;
    readParameters(request,
                   [&](const auto& name, const auto& value) { return filter.take(name, value); });
    HttpResponse response;
    response.body = store.lines(filter, exportPart);
    response.contentType = "application/x-ndjson";
    response.headers = {{"Content-Disposition", "attachment; filename=\"events.jsonl\""}};
    return response;
}

std::string answerEnvelopes(const Store& store, const HttpRequest& request) {
    PagePart part;
    readParameters(request,
                   [&](const auto& name, const auto& value) { return part.take(name, value); });
    return listed("envelopes", store.envelopes(part.offset, part.limit), part.offset);
}

std::string answerRequests(const Store& store, const HttpRequest& request) {
    PagePart part;
    Store::RequestQuery query;
    readParameters(request, [&](const auto& name, const auto& value) {
        if (name == "order") {
            query.order = readOrder(name, value);
        } else if (name == "fault" || name == "refused") {
            if (value != "true" && value != "false") {
                throw ParameterError(name + " is true or false, not \"" + value + "\"");
            }
            (name == "fault" ? query.fault : query.refused) = value == "true";
        } else {
            return part.take(name, value);
        }
        return true;
    });
    query.offset = part.offset;
    query.limit = part.limit;
    return listed("requests", store.requests(query), part.offset);
}

std::string answerTimeline(const Store& store, const HttpRequest& request) {
    EventFilter filter;
    std::optional<std::int64_t> width;
    readParameters(request, [&](const auto& name, const auto& value) {
        if (name != "width") return filter.take(name, value);
        const std::size_t wanted = readCount(name, value);
        if (wanted == 0 || wanted > longestBucket) {
            throw ParameterError("width is a number of milliseconds from 1 to " +
                                 std::to_string(longestBucket));
        }
        width = static_cast<std::int64_t>(wanted);
        return true;
    });
    return timelineText(store.timeline(filter, width));
}

}  // namespace

QueryInterface::QueryInterface(Store& store, SchemaCatalogue& catalogue, Faults& faults)
    : store_(store),
      faults_(faults),
      schemas_(catalogue, store),
      started_(std::chrono::duration_cast<std::chrono::milliseconds>(
                   std::chrono::system_clock::now().time_since_epoch())
                   .count()),
      watch_(store, [this] { return summary(); }) {}

bool QueryInterface::owns(std::string_view path) {
    return below(path, receivedPath) || below(path, faultsPath) || path == cataloguePath;
}

void QueryInterface::handle(const std::shared_ptr<Exchange>& exchange) {
    const HttpRequest& request = exchange->request();
    try {
        if (request.path == "/received/wait" && isReading(request)) {
            wait(exchange);
        } else if (request.path == "/received/stream" && isReading(request)) {
            readNoParameters(request);
            watch_.follow(exchange);
        } else {
            boost::asio::post(workers_, [this, exchange] { answerLater(exchange); });
        }
    } catch (const ParameterError& error) {
        exchange->deliver({refusal(400, error.what())});
    }
}

void QueryInterface::answerLater(const std::shared_ptr<Exchange>& exchange) {
    try {
        exchange->deliver({answer(exchange->request())});
    } catch (const ParameterError& error) {
        exchange->deliver({refusal(400, error.what())});
    } catch (const std::exception& error) {
        exchange->deliver({refusal(500, error.what())});
    }
}

void QueryInterface::stop() {
    watch_.stop();
    workers_.stop();
    workers_.join();
}

HttpResponse QueryInterface::answer(const HttpRequest& request) {
    if (const auto service = below(request.path, faultsPath)) {
        return answerFaults(request, *service);
    }
    if (request.path == cataloguePath) {
        if (!isReading(request)) return wrongMethod(request, "GET");
        readNoParameters(request);
        return schemas_.page();
    }
    const std::string_view what = below(request.path, receivedPath).value_or("");
    if (what.empty()) {
        if (request.method != "DELETE") return wrongMethod(request, "DELETE");
        readNoParameters(request);
        store_.reset();
        ++resets_;
        watch_.reset();
        return json("{}");
    }
    if (!isReading(request)) return wrongMethod(request, "GET");
    if (what == "events") return json(answerEvents(store_, request));
    if (what == "export") return answerExport(store_, request);
    if (what == "envelopes") return json(answerEnvelopes(store_, request));
    if (what == "requests") return json(answerRequests(store_, request));
    if (what == "timeline") return json(answerTimeline(store_, request));
    readNoParameters(request);
    if (const auto uuid = below(what, "events")) {
        auto event = store_.event(*uuid);
        if (event) return json(std::move(*event));
        return refusal(404, "no event has the action UUID " + std::string(*uuid));
    }
    if (what == "summary") return json(summary());
    if (what == "schemas") return json(schemas_.findings());
    if (what == "messages") return json(schemas_.messages());
    if (const auto schema = below(what, "schemas")) {
        auto properties = schemas_.properties(std::string(*schema));
        if (properties) return json(std::move(*properties));
        return refusal(404, "there is neither a schema nor an event " + std::string(*schema));
    }
    if (what == "gaps") return json(gapsText(store_.gaps(), store_.summary().missing));
    return refusal(404, "there is nothing at " + request.path);
}

HttpResponse QueryInterface::answerFaults(const HttpRequest& request, std::string_view service) {
    readNoParameters(request);
    const auto services = servicesNamed(service.empty() ? "all" : service);
    if (services.empty()) {
        return refusal(404, "there is no service " + std::string(service));
    }
    if (service.empty() && isReading(request)) return json(faultsText(faults_));
    if (request.method == "DELETE") {
        for (const Service each : services)
            faults_.clear(each);
    } else if (!service.empty() && request.method == "PUT") {
        const auto read = readFault(request.body);
        if (const auto* reason = std::get_if<std::string>(&read)) return refusal(400, *reason);
        for (const Service each : services)
            faults_.set(each, std::get<Fault>(read));
    } else {
        return wrongMethod(request, service.empty() ? "GET, DELETE" : "PUT, DELETE");
    }
    watch_.notify();
    return json(faultsText(faults_));
}

void QueryInterface::wait(const std::shared_ptr<Exchange>& exchange) {
    Watch::Wait wait;
    wait.filter.good = true;
    readParameters(exchange->request(), [&](const auto& name, const auto& value) {
        if (name == "count") {
            wait.count = readCount(name, value);
        } else if (name == "timeout") {
            const std::size_t timeout = readCount(name, value);
            if (timeout > longestWait) {
                throw ParameterError("timeout is a number of milliseconds up to " +
                                     std::to_string(longestWait));
            }
            wait.timeout = std::chrono::milliseconds(timeout);
        } else {
            return wait.filter.take(name, value);
        }
        return true;
    });
    watch_.wait(exchange, std::move(wait));
}

std::string QueryInterface::summary() const {
    const Store::Summary counts = store_.summary();
    return JSONValue(
               JSONObject{{"requests", counts.requests},
                          {"refused", counts.refused},
                          {"envelopes", counts.envelopes},
                          {"events", counts.events},
                          {"good", counts.good},
                          {"bad", counts.bad},
                          {"distinctActions", counts.distinctActions},
                          {"duplicates", counts.duplicates},
                          {"missing", counts.missing},
                          {"lastNumber", counts.lastNumber},
                          // After a reset numbers start again, so a client compares these as well.
                          {"resets", resets_.load()},
                          {"started", started_},
                          {"eventsBySchema", firstCounts(counts.eventsBySchema)},
                          {"badBySchema", firstCounts(counts.badBySchema)},
                          {"faults", firstCounts(counts.faults)},
                          {"schemas", schemas_.counts()}})
        .text();
}

}  // namespace zentara::collector
