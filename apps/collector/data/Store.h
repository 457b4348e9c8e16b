#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "collector/data/Database.h"
#include "collector/data/DatabaseFile.h"
#include "collector/data/Envelope.h"
#include "collector/data/EventFilter.h"
#include "collector/data/SequenceGaps.h"
#include "collector/http/HttpMessage.h"

namespace zentara::collector {

/// Everything that was received, in a database in a file or in memory.
///
/// Additions are committed on return. They survive the end of the process; after a loss of power
/// the latest may be missing, but each is there as a whole or not at all. Envelopes and events are
/// kept without a bound. Of the requests that stored nothing the latest `requestCapacity` are kept,
/// and of the posts that were refused, other than by a fault, the latest `refusalCapacity` with the
/// first bytes of their bodies. A file is used by one collector at a time and readable only to its
/// owner.
///
/// Any thread. A reader sees all that was committed before. With a file, readers never block
/// writers.
///
/// The tables, for use with other tools. Times are milliseconds since 1970-01-01 UTC; `number`
/// counts from 1 in order of arrival.
///
///     requests   number, receivedAt, service, method, target, secure, headers (JSON object),
///                bodySize, status, reason, fault, storedEvents, isStored (has an envelope)
///     refusals   ordinal, request, body (its first `refusedBodySize` bytes)
///     envelopes  number, request, facts (what its events show of it: JSON members without
///                braces), body (as posted)
///     events     number, envelope, duplicate, good, receivedAt, actionTs, sequence, schema,
///                actionUUID, context, client, tenant, userType, userToken,
///                findings (JSON array of {path, message}), json (the event, compact)
///     faults     description, count
class Store {
  public:
    static constexpr std::size_t requestCapacity = 100'000;
    static constexpr std::size_t refusalCapacity = 1'000;
    static constexpr std::size_t refusedBodySize = std::size_t{16} * 1024;

    /// How a request ended.
    struct RequestNote {
        int status = 0;      ///< 0 if no answer was sent
        std::string reason;  ///< why it was refused; empty if it was not
        std::string fault;   ///< the fault that it met, as `Summary::faults` counts it; or empty
    };

    /// A stored event.
    struct Arrival {
        std::int64_t number = 0;
        std::string schema;
        std::string actionUUID;
        bool good = true;
        bool duplicate = false;
        std::string record;  ///< the JSON that the query interface shows
    };

    struct Summary {
        std::uint64_t requests = 0;  ///< received, including those no longer kept
        std::uint64_t refused = 0;   ///< posts that were refused, other than by a fault
        std::uint64_t envelopes = 0;
        std::uint64_t events = 0;
        std::uint64_t good = 0;
        std::uint64_t bad = 0;
        std::uint64_t distinctActions = 0;  ///< different action UUIDs among the events
        std::uint64_t duplicates = 0;       ///< events that are not the first of their UUID
        std::uint64_t missing = 0;          ///< the sum of the gaps, or the largest number
        std::int64_t lastNumber = 0;        ///< of the latest event
        std::map<std::string, std::uint64_t> eventsBySchema;
        std::map<std::string, std::uint64_t> badBySchema;
        std::map<std::string, std::uint64_t> faults;  ///< by `RequestNote::fault`
    };

    struct Page {
        std::size_t total = 0;             ///< all records that match
        std::vector<std::string> records;  ///< JSON
    };

    struct RequestQuery {
        std::optional<bool> fault = {};    ///< whether they met a fault
        std::optional<bool> refused = {};  ///< whether they are among the refused posts
        Order order = Order::ascending;    ///< by number
        std::size_t offset = 0;
        std::optional<std::size_t> limit = {};
    };

    /// The number of events over time.
    struct Timeline {
        struct Bucket {
            std::int64_t start = 0;  ///< milliseconds since 1970-01-01 UTC, a multiple of `width`
            std::uint64_t good = 0;
            std::uint64_t bad = 0;
        };
        std::int64_t width = 1000;    ///< of a bucket, milliseconds
        std::vector<Bucket> buckets;  ///< ascending; only those with events
    };
    static constexpr std::int64_t mostBuckets = 120;

    /// Stores everything in `file`, which is made if it does not exist, or in memory. Throws
    /// `StoreError` and does not change the file if it is not a collector's, was made by a later
    /// version, is in use by another collector, or cannot be opened.
    explicit Store(const std::optional<std::filesystem::path>& file = std::nullopt);
    ~Store();
    Store(const Store&) = delete;
    Store& operator=(const Store&) = delete;

    /// Set before use. `changed` is called after each commit and reset, on the committing thread
    /// and without a lock; it must not block.
    void onChange(std::function<void()> changed);

    /// Adds a request that stored nothing. Throws `StoreError`.
    void addRequest(const HttpRequest& request, const RequestNote& note);

    /// Adds a request, its envelope and its events, or throws `StoreError` and adds nothing.
    /// `findings` has an element for each action, which is empty for a good event.
    [[nodiscard]] std::vector<Arrival> addEnvelope(
        const HttpRequest& request, const Envelope& envelope,
        const std::vector<std::vector<Finding>>& findings, const RequestNote& note);

    /// Takes constant time.
    [[nodiscard]] Summary summary() const;

    // The following throw `StoreError`.

    [[nodiscard]] Page events(const EventQuery& query) const;

    /// The records of the first events that match, by number, each on a line. Ends after the record
    /// that reaches `size` bytes.
    [[nodiscard]] std::string lines(const EventFilter& filter, std::size_t size) const;

    /// How many events match; does not count beyond `most`.
    [[nodiscard]] std::size_t count(const EventFilter& filter,
                                    std::optional<std::size_t> most = std::nullopt) const;

    /// {"event", "arrivals", "envelope", "request"} for the first arrival of an action, if there is
    /// one.
    [[nodiscard]] std::optional<std::string> event(std::string_view actionUUID) const;

    [[nodiscard]] Page envelopes(std::size_t offset = 0,
                                 std::optional<std::size_t> limit = std::nullopt) const;
    [[nodiscard]] Page requests(const RequestQuery& query) const;

    /// By the name of the context, then by number.
    [[nodiscard]] std::vector<Gap> gaps() const;

    /// `width` in milliseconds, at least 1; by default one that gives at most `mostBuckets`.
    [[nodiscard]] Timeline timeline(const EventFilter& filter,
                                    std::optional<std::int64_t> width = std::nullopt) const;

    /// A part of an event, for statistics.
    struct StoredText {
        std::int64_t number = 0;
        std::int64_t receivedAt = 0;
        std::string schema;
        std::string text;
    };
    using Visit = std::function<void(const StoredText&)>;

    /// How much is visited: it ends with the event that reaches a bound.
    struct Extent {
        std::size_t events = 10'000;
        std::size_t bytes = std::size_t{16} * 1024 * 1024;
    };

    /// Visits the JSON of the latest events of a schema, the latest first, and returns their
    /// number. Reads them in small parts, between which events are stored; `visit` is called
    /// without a lock.
    std::size_t visitLatest(const std::string& schema, const Visit& visit,
                            const Extent& most) const;

    /// The same for the findings of the latest bad events of all schemas.
    std::size_t visitLatestBad(const Visit& visit, const Extent& most) const;

    /// Removes the oldest envelopes, with their events and requests, until about `events` are left.
    /// The summary keeps counting what was removed; gaps are counted anew. Throws `StoreError`.
    void keepLatest(std::size_t events);

    /// Removes everything, on disk too, and restarts the numbers. Works on a full disk.
    void reset();

  private:
    void setUp();
    void createTables();
    void rebuildCounts();
    [[nodiscard]] std::int64_t insertRequest(const HttpRequest& request, const RequestNote& note,
                                             std::int64_t storedEvents, bool isStored);
    void insertRefusal(std::int64_t requestNumber, std::string_view body);
    void countRequest(const RequestNote& note);
    void emptyTables();
    void recreate();
    void forgetCounts();
    void notify() const;

    std::size_t visitParts(const std::string& column, const SQLCondition& condition,
                           const Visit& visit, const Extent& most) const;

    /// Calls `read` with a connection that sees one state of the database.
    template <typename Read>
    auto reading(Read read) const;

    std::function<void()> changed_;             // constant once in use
    const std::unique_ptr<DatabaseFile> file_;  // none in memory

    mutable std::mutex writing_;  // taken before reading_ and counting_
    mutable Database writer_;     // guarded by writing_
    std::int64_t unstored_ = 0;   // requests kept that stored nothing; guarded by writing_

    mutable std::mutex reading_;              // taken before counting_
    mutable std::optional<Database> reader_;  // guarded by reading_; none in memory

    // Changed under writing_ and counting_; either suffices to read them.
    mutable std::mutex counting_;
    Summary summary_;  // without `missing`
    SequenceGaps gaps_;
};

}  // namespace zentara::collector
