#include "model/InternalEvent.h"

#include <atomic>
#include <utility>

#include "json/JSONText.h"
#include "json/JSONWriter.h"
#include "json/ObjectEquality.h"

namespace zentara {

namespace {

/// Appends the members in the one order that `EventDecoder` takes without decoding, "user" last so
/// that it can be cut off. Returns where "user" begins, or nothing when JSON cannot hold the event.
template <typename Record>
std::optional<std::size_t> appendFields(std::string& text, const Record& fields) {
    JSONWriter writer(text);
    const auto member = [&writer](std::string_view key, std::string_view value) {
        writer.text(key);
        writer.string(value);
    };
    member(R"({"id":)", fields.id);
    member(R"(,"version":)", fields.version);
    member(R"(,"url":)", fields.url);
    member(R"(,"contentType":)", fields.contentType);
    writer.text(R"(,"properties":)");
    if (!writer.value(*fields.properties, maximumPropertiesDepth)) return std::nullopt;
    writer.text(R"(,"actionTs":)");
    writer.integer(fields.createdAt);
    member(R"(,"zentaraClientVersion":)", fields.clientVersion);
    member(R"(,"zentaraClientReferer":)", fields.referer);
    if (fields.relationId) {
        member(R"(,"zentaraRelationId":)", *fields.relationId);
    } else {
        writer.text(R"(,"zentaraRelationId":null)");
    }
    member(R"(,"zentaraClientContextID":)", fields.zentaraClientContextID);
    writer.text(R"(,"zentaraActionSequence":)");
    writer.integer(fields.zentaraActionSequence);
    member(R"(,"zentaraActionUUID":)", fields.zentaraActionUUID);
    member(R"(,"zentaraActionExtraAttributes":)", fields.zentaraActionExtraAttributes);
    const auto userOffset = writer.length();
    writer.text(R"(,"user":{)");
    bool first = true;
    for (const auto& [key, value] : fields.user) {
        if (!first) writer.text(",");
        first = false;
        writer.string(key);
        writer.text(":");
        writer.string(value);
    }
    writer.text("}}");
    return userOffset;
}

std::optional<InternalEvent::Fields> decodeFields(const JSONObject& dictionary,
                                                  std::shared_ptr<const JSONValue> properties) {
    RecordReader reader(dictionary);
    InternalEvent::Fields fields;
    fields.id = reader.string("id");
    fields.version = reader.string("version");
    fields.url = reader.string("url");
    fields.contentType = reader.string("contentType");
    const auto* propertiesObject = reader.object("properties");
    fields.createdAt = reader.integer("actionTs");
    fields.clientVersion = reader.string("zentaraClientVersion");
    fields.referer = reader.string("zentaraClientReferer");
    fields.user = reader.strings("user");
    fields.zentaraActionUUID = reader.string("zentaraActionUUID");
    fields.zentaraActionExtraAttributes = reader.string("zentaraActionExtraAttributes");
    fields.zentaraClientContextID = reader.string("zentaraClientContextID");
    fields.zentaraActionSequence = reader.integer("zentaraActionSequence");
    fields.relationId = reader.optionalString("zentaraRelationId");
    if (reader.failed()) return std::nullopt;
    fields.properties =
        properties ? std::move(properties) : std::make_shared<const JSONValue>(*propertiesObject);
    return fields;
}

InternalEvent::Fields fieldsOfText(std::string_view text) {
    if (const auto parsed = parseJSON(text); parsed.ok() && parsed->isObject()) {
        if (auto fields = decodeFields(parsed->object(), nullptr)) return *std::move(fields);
    }
    // Unreachable for a text that was written by this class; harmless otherwise, since the text
    // itself is what is stored and posted.
    InternalEvent::Fields empty;
    empty.properties = std::make_shared<const JSONValue>(JSONObject());
    return empty;
}

}  // namespace

struct InternalEvent::Payload {
    // What a save looks at, for thousands of events, comes first.
    Text text;  // empty when JSON cannot hold the event
    std::shared_ptr<const void> textOwner;
    // Made at first use. When several threads make them, those that are stored first stay.
    std::atomic<const Fields*> fields = nullptr;

    explicit Payload(Fields given) {
        encode(given);
        fields = new Fields(std::move(given));
    }
    Payload(std::shared_ptr<const void> owner, Text given)
        : text{given.json, given.userOffset, owner.get()}, textOwner(std::move(owner)) {}
    explicit Payload(const BorrowedFields& borrowed) { encode(borrowed); }
    ~Payload() { delete fields.load(); }
    Payload(const Payload&) = delete;
    Payload& operator=(const Payload&) = delete;

    const Fields& madeFields() {
        const auto* known = fields.load(std::memory_order_acquire);
        if (known != nullptr) return *known;
        auto made = std::make_unique<const Fields>(fieldsOfText(text.json));
        return fields.compare_exchange_strong(known, made.get()) ? *made.release() : *known;
    }

  private:
    template <typename Record>
    void encode(const Record& record) {
        auto encoded = std::make_shared<std::string>();
        constexpr std::size_t usualSize = 1024;
        encoded->reserve(usualSize);
        const auto userOffset = appendFields(*encoded, record);
        if (!userOffset) return;
        if (encoded->size() > usualSize) encoded->shrink_to_fit();
        text = {*encoded, *userOffset, encoded.get()};
        textOwner = std::move(encoded);
    }
};

std::string InternalEvent::DecodingError::description() const {
    return "the dictionary does not hold an event";
}

InternalEvent::InternalEvent(Fields fields) {
    if (!fields.properties) fields.properties = std::make_shared<const JSONValue>(JSONObject());
    payload_ = std::make_shared<Payload>(std::move(fields));
}

Decoded<InternalEvent> InternalEvent::fromDictionary(const JSONObject& dictionary) {
    if (auto fields = decodeFields(dictionary, nullptr)) {
        return {InternalEvent(*std::move(fields)), nullptr};
    }
    return {std::nullopt, std::make_shared<DecodingError>()};
}

InternalEvent InternalEvent::encoded(const BorrowedFields& fields) {
    return InternalEvent(std::make_shared<Payload>(fields));
}

InternalEvent InternalEvent::fromText(std::shared_ptr<const void> owner, Text text) {
    return InternalEvent(std::make_shared<Payload>(std::move(owner), text));
}

JSONObject InternalEvent::toDictionary() const {
    const auto& all = fields();
    JSONObject user;
    for (const auto& [key, value] : all.user)
        user[key] = value;
    JSONObject dictionary{
        {"id", all.id},
        {"version", all.version},
        {"url", all.url},
        {"contentType", all.contentType},
        {"properties", *all.properties},
        {"actionTs", all.createdAt},
        {"zentaraClientVersion", all.clientVersion},
        {"zentaraClientReferer", all.referer},
        {"zentaraRelationId", nullptr},
        {"zentaraClientContextID", all.zentaraClientContextID},
        {"zentaraActionSequence", all.zentaraActionSequence},
        {"zentaraActionUUID", all.zentaraActionUUID},
        {"zentaraActionExtraAttributes", all.zentaraActionExtraAttributes},
    };
    if (all.relationId) dictionary["zentaraRelationId"] = *all.relationId;
    dictionary["user"] = std::move(user);
    return dictionary;
}

const InternalEvent::Fields& InternalEvent::fields() const {
    return payload_->madeFields();
}

std::optional<std::string_view> InternalEvent::jsonText() const {
    const auto& text = payload_->text;
    if (text.json.empty()) return std::nullopt;
    return text.json;
}

bool InternalEvent::appendBodyText(std::string& text) const {
    const auto& own = payload_->text;
    if (own.json.empty()) return false;
    text += own.json.substr(0, own.userOffset);
    text += '}';
    return true;
}

InternalEvent::Text InternalEvent::text() const {
    return payload_->text;
}

InternalEvent InternalEvent::packed() const {
    const auto& text = payload_->text;
    if (text.json.empty()) return *this;
    return fromText(payload_->textOwner, text);
}

std::string_view InternalEvent::actionUUIDText() const {
    // Quotes inside of strings are escaped, so only the member itself is found.
    constexpr std::string_view key = R"("zentaraActionUUID":")";
    const auto& own = payload_->text;
    const auto member = own.json.substr(0, own.userOffset).rfind(key);
    if (member == std::string_view::npos) return {};
    const auto value = own.json.substr(member + key.size());
    return value.substr(0, value.find(R"(","zentaraActionExtraAttributes":)"));
}

bool InternalEvent::isOfSameUserText(const InternalEvent& other) const {
    const auto& one = payload_->text;
    const auto& two = other.payload_->text;
    return !one.json.empty() && !two.json.empty() &&
           one.json.substr(one.userOffset) == two.json.substr(two.userOffset);
}

bool operator==(const InternalEvent& left, const InternalEvent& right) {
    if (left.isCopyOf(right)) return true;
    const auto& one = left.fields();
    const auto& other = right.fields();
    // Two events of different contexts may be equal: the context says when, not what.
    return one.id == other.id && one.version == other.version && one.url == other.url &&
           one.contentType == other.contentType && one.createdAt == other.createdAt &&
           one.clientVersion == other.clientVersion && one.referer == other.referer &&
           objectsEqual(*one.properties, *other.properties) && one.relationId == other.relationId &&
           one.user == other.user && one.zentaraActionSequence == other.zentaraActionSequence &&
           one.zentaraActionUUID == other.zentaraActionUUID &&
           one.zentaraActionExtraAttributes == other.zentaraActionExtraAttributes;
}

}  // namespace zentara
