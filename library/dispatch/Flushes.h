#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include <zentara/Delivery.h>
#include "support/Ledger.h"
#include "support/Mutex.h"
#include "support/threads/Ticker.h"

namespace zentara {

/// The flushes that have not ended. Each ends once: by its deadline, which its timer reports, or by
/// its owner. At its end its timer is gone. Safe for use from any thread. Owned by a `shared_ptr`.
class Flushes : public std::enable_shared_from_this<Flushes> {
  public:
    /// Identifies a flush, or a moment in the order of the flushes.
    using Number = std::uint64_t;
    using Outcome = FlushResult::Outcome;
    /// An ended flush, to be reported without a lock held.
    struct Report {
        FlushCallback completion;
        FlushResult result;
        std::shared_ptr<TickerProtocol> timer;  // destroyed without a lock held, too
    };
    using Reports = std::vector<Report>;

    /// `ledger` must outlive the flushes.
    explicit Flushes(const Ledger& ledger) : ledger_(ledger) {}

    /// Begins a flush that releases held-back events. `timer` is a new one.
    Number begin(std::chrono::milliseconds deadline, std::shared_ptr<TickerProtocol> timer,
                 FlushCallback completion);
    [[nodiscard]] bool isUnderWay(Number flush) const;

    /// The flush has released what it could; from now on it waits for the queue.
    void awaitDelivery(Number flush);
    [[nodiscard]] bool areAwaitingDelivery() const;
    /// The moment after the last `awaitDelivery`.
    [[nodiscard]] Number now() const;

    /// Sets the `lastFailure` of all flushes.
    void noteFailure(const std::string& text);

    /// Ends the flushes that awaited delivery at `moment`.
    [[nodiscard]] Reports endBefore(Number moment, Outcome outcome, const std::string& failure);
    void end(Number flush, Outcome outcome);
    void endAll(Outcome outcome, const std::string& failure);

    static void report(const Reports& reports);

  private:
    struct Flush {
        FlushCallback completion;
        std::shared_ptr<TickerProtocol> timer;
        std::int64_t deliveredBefore = 0;
        Number awaitsSince = 0;  ///< 0 while it releases held-back events
        std::string lastFailure;
    };

    [[nodiscard]] FlushResult resultOf(const Flush& flush, Outcome outcome,
                                       const std::string& failure) const;
    template <typename Condition>
    [[nodiscard]] Reports endIf(const Condition& condition, Outcome outcome,
                                const std::string& failure);

    const Ledger& ledger_;
    mutable Mutex mutex_;
    std::map<Number, Flush> flushes_ ZENTARA_GUARDED_BY(mutex_);
    Number lastFlush_ ZENTARA_GUARDED_BY(mutex_) = 0;
    Number now_ ZENTARA_GUARDED_BY(mutex_) = 0;
};

}  // namespace zentara
