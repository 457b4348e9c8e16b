#include "collector/data/Envelope.h"

#include <cmath>
#include <limits>
#include <optional>
#include "json/JSONValue.h"

#include "collector/data/JSONText.h"
#include "json/JSONParser.h"

namespace zentara::collector {

namespace {

// Properties may be nested 512 levels deep; the envelope around them adds a few.
constexpr std::size_t deepestNesting = 520;

// What is counted and listed by its name stays small enough to be shown with all others.
constexpr std::size_t longestName = 256;

std::optional<std::int64_t> integerIn(const JSONValue& value) {
    if (value.isInteger()) return value.integer();
    if (value.isDouble()) {
        const double number = value.number();
        constexpr double limit = 9223372036854775808.0;
        if (std::trunc(number) == number && number >= -limit && number < limit) {
            return static_cast<std::int64_t>(number);
        }
    }
    return std::nullopt;
}

/// Takes fields out of one object and notes the first that is not as it should be; after that it
/// answers with empty values.
class FieldReader {
  public:
    FieldReader(const JSONObject& object, std::string place, std::string& fault)
        : object_(object), place_(std::move(place)), fault_(fault) {}

    [[nodiscard]] std::string text(std::string_view key) {
        const auto* value = find(key);
        if (value == nullptr) return {};
        if (!value->isString()) {
            note(key, "is not a string");
            return {};
        }
        return {value->string().data(), value->string().size()};
    }

    [[nodiscard]] std::string name(std::string_view key) {
        std::string name = text(key);
        if (name.size() <= longestName) return name;
        note(key, "is longer than " + std::to_string(longestName) + " bytes");
        return {};
    }

    [[nodiscard]] std::int64_t integer(std::string_view key) {
        const auto* value = find(key);
        if (value == nullptr) return 0;
        const auto number = integerIn(*value);
        if (!number) note(key, "is not an integer");
        return number.value_or(0);
    }

    [[nodiscard]] const JSONValue* objectValue(std::string_view key) {
        const auto* value = find(key);
        if (value != nullptr && !value->isObject()) note(key, "is not an object");
        return value;
    }

    void requireStringOrNull(std::string_view key) {
        const auto* value = find(key);
        if (value != nullptr && !value->isString() && !value->isNull()) {
            note(key, "is neither a string nor null");
        }
    }

    [[nodiscard]] const JSONArray* array(std::string_view key) {
        const auto* value = find(key);
        if (value != nullptr && !value->isArray()) note(key, "is not an array");
        return value == nullptr ? nullptr : value->ifArray();
    }

  private:
    [[nodiscard]] const JSONValue* find(std::string_view key) {
        if (!fault_.empty()) return nullptr;
        const auto* value = object_.find({key.data(), key.size()});
        if (value == nullptr) note(key, "is missing");
        return value;
    }

    void note(std::string_view key, std::string_view problem) {
        fault_.append(place_).append("\"").append(key).append("\" ").append(problem);
    }

    const JSONObject& object_;
    std::string place_;
    std::string& fault_;
};

Action readAction(const JSONValue& value, std::size_t index, std::string& fault) {
    const std::string place = "actions[" + std::to_string(index) + "]";
    if (!value.isObject()) {
        fault = place + " is not an object";
        return {};
    }
    FieldReader fields(value.object(), place + ": ", fault);
    Action action;
    action.schema = fields.name("id");
    action.schema += '-';
    action.schema += fields.name("version");
    (void)fields.text("url");
    (void)fields.text("contentType");
    action.properties = fields.objectValue("properties");
    action.actionTs = fields.integer("actionTs");
    (void)fields.text("zentaraClientVersion");
    (void)fields.text("zentaraClientReferer");
    fields.requireStringOrNull("zentaraRelationId");
    action.contextID = fields.name("zentaraClientContextID");
    action.sequence = fields.integer("zentaraActionSequence");
    action.uuid = fields.name("zentaraActionUUID");
    (void)fields.text("zentaraActionExtraAttributes");
    if (fault.empty() && holdsInfinity(value)) {
        fault = place + ": a number is beyond what a double holds";
    }
    if (fault.empty()) action.json += value.text();
    return action;
}

}  // namespace

std::variant<Envelope, EnvelopeFault> readEnvelope(std::string_view body) {
    auto parsed = parseJSONValue(body, {.depth = deepestNesting});
    if (!parsed.ok()) {
        return EnvelopeFault{EnvelopeFault::Kind::notJSON,
                             "the body is not " + parsed.error()->description()};
    }
    auto document = std::make_shared<const JSONValue>(*std::move(parsed));
    if (!document->isObject()) {
        return EnvelopeFault{EnvelopeFault::Kind::wrongShape, "an envelope is a JSON object"};
    }

    std::string fault;
    FieldReader fields(document->object(), "", fault);
    Envelope envelope;
    envelope.clientUUID = fields.name("zentaraClientUUID");
    envelope.tenant = fields.name("zentaraClientTenant");
    envelope.clientType = fields.text("zentaraClientType");
    envelope.deviceGroup = fields.text("zentaraClientDeviceGroup");
    envelope.environment = fields.text("zentaraEnvironment");
    envelope.clientTs = fields.integer("zentaraClientTs");
    envelope.dispatchNumber = fields.integer("zentaraDispatchNumber");
    envelope.actionCounter = fields.integer("zentaraActionCounter");
    if (const auto* actions = fields.array("actions")) {
        envelope.actions.reserve(actions->size());
        for (std::size_t index = 0; index < actions->size() && fault.empty(); ++index) {
            envelope.actions.push_back(readAction((*actions)[index], index, fault));
        }
    }
    if (!fault.empty()) return EnvelopeFault{EnvelopeFault::Kind::wrongShape, fault};
    envelope.document = std::move(document);
    return envelope;
}

}  // namespace zentara::collector
