#pragma once

#include <cstddef>
#include <filesystem>
#include <functional>
#include <string>

#include "collector/data/Store.h"
#include "collector/forward/Forwarder.h"
#include "collector/forward/Outbox.h"
#include "collector/forward/ShownEvents.h"
#include "collector/forward/Sink.h"

namespace zentara::collector {

/// What a collector does with events that it hands on: commits them to an outbox, hands them on
/// from there, and shows the latest of them.
class Forwarding {
  public:
    struct Options {
        std::string url;       ///< of what the events are handed on to
        std::string settings;  ///< a file for it; or empty
        std::filesystem::path outbox;
        Outbox::Limits limits;
        std::size_t shown = 10'000;  ///< events that the page and the queries know
    };

    /// Throws `std::runtime_error`. The store outlives it.
    Forwarding(const Options& options, Store& store,
               const std::function<void(const std::string& text)>& complain);

    /// Why nothing can be taken at the moment, or an empty text. Any thread; `now` in milliseconds
    /// since 1970-01-01 UTC.
    [[nodiscard]] std::string whyFull(std::int64_t now) const { return outbox_.whyFull(now); }

    /// Calls `done` once it is committed, on another thread. Any thread.
    void take(TakenEnvelope taken, Outbox::Done done);

    /// For metrics: lines in Prometheus' text format.
    [[nodiscard]] std::string metrics() const;

    /// To be called after the last `take`. Calls what is to be called when it is committed, hands
    /// on what it can within `time`, and ends. What remains stays in the outbox.
    void stop(std::chrono::milliseconds time);

  private:
    ShownEvents shown_;
    Outbox outbox_;
    Forwarder forwarder_;
};

}  // namespace zentara::collector
