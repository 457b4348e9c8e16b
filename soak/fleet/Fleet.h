#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <vector>

#include <zentara/ClientSettings.h>
#include "Collectors.h"
#include "Random.h"

namespace zentara::fleet {

enum class Jitter : std::uint8_t { random, none };

struct FleetSettings {
    std::int64_t clients = 1'000'000;
    ClientSettings client;  ///< intervals, bounds and delivery policy, as the library has them
    Jitter jitter = Jitter::random;
    double eventsPerSecond = 1.0 / 30;  ///< of a client at the busiest time
    double busyFactor = 20;             ///< how many times as many events a busy client makes
    std::int64_t busyEvery = 100;       ///< one client of so many is busy
    bool hasDay = false;                ///< activity follows a day; otherwise it is constant
    Span making{0, 1000 * hour};        ///< when events are made
    Span restarts;                      ///< when each client starts anew, once
    std::uint64_t seed = 1;
};

/// What happened in one second, and what was there at its end.
struct Sample {
    std::int64_t posts = 0;
    std::int64_t identities = 0;
    std::int64_t schemas = 0;
    std::int64_t failed = 0;  ///< requests of all three kinds
    std::int64_t delivered = 0;
    std::int64_t evicted = 0;
    std::int64_t waiting = 0;   ///< events with the clients, in flight included
    std::int64_t notReady = 0;  ///< clients that lack schemas since their start
    std::int64_t fullestOutbox = 0;

    [[nodiscard]] std::int64_t requests() const { return posts + identities + schemas; }
};

/// Clients of the library as a model: of each only its counts are kept. Time goes in steps of a
/// millisecond. The dispatch ticks of the clients are spread evenly over the interval, in the order
/// of the clients, so that each step visits neighbours in memory.
class Fleet {
  public:
    struct Books {
        std::int64_t made = 0;
        std::int64_t delivered = 0;
        std::int64_t evicted = 0;
        std::int64_t queued = 0;
        std::int64_t inFlight = 0;

        [[nodiscard]] std::int64_t imbalance() const {
            return made - delivered - evicted - queued - inFlight;
        }
    };

    Fleet(const FleetSettings& settings, const CollectorSettings& collectors);

    /// Simulates the next second.
    Sample passSecond();

    /// Counted anew from the clients.
    [[nodiscard]] Books books() const;
    [[nodiscard]] const Collectors& collectors() const { return collectors_; }

  private:
    enum class Kind : std::uint8_t { post, drain, identity, schemas, identityTick };
    /// Something that happens to a client at a set time.
    struct Happening {
        std::uint32_t client = 0;
        std::uint16_t events = 0;
        std::uint16_t retryAfter = 0;  ///< in seconds, 0 is none
        Kind kind = Kind::post;
        Answer::Kind answer = Answer::Kind::good;
        bool wereEventsLeft = false;
    };

    void passMillisecond();
    void tick(std::uint32_t client);
    void makeEvents(std::uint32_t client);
    void start(std::uint32_t client);
    void dispatch(std::uint32_t client, Kind kind);
    void request(const Happening& happening);
    void happen(const Happening& happening);
    void finishPost(const Happening& happening);
    void backOff(const Happening& happening);
    void after(Time delay, const Happening& happening);
    void setActivity();

    const FleetSettings settings_;
    const Time interval_;
    const std::int64_t batchSize_;
    Collectors collectors_;
    Random random_;
    Time now_ = 0;
    std::uint32_t nextTick_ = 0;                                ///< the client that ticks next
    std::array<Poisson, 2> newEvents_{Poisson(0), Poisson(0)};  ///< of a client, of a busy client
    std::vector<std::vector<Happening>> wheel_;

    // Of each client.
    std::vector<std::uint32_t> queued_;
    std::vector<std::int32_t> backOffEnd_;
    std::vector<std::uint8_t> failuresInARow_;
    std::vector<bool> isDraining_;
    std::vector<bool> needsIdentity_;
    std::vector<bool> needsSchemas_;

    Books books_;
    Sample sample_;
    std::int64_t notReady_ = 0;
};

}  // namespace zentara::fleet
