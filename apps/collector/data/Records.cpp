#include "collector/data/Records.h"

#include <algorithm>
#include <array>

#include "collector/data/JSONText.h"

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

}  // namespace

User userOf(const HttpRequest& request) {
    constexpr std::array<std::string_view, 4> userTypes{"QVNID", "GST", "EXT_ID", "Anonymous"};
    for (auto& [name, value] : parseCookies(cookieOf(request))) {
        if (std::find(userTypes.begin(), userTypes.end(), name) != userTypes.end()) {
            return {name, value};
        }
    }
    return {};
}

std::string factsJSON(const HttpRequest& request, const Envelope& envelope, const User& user) {
    std::string json;
    appendMember(json, "receivedAt", request.receivedAt);
    appendMember(json, "clientUUID", envelope.clientUUID);
    appendMember(json, "tenant", envelope.tenant);
    appendMember(json, "clientType", envelope.clientType);
    appendMember(json, "deviceGroup", envelope.deviceGroup);
    appendMember(json, "environment", envelope.environment);
    appendMember(json, "clientTs", envelope.clientTs);
    appendMember(json, "dispatchNumber", envelope.dispatchNumber);
    appendMember(json, "actionCounter", envelope.actionCounter);
    appendMember(json, "userAgent", request.header("User-Agent"));
    appendMember(json, "cookie", cookieOf(request));
    appendMember(json, "user");
    if (user.type.empty()) {
        json += "null";
    } else {
        json += '{';
        appendMember(json, "type", user.type);
        appendMember(json, "token", user.token);
        json += '}';
    }
    return json;
}

std::string headersJSON(const HttpRequest& request) {
    const NamedTexts& headers = request.headers;
    std::string json = "{";
    for (auto header = headers.begin(); header != headers.end(); ++header) {
        const auto sameName = [&](const auto& other) {
            return other.first == header->first;
        };
        if (std::any_of(headers.begin(), header, sameName)) continue;
        std::string joined = header->second;
        for (auto other = header + 1; other != headers.end(); ++other) {
            if (sameName(*other)) joined += ", " + other->second;
        }
        if (json.size() > 1) json += ',';
        appendJSONString(json, header->first);
        json += ':';
        appendJSONString(json, joined);
    }
    json += '}';
    return json;
}

std::string findingsJSON(const std::vector<Finding>& findings) {
    std::string json = "[";
    for (const auto& finding : findings) {
        json += json.size() > 1 ? ",{" : "{";
        appendMember(json, "path", finding.path);
        appendMember(json, "message", finding.message);
        json += '}';
    }
    json += ']';
    return json;
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
