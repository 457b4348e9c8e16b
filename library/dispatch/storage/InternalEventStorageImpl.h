#pragma once

#include <chrono>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "dispatch/storage/FileStorage.h"
#include "dispatch/storage/QueueFiles.h"
#include "dispatch/storage/SwappedFile.h"
#include "support/FailureReporter.h"
#include "support/Mutex.h"

namespace zentara {

/// Keeps a queue of events in a file.
///
/// Files, all in one folder, for a queue named N:
/// - `N`: the list, one compact JSON array; whole at every moment.
/// - `.N.spare`: what the next save turns into `N`. Of no other use.
/// - `.N.checkpoint`, `.N.checkpoint-spare`: the list as it was when it was last flushed to the
///   device, behind the events that were in flight then; and its spare.
/// - `.N.boot`: the boot of the system in which the files were last found in order.
/// - `N.unreadable-…`: what was read and is not a list, set aside by `recover`.
/// - `N.unread-…`: a list that could not be read for the moment, for `restorePostponed`.
///
/// Promised: when `save` has succeeded, the list survives the end of the process by any means.
/// After a loss of power a whole list comes back that has all events of the checkpoint, which is at
/// most one interval old, and no event that was not saved, but for the case below.
///
/// Not promised: that a saved list survives a loss of power at once. `save` never waits for the
/// device; a background task flushes at most once per interval, and only after a change. Nor that
/// an event that was saved since the checkpoint cannot come back mixed with another, where the list
/// was written anew more than once since, and each time was partly on the device.
///
/// The owner serialises `save`, `load` and `recover`; the background tasks synchronise themselves.
class InternalEventStorageImpl final
    : public InternalEventStorage,
      public std::enable_shared_from_this<InternalEventStorageImpl> {
  public:
    /// Runs work after a delay, away from the caller.
    using Scheduler =
        std::function<void(std::chrono::steady_clock::duration, std::function<void()>)>;

    /// `files` must outlive the storage and its background work, which ends with the storage.
    [[nodiscard]] static std::shared_ptr<InternalEventStorageImpl> create(
        FileSystem& files, std::string_view fileName,
        std::chrono::duration<double> checkpointInterval, Scheduler scheduler) {
        return std::shared_ptr<InternalEventStorageImpl>(new InternalEventStorageImpl(
            QueueFiles(files, fileName), checkpointInterval, std::move(scheduler)));
    }

    const std::filesystem::path fileURL;
    const JSONEncoder jsonEncoder{};
    const JSONDecoder jsonDecoder{};

    /// To be called once, before the first `load`: sets aside a file that is damaged, with a line
    /// on standard error, and puts a copy of the checkpoint in its place, as also when there is no
    /// file. One that cannot be read for the moment is postponed, and the list begins empty. A
    /// damaged or unreadable checkpoint that it looks at is moved away likewise.
    ///
    /// If the system has started anew since, the list is held against the checkpoint, as a loss of
    /// power can leave parts of two lists that read as one. A list that can have come from the
    /// checkpoint gets those events of it at its front that it lacks: they were delivered, or in
    /// flight. Any other counts as damaged.
    void recover();

    [[nodiscard]] Status save(const EventList& events) override;
    Result<std::vector<InternalEvent>> load() override;
    void setInFlight(std::span<const InternalEvent> events) override;

    [[nodiscard]] static Scheduler defaultScheduler();

  private:
    using Clock = std::chrono::steady_clock;
    /// Moves away a file that is still there and cannot be read; null when there is none.
    using Move = std::function<Status()>;

    InternalEventStorageImpl(QueueFiles queue, std::chrono::duration<double> checkpointInterval,
                             Scheduler scheduler);

    [[nodiscard]] Move moveOf(const StoredEvents& stored, const QueueFiles::Path& file,
                              const std::string& fault) const;
    [[nodiscard]] static Status clear(Move& move);
    [[nodiscard]] bool isCheckpointEmpty() const;
    Result<std::vector<InternalEvent>> read() ZENTARA_REQUIRES(mutex_);
    [[nodiscard]] Status write(const EventList& events) ZENTARA_REQUIRES(mutex_);
    void scheduleSpare() ZENTARA_REQUIRES(mutex_);
    void scheduleCheckpoint() ZENTARA_REQUIRES(mutex_);
    void writeCheckpoint();

    const QueueFiles queue_;
    const Clock::duration checkpointInterval_;
    const Scheduler scheduler_;
    FailureReporter failures_;            // synchronises itself
    FailureReporter checkpointFailures_;  // likewise

    Mutex mutex_;
    SwappedFile current_ ZENTARA_GUARDED_BY(mutex_);
    /// The events in the file, and where in the list that they came from.
    EventList saved_ ZENTARA_GUARDED_BY(mutex_);
    std::optional<EventList::Position> savedPosition_ ZENTARA_GUARDED_BY(mutex_);
    /// What `recover` read, for the first `load`.
    std::optional<StoredEvents> recovered_ ZENTARA_GUARDED_BY(mutex_);
    // Saving would destroy these files.
    Move clearList_ ZENTARA_GUARDED_BY(mutex_);
    Move clearCheckpoint_ ZENTARA_GUARDED_BY(mutex_);
    std::vector<InternalEvent> inFlight_ ZENTARA_GUARDED_BY(mutex_);
    /// Whether the checkpoint has events that the list did not have.
    bool isInFlightFlushed_ ZENTARA_GUARDED_BY(mutex_) = false;
    bool spareScheduled_ ZENTARA_GUARDED_BY(mutex_) = false;
    bool checkpointScheduled_ ZENTARA_GUARDED_BY(mutex_) = false;
    std::optional<Clock::time_point> lastCheckpoint_ ZENTARA_GUARDED_BY(mutex_);

    Mutex checkpointMutex_;
    SwappedFile checkpoint_ ZENTARA_GUARDED_BY(checkpointMutex_);
    std::vector<InternalEvent> checkpointed_ ZENTARA_GUARDED_BY(checkpointMutex_);
};

}  // namespace zentara
