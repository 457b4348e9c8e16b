#pragma once

#include <zentara/JSONValue.h>

#include <cstdint>
#include <optional>
#include <string>

namespace zentara::soak {

/// One of the numbered events of a host, after the schemas of examples/schemas. Its number decides
/// on its kind and its size, and is found in its text again wherever it arrives.
struct NumberedEvent {
    std::string schemaId;
    std::string schemaVersion;
    JSONObject properties;
};

[[nodiscard]] NumberedEvent numberedEvent(std::int64_t number);

/// Whether the event of this number is to be queued. The others are wrong on purpose: one in 16
/// breaks its schema, and one in 16 has none.
[[nodiscard]] bool isValid(std::int64_t number) noexcept;

/// The number of an event as it arrived or as a queue's file holds it; nothing for one of another
/// origin.
[[nodiscard]] std::optional<std::int64_t> numberOf(const JSONObject& event);

}  // namespace zentara::soak
