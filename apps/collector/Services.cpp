#include "collector/Services.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <optional>
#include <string_view>
#include <utility>

#include "collector/Cookies.h"
#include "collector/Envelope.h"
#include "collector/Identity.h"
#include "collector/JSONText.h"

namespace zentara::collector {

struct Services::Answer {
    HttpResponse response;
    std::string reason;  ///< why the request was refused; empty when it was not
    std::string remark;  ///< for the log

    static Answer json(std::string body) { return {{200, std::move(body), {}}, {}, {}}; }

    static Answer refusal(int status, const std::string& reason) {
        std::string body = R"({"error":)";
        appendJSONString(body, reason);
        body += '}';
        return {{status, std::move(body), {}}, reason, {}};
    }

    static Answer wrongMethod(const HttpRequest& request, std::string_view allowed) {
        Answer answer = refusal(
            405, request.path + " takes " + std::string(allowed) + ", not " + request.method);
        answer.response.headers.emplace_back("Allow", allowed);
        return answer;
    }
};

namespace {

struct Route {
    std::string_view path;
    std::string_view method;
};

constexpr std::array<Route, 8> routes{{{"/schemas", "GET"},
                                       {"/id", "GET"},
                                       {"/event", "POST"},
                                       {"/received/summary", "GET"},
                                       {"/received/events", "GET"},
                                       {"/received/envelopes", "GET"},
                                       {"/received/requests", "GET"},
                                       {"/received", "DELETE"}}};

bool isQuery(const HttpRequest& request) {
    return request.path == "/received" || request.path.starts_with("/received/");
}

std::optional<std::size_t> count(std::string_view text) {
    std::size_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
    return number;
}

/// What the query asks for; nothing, with `fault` set, when it is not understood.
std::optional<Store::Selection> readSelection(const HttpRequest& request, std::string& fault) {
    Store::Selection selection;
    for (const auto& [name, value] : request.query) {
        if (name == "schema" && request.path == "/received/events") {
            selection.schema = value;
            continue;
        }
        if (name != "offset" && name != "limit") {
            fault = request.path + " does not know the parameter " + name;
            return std::nullopt;
        }
        const auto number = count(value);
        if (!number) {
            fault = name;
            fault.append(" is a number from 0 on, not \"").append(value).append("\"");
            return std::nullopt;
        }
        if (name == "offset") {
            selection.offset = *number;
        } else {
            selection.limit = *number;
        }
    }
    return selection;
}

std::string listed(std::string_view name, const Store::Page& page, std::size_t offset) {
    std::string json = R"({"total":)" + std::to_string(page.total) + R"(,"offset":)" +
                       std::to_string(offset) + ",";
    appendJSONString(json, name);
    std::size_t size = json.size() + 4;
    for (const auto& record : page.records)
        size += record->size() + 1;
    json.reserve(size);
    char separator = ':';
    json += separator;
    separator = '[';
    for (const auto& record : page.records) {
        json += separator;
        json += *record;
        separator = ',';
    }
    json += page.records.empty() ? "[]}" : "]}";
    return json;
}

std::string identityFor(const HttpRequest& request) {
    std::optional<std::string> known;
    for (auto& [name, value] : parseCookies(request.header("Cookie", ";"))) {
        if (name == "qvn_uid" && isIdentityValue(value)) known = std::move(value);
    }
    const Identity identity = issueIdentity(known);
    std::string json = R"({"qvn_uid":)";
    appendJSONString(json, identity.value);
    json += R"(,"qvn_uid_public":)";
    appendJSONString(json, identity.publicValue);
    json += R"(,"hsid":)";
    appendJSONString(json, identity.session);
    json += '}';
    return json;
}

bool isJSONContent(const HttpRequest& request) {
    std::string type = request.header("Content-Type");
    type = type.substr(0, type.find(';'));
    type.erase(type.find_last_not_of(" \t") + 1);
    std::transform(type.begin(), type.end(), type.begin(), [](char letter) {
        return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
    });
    return type == "application/json";
}

}  // namespace

Services::Services(Store& store, Options options) : store_(store), options_(std::move(options)) {}

HttpResponse Services::answer(const HttpRequest& request) {
    return keep(request, route(request));
}

HttpResponse Services::refuse(const HttpRequest& request, int status, const std::string& reason) {
    return keep(request, Answer::refusal(status, reason));
}

Services::Answer Services::route(const HttpRequest& request) {
    const auto known = std::find_if(routes.begin(), routes.end(), [&](const Route& candidate) {
        return candidate.path == request.path;
    });
    if (known == routes.end()) return Answer::refusal(404, "there is nothing at " + request.path);
    const bool asksForHeaders = request.method == "HEAD" && known->method == "GET";
    if (request.method != known->method && !asksForHeaders) {
        return Answer::wrongMethod(request, known->method);
    }

    if (request.path == "/event") return acceptEnvelope(request);
    if (request.path == "/schemas") return Answer::json(options_.schemasTable);
    if (request.path == "/id") return Answer::json(identityFor(request));
    if (request.path == "/received/summary") return showSummary();
    if (request.path == "/received") {
        store_.reset();
        return Answer::json("{}");
    }

    std::string fault;
    const auto selection = readSelection(request, fault);
    if (!selection) return Answer::refusal(400, fault);
    const std::string list = request.path.substr(std::string_view("/received/").size());
    const Store::Page page = list == "events"      ? store_.events(*selection)
                             : list == "envelopes" ? store_.envelopes(*selection)
                                                   : store_.requests(*selection);
    return Answer::json(listed(list, page, selection->offset));
}

Services::Answer Services::acceptEnvelope(const HttpRequest& request) {
    if (!isJSONContent(request)) {
        return Answer::refusal(415, "the content type of an envelope is application/json");
    }
    const auto read = readEnvelope(request.body);
    if (const auto* fault = std::get_if<EnvelopeFault>(&read)) {
        return Answer::refusal(fault->kind == EnvelopeFault::Kind::notJSON ? 400 : 422,
                               fault->reason);
    }
    const auto& envelope = std::get<Envelope>(read);
    const auto events = store_.addEnvelope(request, envelope);
    if (options_.recorder != nullptr && !options_.recorder->append(events) && options_.log) {
        options_.log("the file of --record could not be written");
    }
    Answer answer = Answer::json(R"({"received":)" + std::to_string(events.size()) + "}");
    answer.remark = std::to_string(events.size()) + " events, dispatch " +
                    std::to_string(envelope.dispatchNumber);
    return answer;
}

Services::Answer Services::showSummary() const {
    const Store::Summary summary = store_.summary();
    std::string json =
        R"({"requests":)" + std::to_string(summary.requests) + R"(,"envelopes":)" +
        std::to_string(summary.envelopes) + R"(,"events":)" + std::to_string(summary.events) +
        R"(,"distinctActions":)" + std::to_string(summary.distinctActions) + R"(,"duplicates":)" +
        std::to_string(summary.events - summary.distinctActions) + R"(,"eventsBySchema":{)";
    for (const auto& [schema, events] : summary.eventsBySchema) {
        if (json.back() != '{') json += ',';
        appendJSONString(json, schema);
        json += ':' + std::to_string(events);
    }
    return Answer::json(json + "}}");
}

HttpResponse Services::keep(const HttpRequest& request, Answer answer) {
    if (!isQuery(request)) {
        store_.addRequest(request, answer.response.status, answer.reason);
        if (options_.log) {
            const std::string& remark = answer.reason.empty() ? answer.remark : answer.reason;
            options_.log(request.method + " " + request.target + " " +
                         std::to_string(answer.response.status) +
                         (remark.empty() ? "" : "  " + remark));
        }
    }
    return std::move(answer.response);
}

}  // namespace zentara::collector
