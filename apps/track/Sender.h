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
    /// `std::runtime_error` when the options do not make sense, or there is no folder for the
    /// queue.
    explicit Sender(const Options& options);
    Sender(const Sender&) = delete;
    Sender& operator=(const Sender&) = delete;

    /// Waits for the schemas. Nothing when they are there, otherwise why they are not.
    [[nodiscard]] std::optional<std::string> waitUntilReady(std::chrono::milliseconds timeout);

    [[nodiscard]] Result send(EventLine event);

    /// Delivers everything that waits in the queue.
    [[nodiscard]] Drain::Result drain(const Drain::Progress& progress);

    /// How many events wait for the next run, and where, in words.
    [[nodiscard]] static std::string whatWaits();

    /// Where the schemas come from, and where the events go.
    [[nodiscard]] static std::string schemasAddress();
    [[nodiscard]] static std::string collectorAddress();

    /// What fails at present, a line for each part of the library; empty when all of it works.
    [[nodiscard]] static std::string failures();

  private:
    struct Readiness;

    std::shared_ptr<Readiness> readiness_;
    std::shared_ptr<ZentaraClient> client_;
    Drain::Patience patience_;
    std::int64_t notSaved_ = 0;  // events so far that are in memory only
};

}  // namespace zentara::track
