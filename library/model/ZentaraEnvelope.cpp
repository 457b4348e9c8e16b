#include "model/ZentaraEnvelope.h"

#include <algorithm>
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
    ZentaraEnvelope envelope;
    const auto* const actions = dictionary.find("actions");
    if (!(readMember(dictionary, "zentaraClientUUID", envelope.zentaraClientUUID) &&
          readMember(dictionary, "zentaraClientTenant", envelope.zentaraClientTenant) &&
          readMember(dictionary, "zentaraClientType", envelope.zentaraClientType) &&
          readMember(dictionary, "zentaraClientDeviceGroup", envelope.zentaraClientDeviceGroup) &&
          readMember(dictionary, "zentaraClientTs", envelope.zentaraClientTs) &&
          readMember(dictionary, "zentaraDispatchNumber", envelope.zentaraDispatchNumber) &&
          readMember(dictionary, "zentaraActionCounter", envelope.zentaraActionCounter) &&
          actions != nullptr && actions->isArray() &&
          std::ranges::all_of(actions->array(), &JSONValue::isObject))) {
        return std::make_shared<DecodingError>();
    }
    for (const auto& action : actions->array()) {
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
    for (const auto& action : actions) {
        if (&action != actions.data()) body += ',';
        if (!action.appendBodyText(body)) return std::nullopt;
    }
    body += "]}";
    return body;
}

}  // namespace zentara
