#include "model/InternalEvent.h"

#include <atomic>
#include <utility>

#include "json/JSONText.h"
#include "json/ObjectEquality.h"

namespace zentara {

namespace {

/// Appends the members of an event to a text.
template <typename Fields>
class EventWriter {
  public:
    explicit EventWriter(std::string& text) : writer_(text) {}

    /// Begins with a comma. Returns where "user" begins, or nothing when JSON cannot hold the
    /// event.
    [[nodiscard]] std::optional<std::size_t> write(const Fields& fields) {
        std::size_t start = 0;
        const bool isWhole = visitEventMembers<Fields>([this, &fields, &start](auto member) {
            start = writer_.length();
            writer_.text({member.prefix.data(), member.prefix.size()});
            return write(fields.*member.field);
        });
        writer_.text("}");
        return isWhole ? std::optional(start) : std::nullopt;
    }

  private:
    [[nodiscard]] bool write(const typename Fields::Text& text) {
        writer_.string(text);
        return true;
    }
    [[nodiscard]] bool write(const typename Fields::OptionalText& text) {
        if (text) return write(*text);
        writer_.text("null");
        return true;
    }
    [[nodiscard]] bool write(std::int64_t number) {
        writer_.integer(number);
        return true;
    }
    [[nodiscard]] bool write(const typename Fields::Properties& properties) {
        return writer_.value(*properties, maximumPropertiesDepth);
    }
    [[nodiscard]] bool write(const typename Fields::User& user) {
        std::string_view separator = "{";
        for (const auto& [key, value] : user) {
            writer_.text(std::exchange(separator, ","));
            writer_.string(key);
            writer_.text(":");
            writer_.string(value);
        }
        writer_.text(user.empty() ? "{}" : "}");
        return true;
    }

    JSONWriter writer_;
};

std::optional<InternalEvent::Fields> decodeFields(const JSONObject& dictionary) {
    InternalEvent::Fields fields;
    const bool isWhole = visitEventMembers<InternalEvent::Fields>(
        [&](auto member) { return readMember(dictionary, member.key, fields.*member.field); });
    return isWhole ? std::optional(std::move(fields)) : std::nullopt;
}

/// A text or a number.
template <typename Field>
JSONValue valueOf(const Field& field) {
    return field;
}
JSONValue valueOf(const std::optional<std::string>& text) {
    return text ? JSONValue(*text) : JSONValue();
}
JSONValue valueOf(const std::shared_ptr<const JSONValue>& object) {
    return *object;
}
JSONValue valueOf(const StringMap& strings) {
    JSONObject object;
    for (const auto& [key, value] : strings)
        object[key] = value;
    return object;
}

template <typename Field>
bool equal(const Field& one, const Field& other) {
    return one == other;
}
bool equal(const std::shared_ptr<const JSONValue>& one,
           const std::shared_ptr<const JSONValue>& other) {
    return objectsEqual(*one, *other);
}

InternalEvent::Fields fieldsOfText(std::string_view text) {
    if (const auto parsed = parseJSON(text); parsed.ok() && parsed->isObject()) {
        if (auto fields = decodeFields(parsed->object())) return *std::move(fields);
    }
    // Unreachable for a text that this class wrote. Harmless for another: the text itself is stored
    // and posted.
    InternalEvent::Fields empty;
    empty.properties = std::make_shared<const JSONValue>(JSONObject());
    return empty;
}

}  // namespace

struct InternalEvent::Payload {
    // A save reads these for thousands of events, so they come first.
    Text text;  // empty when JSON cannot hold the event
    std::shared_ptr<const void> textOwner;
    // Made at first use. If several threads make them, the first to store them wins.
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
        const auto userOffset = EventWriter<Record>(*encoded).write(record);
        if (!userOffset) return;
        encoded->front() = '{';
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

Result<InternalEvent> InternalEvent::fromDictionary(const JSONObject& dictionary) {
    if (auto fields = decodeFields(dictionary)) return InternalEvent(*std::move(fields));
    return std::make_shared<DecodingError>();
}

InternalEvent InternalEvent::encoded(const BorrowedFields& fields) {
    return InternalEvent(std::make_shared<Payload>(fields));
}

InternalEvent InternalEvent::fromText(std::shared_ptr<const void> owner, Text text) {
    return InternalEvent(std::make_shared<Payload>(std::move(owner), text));
}

JSONObject InternalEvent::toDictionary() const {
    JSONObject dictionary;
    visitEventMembers<Fields>([&dictionary, &all = fields()](auto member) {
        dictionary.set(member.key, valueOf(all.*member.field));
        return true;
    });
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
    return visitEventMembers<InternalEvent::Fields>([&one, &other](auto member) {
        // Two events of different contexts may be equal: the context says when, not what.
        return member.key == "zentaraClientContextID" ||
               equal(one.*member.field, other.*member.field);
    });
}

}  // namespace zentara
