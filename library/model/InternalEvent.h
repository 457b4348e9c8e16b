#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "model/EventFields.h"

namespace zentara {

/// A stamped event as it is queued, stored and posted.
///
/// An immutable value: copies share one payload. The payload holds the event as fields, as JSON
/// text or as both. A missing form is made at its first use and kept: an event is encoded once
/// however often the queue is saved, and an event from a file is decoded only when its fields are
/// read. Safe to use from any thread.
class InternalEvent {
  public:
    using Fields = OwnedEventFields;
    using BorrowedFields = BorrowedEventFields;

    struct DecodingError final : Error {
        [[nodiscard]] std::string description() const override;
    };

    /// The event's text and where its "user" member, the last one, begins with its comma.
    struct Text {
        std::string_view json;
        std::size_t userOffset = 0;
        const void* owner = nullptr;  ///< tells apart the memory that texts lie in
    };

    explicit InternalEvent(Fields fields);

    /// An event that holds its text only: an event that is sent never needs its fields, and copying
    /// them is half of the memory allocations of a send. If JSON cannot hold the event, it has no
    /// text and no fields.
    [[nodiscard]] static InternalEvent encoded(const BorrowedFields& fields);

    [[nodiscard]] static Result<InternalEvent> fromDictionary(const JSONObject& dictionary);

    /// An event that `text` spells in exactly the form that `jsonText` writes. `owner` keeps the
    /// text alive.
    [[nodiscard]] static InternalEvent fromText(std::shared_ptr<const void> owner, Text text);

    /// All fourteen members, an absent relation id as null.
    [[nodiscard]] JSONObject toDictionary() const;

    [[nodiscard]] const Fields& fields() const;
    [[nodiscard]] const std::string& id() const { return fields().id; }
    [[nodiscard]] const std::string& version() const { return fields().version; }
    [[nodiscard]] const JSONValue& properties() const { return *fields().properties; }
    [[nodiscard]] const StringMap& user() const { return fields().user; }

    /// The compact text of `toDictionary`, valid as long as this event or a copy. Nothing when JSON
    /// cannot hold the event: a number that is not finite, or properties nested too deeply for an
    /// envelope.
    [[nodiscard]] std::optional<std::string_view> jsonText() const;

    /// Appends the text without "user", as the collector gets it. False when JSON cannot hold it.
    [[nodiscard]] bool appendBodyText(std::string& text) const;

    /// The text as `fromText` takes it; empty when JSON cannot hold the event.
    [[nodiscard]] Text text() const;
    /// The same event without its fields in memory, if it has a text.
    [[nodiscard]] InternalEvent packed() const;

    /// The `zentaraActionUUID` as the text spells it, found without decoding the event. Empty when
    /// there is no text.
    [[nodiscard]] std::string_view actionUUIDText() const;

    /// Whether both texts spell the same user. Equal users can be spelled differently.
    [[nodiscard]] bool isOfSameUserText(const InternalEvent& other) const;

    /// Whether both are copies of one event, with the same payload.
    [[nodiscard]] bool isCopyOf(const InternalEvent& other) const noexcept {
        return payload_ == other.payload_;
    }

    /// Whether all fields but the context id are equal; numbers in properties compare by value.
    friend bool operator==(const InternalEvent& left, const InternalEvent& right);

  private:
    struct Payload;

    explicit InternalEvent(std::shared_ptr<Payload> payload) : payload_(std::move(payload)) {}

    std::shared_ptr<Payload> payload_;
};

}  // namespace zentara
