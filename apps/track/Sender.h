#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "track/Drain.h"
#include "track/EventLine.h"
#include "track/Options.h"
#include "track/Outcome.h"

namespace zentara::track {

/// The library, set up for one run of the program.
class Sender {
  public:
    /// Configures the process and builds the client; once per process. Throws
    /// `std::runtime_error` if the options are invalid or there is no folder for the queue.
    explicit Sender(const Options& options);
    Sender(const Sender&) = delete;
    Sender& operator=(const Sender&) = delete;

    /// Waits for the schemas. Nothing on success, otherwise the reason why there are none.
    [[nodiscard]] std::optional<std::string> waitUntilReady(std::chrono::milliseconds timeout);

    [[nodiscard]] Result send(EventLine event);

    /// Delivers all queued events. False if it could not.
    [[nodiscard]] bool drain(const Drain::Progress& progress);

    /// How many events are queued for the next run, and where, for the user.
    [[nodiscard]] static std::string queuedEvents();

    /// The addresses of the schemas and of the collector, without secrets.
    [[nodiscard]] static std::string schemasAddress();
    [[nodiscard]] static std::string collectorAddress();

    /// The parts of the library that fail at present, a line for each.
    [[nodiscard]] static std::string failures();

  private:
    struct Readiness;

    std::shared_ptr<Readiness> readiness_;
    std::shared_ptr<ZentaraClient> client_;
    Drain::Patience patience_;
    std::int64_t notSaved_ = 0;  // events so far that are in memory only
};

}  // namespace zentara::track
