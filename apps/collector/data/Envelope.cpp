#include "collector/data/Envelope.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "json/JSONText.h"
#include "model/EventFields.h"

namespace zentara::collector {

namespace {

// Properties may be nested 512 levels deep; the envelope around them adds a few.
constexpr std::size_t deepestNesting = 520;

// Keeps lists of names small.
constexpr std::size_t longestName = 256;

/// Takes fields out of one object and sets `fault` at the first that is missing or of another kind.
/// After that it returns empty values.
class FieldReader {
  public:
    using Kind = JSONValue::Kind;

    FieldReader(const JSONObject& object, std::string place, std::string& fault)
        : object_(object), place_(std::move(place)), fault_(fault) {}

    [[nodiscard]] std::string_view text(std::string_view key) {
        const auto* const value = require(key, Kind::string, "is not a string");
        return value == nullptr ? std::string_view() : value->string();
    }

    [[nodiscard]] std::string_view name(std::string_view key) {
        const auto name = text(key);
        if (name.size() <= longestName) return name;
        note(key, "is longer than " + std::to_string(longestName) + " bytes");
        return {};
    }

    [[nodiscard]] std::int64_t integer(std::string_view key) {
        const auto* const value = find(key);
        if (value == nullptr) return 0;
        const auto number = value->asInteger();
        if (!number) note(key, "is not an integer");
        return number.value_or(0);
    }

    void take(std::string_view key, std::string_view& field) {
        constexpr std::string_view names[] = {"id", "version", "zentaraClientContextID",
                                              "zentaraActionUUID"};
        const bool isName = std::ranges::find(names, key) != std::end(names);
        field = isName ? name(key) : text(key);
    }
    void take(std::string_view key, std::optional<std::string_view>& /*field*/) {
        const auto* const value = find(key);
        if (value != nullptr && !value->isString() && !value->isNull()) {
            note(key, "is neither a string nor null");
        }
    }
    void take(std::string_view key, std::int64_t& field) { field = integer(key); }
    void take(std::string_view key, const JSONValue*& field) {
        field = require(key, Kind::object, "is not an object");
    }

    /// Null after a fault.
    [[nodiscard]] const JSONValue* require(std::string_view key, Kind kind,
                                           std::string_view problem) {
        const auto* const value = find(key);
        if (value == nullptr || value->kind() == kind) return value;
        note(key, problem);
        return nullptr;
    }

  private:
    [[nodiscard]] const JSONValue* find(std::string_view key) {
        if (!fault_.empty()) return nullptr;
        const auto* const value = object_.find(key);
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
    FieldReader reader(value.object(), place + ": ", fault);
    BorrowedEventFields fields;
    visitEventMembers<BorrowedEventFields>([&](auto member) {
        // Posted events have no user.
        if constexpr (member.key != "user") reader.take(member.key, fields.*member.field);
        return fault.empty();
    });
    Action action{.schema = std::string(fields.id).append("-").append(fields.version),
                  .uuid = std::string(fields.zentaraActionUUID),
                  .contextID = std::string(fields.zentaraClientContextID),
                  .sequence = fields.zentaraActionSequence,
                  .actionTs = fields.createdAt,
                  .json = {},
                  .properties = fields.properties};
    if (fault.empty() && !appendJSON(action.json, value, deepestNesting)) {
        fault = place + ": a number is beyond what a double holds";
    }
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
    using Kind = JSONValue::Kind;
    if (const auto* actions = fields.require("actions", Kind::array, "is not an array")) {
        envelope.actions.reserve(actions->array().size());
        for (const JSONValue& action : actions->array()) {
            if (!fault.empty()) break;
            envelope.actions.push_back(readAction(action, envelope.actions.size(), fault));
        }
    }
    if (!fault.empty()) return EnvelopeFault{EnvelopeFault::Kind::wrongShape, fault};
    envelope.document = std::move(document);
    return envelope;
}

}  // namespace zentara::collector
