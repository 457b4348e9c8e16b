#pragma once

#include <zentara/JSONValue.h>

#include <cstdint>
#include <optional>
#include <string>

namespace zentara::soak {

/// A numbered event of a host, for the schemas of examples/schemas. The number determines its kind
/// and size and is part of its text.
struct NumberedEvent {
    std::string schemaId;
    std::string schemaVersion;
    JSONObject properties;
};

[[nodiscard]] NumberedEvent numberedEvent(std::int64_t number);

/// Whether the event of this number is valid. One in 16 does not fit its schema, and one in 16 has
/// none.
[[nodiscard]] bool isValid(std::int64_t number) noexcept;

/// The number of an event from a collector or from a queue's file; nothing if it is not a numbered
/// event.
[[nodiscard]] std::optional<std::int64_t> numberOf(const JSONObject& event);

}  // namespace zentara::soak
