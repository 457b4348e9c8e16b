#pragma once

#include <zentara/CollectorClient.h>

#include <cstdint>
#include <filesystem>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace zentara::soak {

/// The reports of a host that is killed repeatedly, compared with what arrived. Each discrepancy is
/// a problem and is printed at once.
class KillAccount {
  public:
    /// The first event of a run has the number of the run times this.
    static constexpr std::int64_t numbersOfARun = 1'000'000;

    /// Begins a run of the host and returns its number, which is the tenant of its envelopes.
    std::int64_t beginRun();

    /// Takes a line of the host's output; see KillHost.cpp.
    void take(const std::string& line);

    /// Ends the current run. `ticks` limits the deliveries that the library began by itself.
    void endRun(bool wasKilled, std::int64_t ticks);

    /// Reads all files of the host, which must not run. Each file except a spare must hold a whole
    /// list. Up to a batch of events may be in both queues.
    void readFiles(const std::filesystem::path& folder);

    [[nodiscard]] std::int64_t kills() const noexcept { return kills_; }

    /// The number of events in the files at the last `readFiles`.
    [[nodiscard]] std::int64_t queued() const noexcept { return queued_; }

    /// Compares the reports with the collector's events.
    void reconcile(const collector::CollectorClient& collector);

    void note(const std::string& problem);
    [[nodiscard]] bool isFlawless() const noexcept { return problems_ == 0; }

    /// A table of all figures, on standard output.
    void print() const;

  private:
    enum class Outcome { queued, heldBack, refused };

    struct Run {
        bool isLeaving = false;
        std::int64_t deliveriesInFlight = 0;       ///< at its end, at most
        std::int64_t deliveriesInterrupted = 0;    ///< at most
        std::int64_t arrivals = 0;                 ///< stored by the collector, from its envelopes
        std::int64_t acknowledged = 0;             ///< of these
        std::int64_t unreported = 0;               ///< arrived, but not reported by their host
        std::set<std::int64_t> repeatedEnvelopes;  ///< their events arrived again
    };

    std::vector<Run> runs_;
    std::map<std::int64_t, Outcome> outcomes_;   // by the number of the event
    std::map<std::int64_t, int> moves_;          // found in both queues between runs
    std::map<std::string, std::int64_t> books_;  // of the last host
    std::map<std::string, std::int64_t> faults_;
    std::int64_t kills_ = 0;
    std::int64_t killsWithDeliveries_ = 0;
    std::int64_t filesRead_ = 0;
    std::int64_t sparesCutShort_ = 0;
    std::int64_t queued_ = 0;
    std::int64_t arrivals_ = 0;
    std::int64_t distinct_ = 0;
    std::int64_t lost_ = 0;
    std::int64_t repeatedForFaults_ = 0;
    std::int64_t repeatedForKills_ = 0;
    std::int64_t repeatedForMoves_ = 0;
    std::int64_t problems_ = 0;
};

}  // namespace zentara::soak
