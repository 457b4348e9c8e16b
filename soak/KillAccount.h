#pragma once

#include <zentara/CollectorClient.h>

#include <cstdint>
#include <filesystem>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace zentara::soak {

/// Everything that a driver has seen of a host that is killed again and again, and whether it adds
/// up in the end. What does not is a problem, which is printed at once.
class KillAccount {
  public:
    /// The numbers of the events of a run begin with that of the run.
    static constexpr std::int64_t numbersOfARun = 1'000'000;
    static constexpr std::int64_t batchSize = 10;

    /// A run of the host begins; its number, which is also the tenant of its envelopes.
    std::int64_t beginRun();

    /// One line that the host of the current run has written; see KillHost.cpp.
    void take(const std::string& line);

    /// The current run has ended, with a signal if `wasKilled`, and has had up to `ticks`
    /// deliveries that it did not know of.
    void endRun(bool wasKilled, std::int64_t ticks);

    /// Reads all files of the host, which does not run. Every one that has a name of its own must
    /// hold a whole list; a spare may not. Up to a batch of events may be in both queues.
    void readFiles(const std::filesystem::path& folder);

    [[nodiscard]] std::int64_t kills() const noexcept { return kills_; }

    /// The number of events in the files that were read last.
    [[nodiscard]] std::int64_t waiting() const noexcept { return waiting_; }

    /// Compares what was reported with what the collector has stored.
    void reconcile(const collector::CollectorClient& collector);

    void note(const std::string& problem);
    [[nodiscard]] bool isFlawless() const noexcept { return problems_ == 0; }

    /// A table of all figures, on standard output.
    void print() const;

  private:
    enum class Outcome { queued, heldBack, refused };

    struct Run {
        bool isLeaving = false;
        std::int64_t deliveriesUnderWay = 0;       ///< when it ended, at most
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
    std::int64_t waiting_ = 0;
    std::int64_t arrivals_ = 0;
    std::int64_t distinct_ = 0;
    std::int64_t lost_ = 0;
    std::int64_t repeatedForFaults_ = 0;
    std::int64_t repeatedForKills_ = 0;
    std::int64_t repeatedForMoves_ = 0;
    std::int64_t problems_ = 0;
};

}  // namespace zentara::soak
