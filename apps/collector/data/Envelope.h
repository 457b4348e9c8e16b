#pragma once

#include <zentara/JSONValue.h>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace zentara::collector {

/// One event of an envelope.
struct Action {
    std::string schema;  ///< "{id}-{version}"
    std::string uuid;
    std::string contextID;
    std::int64_t sequence = 0;
    std::int64_t actionTs = 0;  ///< milliseconds since 1970-01-01 UTC, by the client's clock
    std::string json;           ///< the whole action, compact
    /// An object in `Envelope::document`, which must outlive it.
    const JSONValue* properties = nullptr;
};

/// A message of the check of an event on arrival.
struct Finding {
    std::string path;  ///< JSON pointer into the properties; "" for the properties as a whole
    std::string message;

    friend bool operator==(const Finding&, const Finding&) = default;
};

/// A batch of events as an application posts it.
struct Envelope {
    std::string clientUUID;
    std::string tenant;
    std::string clientType;
    std::string deviceGroup;
    std::string environment;
    std::int64_t clientTs = 0;  ///< milliseconds since 1970-01-01 UTC
    std::int64_t dispatchNumber = 0;
    std::int64_t actionCounter = 0;
    std::vector<Action> actions;
    std::shared_ptr<const JSONValue> document;  ///< the whole body
};

/// The reason why a body is not an envelope.
struct EnvelopeFault {
    enum class Kind { notJSON, wrongShape };
    Kind kind = Kind::wrongShape;
    std::string reason;  ///< names the place, for example `actions[2]: "url" is missing`
};

/// Reads a posted body. Checks the kind of every required field of the envelope and its events, and
/// the length of names. Stops at the first fault. Other keys are ignored.
[[nodiscard]] std::variant<Envelope, EnvelopeFault> readEnvelope(std::string_view body);

}  // namespace zentara::collector
