#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace zentara::collector {

/// An event as it is handed on. The texts are borrowed.
struct ForwardedEvent {
    std::int64_t receivedAt = 0;  ///< milliseconds since 1970-01-01 UTC
    bool good = true;
    std::string_view client;  ///< UUID; the events of a client stay in their order
    std::string_view tenant;
    std::string_view schema;      ///< "{id}-{version}"
    std::string_view actionUUID;  ///< the same in every copy of the event
    std::string_view userType;    ///< empty if it is not known
    std::string_view userToken;
    std::string_view context;
    std::int64_t sequence = 0;
    std::int64_t actionTs = 0;  ///< milliseconds since 1970-01-01 UTC
    std::string_view findings;  ///< JSON array of {path, message}; empty array if good
    std::string_view json;      ///< the event as posted, compact
    std::string_view record;    ///< the event with its envelope's fields, one JSON object
};

/// What has become of an event.
struct Handover {
    enum class Outcome {
        delivered,  ///< safe downstream, also if it was there before
        refused,    ///< will never be taken; what else waits goes on
        failed,     ///< to be tried again later
    };
    Outcome outcome = Outcome::failed;
    std::string reason = {};  ///< for users; empty if delivered
};

/// A system that events are handed on to. One thread, except for `stop`.
class Sink {
  public:
    struct Settings {
        std::string url;
        std::string file;                                       ///< further settings; or empty
        std::function<void(const std::string& text)> complain;  ///< for users; any thread
    };

    virtual ~Sink() = default;

    /// Hands on events in their order and returns, for each, what has become of it. May block for
    /// as long as the system cannot be reached. No two calls at a time.
    [[nodiscard]] virtual std::vector<Handover> deliver(std::span<const ForwardedEvent> events) = 0;

    /// Makes a running `deliver` return soon, and all later ones at once. Any thread.
    virtual void stop() = 0;
};

/// What a module exports under the name `zentara_make_sink`. The caller deletes the sink. Throws
/// `std::runtime_error` if the settings cannot be used; does not need the system to be reachable.
using MakeSink = Sink*(const Sink::Settings& settings);

}  // namespace zentara::collector
