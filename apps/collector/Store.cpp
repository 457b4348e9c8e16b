#include "collector/Store.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "collector/Cookies.h"
#include "collector/JSONText.h"

namespace zentara::collector {

namespace {

void appendMember(std::string& json, std::string_view name) {
    if (json.back() != '{') json += ',';
    appendJSONString(json, name);
    json += ':';
}

void appendMember(std::string& json, std::string_view name, std::string_view text) {
    appendMember(json, name);
    appendJSONString(json, text);
}

void appendMember(std::string& json, std::string_view name, std::int64_t number) {
    appendMember(json, name);
    json += std::to_string(number);
}

void appendNamedTexts(std::string& json, std::string_view name, const NamedTexts& texts) {
    appendMember(json, name);
    json += '{';
    for (auto text = texts.begin(); text != texts.end(); ++text) {
        const auto sameName = [&](const auto& other) {
            return other.first == text->first;
        };
        if (std::any_of(texts.begin(), text, sameName)) continue;
        std::string joined = text->second;
        for (auto other = text + 1; other != texts.end(); ++other) {
            if (sameName(*other)) joined += ", " + other->second;
        }
        appendMember(json, text->first, joined);
    }
    json += '}';
}

/// The user of an envelope's events: the cookie that is named after a kind of user.
void appendUser(std::string& json, const NamedTexts& cookies) {
    constexpr std::array<std::string_view, 4> userTypes{"QVNID", "GST", "EXT_ID", "Anonymous"};
    appendMember(json, "user");
    const auto user = std::find_if(cookies.begin(), cookies.end(), [&](const auto& cookie) {
        return std::find(userTypes.begin(), userTypes.end(), cookie.first) != userTypes.end();
    });
    if (user == cookies.end()) {
        json += "null";
        return;
    }
    json += '{';
    appendMember(json, "type", user->first);
    appendMember(json, "token", user->second);
    json += '}';
}

/// What is the same for all events of an envelope, as members without braces.
std::string envelopeFacts(const HttpRequest& request, const Envelope& envelope) {
    const std::string cookie = request.header("Cookie", "; ");
    std::string json = "{";
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
    appendMember(json, "cookie", cookie);
    appendUser(json, parseCookies(cookie));
    return json.substr(1);
}

template <typename Records, typename Matches, typename RecordOf>
Store::Page select(const Records& records, const Store::Selection& selection, Matches matches,
                   RecordOf recordOf) {
    Store::Page page;
    for (const auto& candidate : records) {
        if (!matches(candidate)) continue;
        const std::size_t position = page.total++;
        if (position < selection.offset) continue;
        if (selection.limit && page.records.size() >= *selection.limit) continue;
        page.records.push_back(recordOf(candidate));
    }
    return page;
}

constexpr auto all = [](const Store::Record&) {
    return true;
};
constexpr auto itself = [](const Store::Record& record) {
    return record;
};

}  // namespace

void Store::addRequest(const HttpRequest& request, int status, const std::string& reason) {
    std::string json = "{";
    appendMember(json, "receivedAt", request.receivedAt);
    appendMember(json, "method", request.method);
    appendMember(json, "target", request.target);
    appendNamedTexts(json, "headers", request.headers);
    appendMember(json, "bodySize", static_cast<std::int64_t>(request.body.size()));
    appendMember(json, "status", status);
    if (!reason.empty()) appendMember(json, "reason", reason);
    json += '}';
    auto record = std::make_shared<const std::string>(std::move(json));

    const std::lock_guard lock(mutex_);
    ++requestCount_;
    requests_.push_back(std::move(record));
    if (requests_.size() > requestCapacity) requests_.pop_front();
}

std::vector<Store::Record> Store::addEnvelope(const HttpRequest& request,
                                              const Envelope& envelope) {
    std::string posted = "{";
    appendMember(posted, "receivedAt", request.receivedAt);
    appendNamedTexts(posted, "headers", request.headers);
    appendMember(posted, "envelope");
    posted += request.body;
    posted += '}';
    auto record = std::make_shared<const std::string>(std::move(posted));

    // All texts but the three numbers that depend on what came before are built outside the lock.
    const std::string facts = envelopeFacts(request, envelope);
    std::vector<std::string> texts;
    for (const Action& action : envelope.actions) {
        std::string& json = texts.emplace_back(",");
        json += facts;
        appendMember(json, "schema", action.schema);
        appendMember(json, "actionUUID", action.uuid);
        appendMember(json, "sequence", action.sequence);
        appendMember(json, "event");
        json += action.json;
        json += '}';
    }

    std::vector<Record> records;
    records.reserve(texts.size());
    const std::lock_guard lock(mutex_);
    envelopes_.push_back(std::move(record));
    for (std::size_t index = 0; index < texts.size(); ++index) {
        const Action& action = envelope.actions[index];
        const bool isNew = actionUUIDs_.insert(action.uuid).second;
        ++eventsBySchema_[action.schema];
        std::string json = "{";
        appendMember(json, "number", static_cast<std::int64_t>(events_.size() + 1));
        appendMember(json, "envelope", static_cast<std::int64_t>(envelopes_.size()));
        appendMember(json, "duplicate");
        json += isNew ? "false" : "true";
        json += texts[index];
        records.push_back(std::make_shared<const std::string>(std::move(json)));
        events_.push_back({action.schema, records.back()});
    }
    return records;
}

Store::Summary Store::summary() const {
    const std::lock_guard lock(mutex_);
    return {requestCount_, envelopes_.size(), events_.size(), actionUUIDs_.size(), eventsBySchema_};
}

Store::Page Store::events(const Selection& selection) const {
    const std::lock_guard lock(mutex_);
    return select(
        events_, selection,
        [&](const Event& event) { return !selection.schema || event.schema == *selection.schema; },
        [](const Event& event) { return event.record; });
}

Store::Page Store::envelopes(const Selection& selection) const {
    const std::lock_guard lock(mutex_);
    return select(envelopes_, selection, all, itself);
}

Store::Page Store::requests(const Selection& selection) const {
    const std::lock_guard lock(mutex_);
    return select(requests_, selection, all, itself);
}

void Store::reset() {
    const std::lock_guard lock(mutex_);
    requestCount_ = 0;
    requests_.clear();
    envelopes_.clear();
    events_.clear();
    actionUUIDs_.clear();
    eventsBySchema_.clear();
}

}  // namespace zentara::collector
