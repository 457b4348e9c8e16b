#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <memory_resource>
#include <mutex>
#include <span>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "collector/data/Database.h"
#include "collector/data/DatabaseFile.h"
#include "collector/data/Envelope.h"
#include "collector/data/Records.h"
#include "collector/forward/Sink.h"

namespace zentara::collector {

/// Events that are acknowledged and not yet handed on, in an SQLite file, in order of arrival.
///
/// What is added is committed before it is acknowledged: it survives the end of the process and,
/// with `Limits::flush`, a loss of power. A thread commits all that waits together. A file is used
/// by one collector at a time and readable only to its owner.
///
/// The tables, for use with other tools:
///
///     envelopes  number, receivedAt, client, tenant, userType, userToken, facts (JSON members)
///     events     ordinal, envelope, size (what it counts for), schema, actionUUID, context,
///                sequence, actionTs, good, findings (JSON array), json (the event, compact)
///     refused    ordinal, refusedAt, size, reason, record (the event with its envelope's fields)
class Outbox {
  public:
    struct Limits {
        std::int64_t bytes = std::int64_t{1} << 30;            ///< of all events
        std::chrono::milliseconds age = std::chrono::days{7};  ///< of the oldest event
        bool flush = false;                                    ///< each commit reaches the disk
    };

    /// An envelope with its events.
    struct Entry {
        std::int64_t receivedAt = 0;  ///< milliseconds since 1970-01-01 UTC
        User user;
        std::string facts;                  ///< as `factsJSON` gives them
        std::vector<std::string> findings;  ///< JSON arrays, one for each action
        std::shared_ptr<const Envelope> envelope;
    };

    struct Statistics {
        std::int64_t events = 0;   ///< that wait to be handed on
        std::int64_t refused = 0;  ///< that the sink will never take; kept until they are removed
        std::int64_t bytes = 0;    ///< of both
        std::int64_t oldest = 0;   ///< when the first that waits was received; 0 if there is none
    };

    /// Successive events. Owns their texts.
    class Batch {
      public:
        [[nodiscard]] std::span<const ForwardedEvent> events() const { return events_; }

      private:
        friend class Outbox;
        [[nodiscard]] std::string_view keep(std::string_view text);

        std::vector<std::int64_t> ordinals_;  // ascending, all that the outbox has between them
        std::vector<std::int64_t> sizes_;     // what the outbox counts for each
        std::vector<ForwardedEvent> events_;
        std::pmr::monotonic_buffer_resource texts_{std::size_t{1} << 20};
    };

    /// Called once, with an empty text or the reason of a failure, on the thread that commits.
    using Done = std::function<void(const std::string& failure)>;

    /// Throws `StoreError` and does not change the file if it is not an outbox, was made by a later
    /// version, is in use by another collector, or cannot be opened.
    Outbox(const std::filesystem::path& file, const Limits& limits);
    /// Commits what waits.
    ~Outbox();
    Outbox(const Outbox&) = delete;
    Outbox& operator=(const Outbox&) = delete;

    /// Why nothing can be added at the moment, or an empty text. Any thread; `now` in milliseconds
    /// since 1970-01-01 UTC.
    [[nodiscard]] std::string whyFull(std::int64_t now) const;

    /// Adds all events of an envelope or none. Any thread.
    void add(Entry entry, Done done);

    /// Returns when all that was added before is committed, and its `Done` was called.
    void flush();

    /// The oldest events, or those that follow a batch: at most so many, and at least one if there
    /// are any. One thread at a time. Throws `StoreError`.
    [[nodiscard]] std::shared_ptr<const Batch> read(std::size_t mostEvents, std::int64_t mostBytes,
                                                    const Batch* follows = nullptr);

    /// Removes what was delivered, sets aside what was refused, keeps what failed. Any thread, but
    /// once for each event.
    void settle(std::shared_ptr<const Batch> batch, std::vector<Handover> results, Done done);

    [[nodiscard]] Statistics statistics() const;

    /// Waits until there are events to hand on. False once `endWaiting` was called.
    [[nodiscard]] bool waitForEvents();
    void endWaiting();

  private:
    /// What a commit changes.
    struct Change {
        std::int64_t events = 0;
        std::int64_t refused = 0;
        std::int64_t bytes = 0;

        Change& operator+=(const Change& other);
    };
    struct Work {
        std::function<Change()> write;
        Done done;
    };

    void setUp();
    void post(Work work);
    void run();
    [[nodiscard]] std::string commit(const std::vector<Work>& works);
    [[nodiscard]] Change insert(const Entry& entry);
    [[nodiscard]] Change settleEach(const Batch& batch, const std::vector<Handover>& results);
    void setAside(const ForwardedEvent& event, std::int64_t size, const std::string& reason);
    void removeEmptyEnvelopes();
    void count();

    const Limits limits_;
    const DatabaseFile file_;
    Database writer_;  // used by the thread that commits
    Database reader_;  // used by `read`
    // SQLite would give the ordinals of removed events again, before those of a batch being read.
    std::int64_t lastOrdinal_ = 0;  // used by the thread that commits

    mutable std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<Work> works_;  // guarded by mutex_
    Statistics statistics_;    // guarded by mutex_
    bool isEnding_ = false;    // guarded by mutex_
    bool hasStopped_ = false;  // guarded by mutex_
    std::thread thread_;       // after all that it uses
};

}  // namespace zentara::collector
