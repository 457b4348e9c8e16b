// An envelope as the client reads and writes it, and as the collector reads it then.

#include <algorithm>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "Check.h"
#include "collector/data/ArrivalCheck.h"
#include "collector/data/Envelope.h"
#include "collector/data/SchemaCatalogue.h"
#include "json/JSONText.h"
#include "json/ObjectEquality.h"
#include "model/ZentaraEnvelope.h"

using namespace zentara;
using zentara::fuzz::check;

namespace {

const collector::SchemaSnapshot& schemas() {
    static const auto snapshot = collector::SchemaCatalogue(ZENTARA_FUZZ_SCHEMAS).current();
    return *snapshot;
}

void checkRead(const collector::Envelope& envelope) {
    const auto& posted = envelope.document->at("actions").array();
    check(posted.size() == envelope.actions.size(), "every action was read");
    for (std::size_t i = 0; i < posted.size(); ++i) {
        // Other programs parse stored actions with their own parsers.
        const auto kept = parseJSON(envelope.actions[i].json);
        check(kept.ok() && objectsEqual(*kept, posted[i]), "an action is stored as posted");
        check(envelope.actions[i].properties == &posted[i].at("properties"),
              "the properties are those of the action");
    }
    const auto findings = collector::checkEnvelope(envelope, schemas());
    check(findings.size() == envelope.actions.size(), "every action was checked");
    check(findings == collector::checkEnvelope(envelope, schemas()),
          "a second check has the same findings");
}

/// The client stores a user with each action and does not post it.
void addUsers(JSONObject& envelope) {
    auto* const actions = envelope.find("actions");
    if (actions == nullptr || !actions->isArray()) return;
    for (auto& action : actions->array()) {
        if (auto* const object = action.ifObject();
            object != nullptr && !object->contains("user")) {
            object->set("user", JSONObject());
        }
    }
}

bool hasLongName(const ZentaraEnvelope& envelope) {
    std::vector<std::string_view> names{envelope.zentaraClientUUID, envelope.zentaraClientTenant};
    for (const auto& action : envelope.actions) {
        const auto& fields = action.fields();
        names.insert(names.end(), {fields.id, fields.version, fields.zentaraClientContextID,
                                   fields.zentaraActionUUID});
    }
    return std::any_of(names.begin(), names.end(),
                       [](std::string_view name) { return name.size() > 256; });
}

void checkWritten(const ZentaraEnvelope& envelope) {
    const auto dictionary = envelope.toDictionary();
    const auto same = ZentaraEnvelope::fromDictionary(dictionary);
    check(same.ok() && *same == envelope, "a written envelope decodes unchanged");
    const auto body = envelope.requestBody();
    if (!body || hasLongName(envelope)) return;
    const auto read = collector::readEnvelope(*body);
    const auto* const arrived = std::get_if<collector::Envelope>(&read);
    check(arrived != nullptr, "the collector reads what the client posts");
    check(arrived->clientUUID == envelope.zentaraClientUUID &&
              arrived->tenant == envelope.zentaraClientTenant &&
              arrived->clientTs == envelope.zentaraClientTs &&
              arrived->dispatchNumber == envelope.zentaraDispatchNumber &&
              arrived->actionCounter == envelope.zentaraActionCounter &&
              arrived->actions.size() == envelope.actions.size(),
          "an envelope arrives as it was");
    for (std::size_t i = 0; i < envelope.actions.size(); ++i) {
        const auto& sent = envelope.actions[i].fields();
        const auto& action = arrived->actions[i];
        check(action.schema == sent.id + "-" + sent.version &&
                  action.uuid == sent.zentaraActionUUID &&
                  action.contextID == sent.zentaraClientContextID &&
                  action.sequence == sent.zentaraActionSequence &&
                  action.actionTs == sent.createdAt &&
                  objectsEqual(*action.properties, *sent.properties),
              "an action arrives as it was");
    }
    checkRead(*arrived);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto text = fuzz::asText(data, size);
    auto parsed = parseJSON(text);
    if (parsed.error() || !parsed->isObject()) return 0;
    addUsers(parsed->object());
    const auto decoded = ZentaraEnvelope::fromDictionary(parsed->object());
    if (decoded.ok()) checkWritten(*decoded);
    return 0;
}
