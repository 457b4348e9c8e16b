#include "model/ZentaraEnvelope.h"

#include <memory>
#include <utility>

#include "json/JSONText.h"

namespace zentara {

namespace {

constexpr std::string_view environmentName = "app";

/// All members but the actions.
JSONObject headOf(const ZentaraEnvelope& envelope) {
    return {
        {"zentaraClientUUID", envelope.zentaraClientUUID},
        {"zentaraClientTenant", envelope.zentaraClientTenant},
        {"zentaraClientType", envelope.zentaraClientType},
        {"zentaraClientDeviceGroup", envelope.zentaraClientDeviceGroup},
        {"zentaraClientTs", envelope.zentaraClientTs},
        {"zentaraEnvironment", environmentName},
        {"zentaraDispatchNumber", envelope.zentaraDispatchNumber},
        {"zentaraActionCounter", envelope.zentaraActionCounter},
    };
}

}  // namespace

std::string ZentaraEnvelope::DecodingError::description() const {
    return "the dictionary does not hold an envelope";
}

JSONObject ZentaraEnvelope::toDictionary() const {
    JSONArray actionDictionaries;
    actionDictionaries.reserve(actions.size());
    for (const auto& action : actions)
        actionDictionaries.push_back(action.toDictionary());
    auto dictionary = headOf(*this);
    dictionary["actions"] = std::move(actionDictionaries);
    return dictionary;
}

Result<ZentaraEnvelope> ZentaraEnvelope::fromDictionary(const JSONObject& dictionary) {
    RecordReader reader(dictionary);
    ZentaraEnvelope envelope;
    envelope.zentaraClientUUID = reader.string("zentaraClientUUID");
    envelope.zentaraClientTenant = reader.string("zentaraClientTenant");
    envelope.zentaraClientType = reader.string("zentaraClientType");
    envelope.zentaraClientDeviceGroup = reader.string("zentaraClientDeviceGroup");
    envelope.zentaraClientTs = reader.integer("zentaraClientTs");
    const auto* actions = reader.arrayOfObjects("actions");
    envelope.zentaraDispatchNumber = reader.integer("zentaraDispatchNumber");
    envelope.zentaraActionCounter = reader.integer("zentaraActionCounter");
    if (reader.failed()) return std::make_shared<DecodingError>();
    for (const auto& action : *actions) {
        auto decoded = InternalEvent::fromDictionary(action.object());
        if (!decoded.ok()) return decoded.status();
        envelope.actions.push_back(*std::move(decoded));
    }
    return envelope;
}

std::optional<std::string> ZentaraEnvelope::requestBody() const {
    std::string body;
    if (!appendJSON(body, headOf(*this))) return std::nullopt;
    body.pop_back();
    body += R"(,"actions":[)";
    bool first = true;
    for (const auto& action : actions) {
        if (!first) body += ',';
        first = false;
        if (!action.appendBodyText(body)) return std::nullopt;
    }
    body += "]}";
    return body;
}

}  // namespace zentara
