#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <vector>

namespace zentara::fleet {

using Time = std::int64_t;  ///< in milliseconds since the begin of the simulation
inline constexpr Time second = 1000;
inline constexpr Time minute = 60 * second;
inline constexpr Time hour = 60 * minute;

struct Span {
    Time begin = 0;
    Time end = 0;
    [[nodiscard]] bool contains(Time now) const { return begin <= now && now < end; }
};

/// What a request is answered with while no collector runs.
enum class Absence { overloaded, unreachable };

struct CollectorSettings {
    std::int64_t count = 40;
    double requestsPerSecond = 1000;  ///< that a collector can take; docs/performance.md
    Time longestWait = 5 * second;    ///< for a collector; then the load balancer answers 503
    Span outage = {};                 ///< of all collectors
    Absence absence = Absence::overloaded;
    /// Of the load balancer's own 503.
    std::optional<std::chrono::seconds> retryAfter = std::nullopt;

    std::int64_t outboxBytes = 1024 * 1'000'000LL;
    std::int64_t eventBytes = 1000;  ///< of an event in the outbox
    double brokerRate = 10'000;      ///< events a second from each collector
    Span slowBroker = {};
    double slowRate = 0;
};

struct Answer {
    enum class Kind : std::uint8_t { good, overloaded, unreachable };

    Kind kind = Kind::good;
    Time at = 0;
    std::optional<std::chrono::seconds> retryAfter = std::nullopt;
};

/// Collectors behind a load balancer that takes them in turn. Each is a server with a line of
/// waiting requests and a bounded outbox.
class Collectors {
  public:
    static constexpr Time roundTrip = 20;
    /// That a collector with a full outbox names.
    static constexpr std::chrono::seconds fullRetryAfter{30};

    explicit Collectors(const CollectorSettings& settings);

    [[nodiscard]] Answer take(Time now, std::int64_t events);
    /// Lets the brokers take what they can in one second.
    void handOn(Time now);

    [[nodiscard]] std::int64_t handedOn() const { return handedOn_; }
    [[nodiscard]] std::int64_t inOutboxes() const;
    /// Of the outbox with the most events.
    [[nodiscard]] std::int64_t fullestOutbox() const;

  private:
    struct Collector {
        double freeAt = 0;
        std::int64_t outbox = 0;  ///< events
    };

    const CollectorSettings settings_;
    std::vector<Collector> collectors_;
    std::size_t next_ = 0;
    std::int64_t handedOn_ = 0;
};

}  // namespace zentara::fleet
