#include "collector/data/Records.h"

#include <zentara/ClientSettings.h>

#include <utility>

#include "collector/data/JSONText.h"
#include "dispatch/EventBus.h"

namespace zentara::collector {

namespace {

// Room for the names and numbers of a record.
constexpr std::size_t usualOverhead = 512;

void appendFlag(std::string& json, std::string_view name, bool value) {
    appendRaw(json, name, value ? "true" : "false");
}

std::string cookieOf(const HttpRequest& request) {
    return request.header("Cookie", "; ");
}

/// Whether a cookie of this name has the token of a user.
bool isUserType(std::string_view name) {
    for (std::int64_t raw = 0; const auto type = userTokenType(raw); ++raw) {
        if (userTokenTypeName(*type) == name) return true;
    }
    return name == EventBus::anonymousTokenName;
}

}  // namespace

User userOf(const HttpRequest& request) {
    for (auto& [name, value] : parseCookies(cookieOf(request))) {
        if (isUserType(name)) return {name, value};
    }
    return {};
}

std::string factsJSON(const HttpRequest& request, const Envelope& envelope, const User& user) {
    JSONObject facts{{"receivedAt", request.receivedAt},
                     {"clientUUID", envelope.clientUUID},
                     {"tenant", envelope.tenant},
                     {"clientType", envelope.clientType},
                     {"deviceGroup", envelope.deviceGroup},
                     {"environment", envelope.environment},
                     {"clientTs", envelope.clientTs},
                     {"dispatchNumber", envelope.dispatchNumber},
                     {"actionCounter", envelope.actionCounter},
                     {"userAgent", inUTF8(request.header("User-Agent"))},
                     {"cookie", inUTF8(cookieOf(request))},
                     {"user", JSONValue()}};
    if (!user.type.empty()) {
        facts.set("user", JSONObject{{"type", user.type}, {"token", inUTF8(user.token)}});
    }
    const std::string json = JSONValue(std::move(facts)).text();
    return json.substr(1, json.size() - 2);
}

std::string headersJSON(const HttpRequest& request) {
    JSONObject joined;
    for (const auto& [name, value] : request.headers) {
        JSONValue& text = joined[inUTF8(name)];
        text = text.isNull() ? inUTF8(value) : std::string(text.string()) + ", " + inUTF8(value);
    }
    return JSONValue(std::move(joined)).text();
}

std::string findingsJSON(const std::vector<Finding>& findings) {
    JSONArray list;
    for (const auto& finding : findings)
        list.push_back(JSONObject{{"path", finding.path}, {"message", finding.message}});
    return JSONValue(std::move(list)).text();
}

std::string EventRecord::json() const {
    std::string json;
    json.reserve(usualOverhead + findingsJSON.size() + factsJSON.size() + eventJSON.size());
    json += '{';
    appendMember(json, "number", number);
    appendMember(json, "envelope", envelope);
    appendFlag(json, "duplicate", duplicate);
    appendFlag(json, "good", good);
    appendRaw(json, "messages", findingsJSON);
    json += ',';
    json += factsJSON;
    appendMember(json, "schema", schema);
    appendMember(json, "actionUUID", actionUUID);
    appendMember(json, "sequence", sequence);
    appendRaw(json, "event", eventJSON);
    json += '}';
    return json;
}

std::string EnvelopeRecord::json() const {
    std::string json;
    json.reserve(usualOverhead + headersJSON.size() + body.size());
    json += '{';
    appendMember(json, "number", number);
    appendMember(json, "receivedAt", receivedAt);
    appendRaw(json, "headers", headersJSON);
    appendRaw(json, "envelope", body);
    json += '}';
    return json;
}

std::string RequestRecord::json() const {
    std::string json = "{";
    appendMember(json, "number", number);
    appendMember(json, "receivedAt", receivedAt);
    appendMember(json, "service", service);
    appendMember(json, "method", method);
    appendMember(json, "target", target);
    appendFlag(json, "secure", secure);
    appendRaw(json, "headers", headersJSON);
    appendMember(json, "bodySize", bodySize);
    appendMember(json, "status", status);
    if (!reason.empty()) appendMember(json, "reason", reason);
    if (!fault.empty()) appendMember(json, "fault", fault);
    appendMember(json, "storedEvents", storedEvents);
    if (!body.empty()) appendMember(json, "body", body);
    json += '}';
    return json;
}

}  // namespace zentara::collector
