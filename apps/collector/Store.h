#pragma once

#include <cstddef>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <unordered_set>
#include <vector>

#include "collector/Envelope.h"
#include "collector/HttpMessage.h"

namespace zentara::collector {

/// Everything that was received, in memory, until `reset` or the end of the process.
///
/// Envelopes and their events are kept without a bound. Of the requests the latest
/// `requestCapacity` are kept. Each record is held as the JSON text that the query interface
/// shows. Any thread; a reader never waits for the building of an answer.
class Store {
  public:
    static constexpr std::size_t requestCapacity = 100'000;

    using Record = std::shared_ptr<const std::string>;

    /// Which records of a list to show: at most `limit`, from `offset` on, in order of arrival.
    struct Selection {
        std::optional<std::string> schema;  ///< events only: "{id}-{version}"
        std::size_t offset = 0;
        std::optional<std::size_t> limit;
    };

    struct Page {
        std::size_t total = 0;  ///< records that match, shown or not
        std::vector<Record> records;
    };

    struct Summary {
        std::size_t requests = 0;  ///< received, whether still kept or not
        std::size_t envelopes = 0;
        std::size_t events = 0;
        std::size_t distinctActions = 0;  ///< different action UUIDs among the events
        std::map<std::string, std::size_t> eventsBySchema;
    };

    Store() = default;
    Store(const Store&) = delete;
    Store& operator=(const Store&) = delete;

    /// Keeps what is to be known about a request and its answer. `reason` tells why it was
    /// refused; empty when it was not.
    void addRequest(const HttpRequest& request, int status, const std::string& reason);

    /// Keeps the envelope that `request` posted, and its events. Gives back the events' records.
    [[nodiscard]] std::vector<Record> addEnvelope(const HttpRequest& request,
                                                  const Envelope& envelope);

    [[nodiscard]] Summary summary() const;
    [[nodiscard]] Page events(const Selection& selection) const;
    [[nodiscard]] Page envelopes(const Selection& selection) const;
    [[nodiscard]] Page requests(const Selection& selection) const;

    /// Forgets everything and counts from the beginning.
    void reset();

  private:
    struct Event {
        std::string schema;
        Record record;
    };

    mutable std::mutex mutex_;  // guards all below
    std::size_t requestCount_ = 0;
    std::deque<Record> requests_;
    std::vector<Record> envelopes_;
    std::vector<Event> events_;
    std::unordered_set<std::string> actionUUIDs_;
    std::map<std::string, std::size_t> eventsBySchema_;
};

}  // namespace zentara::collector
