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
/// - `.N.spare`: the file that the next save turns into `N`.
/// - `.N.checkpoint`, `.N.checkpoint-spare`: the events that were in flight and then the list at
/// the
///   last flush to the device; and the spare of that file.
/// - `.N.boot`: the boot of the system in which the files were last found in order.
/// - `N.unreadable-…`: a damaged file, set aside by `recover`.
/// - `N.unread-…`: a list that could not be read for the moment, for `restorePostponed`.
///
/// Promised: when `save` has succeeded, the list survives the end of the process by any means.
/// After a loss of power a whole list is restored that has all events of the checkpoint, which is
/// at most one interval old, and no event that was not saved, except in the case below.
///
/// Not promised: that a saved list survives a loss of power at once. `save` never waits for the
/// device; a background task flushes at most once per interval, and only after a change. Also not
/// promised: that events saved since the checkpoint are not mixed up, if the list was rewritten
/// more than once since then and each time only a part reached the device.
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

    /// Must be called once, before the first `load`. Sets a damaged file aside, with a line on
    /// standard error. If the file was damaged or missing, a copy of the checkpoint takes its
    /// place. A file that cannot be read for the moment is postponed, and the list begins empty. A
    /// checkpoint that is read and found damaged or unreadable is moved away in the same way.
    ///
    /// If the system has started anew since, the list is compared with the checkpoint, because a
    /// loss of power can leave parts of two lists that read as a list. A list that can have come
    /// from the checkpoint gets the checkpoint's events that it lacks at its front: they were
    /// delivered, or in flight. Any other list counts as damaged.
    void recover();

    [[nodiscard]] Status save(const EventList& events) override;
    Result<std::vector<InternalEvent>> load() override;
    void setInFlight(std::span<const InternalEvent> events) override;
    /// These wait for a background task that is writing.
    [[nodiscard]] Status erase() override;
    void stop() override;

    [[nodiscard]] static Scheduler defaultScheduler();

  private:
    using Clock = std::chrono::steady_clock;
    /// Moves a file that cannot be read out of the way; null when no such file is left.
    using Move = std::function<Status()>;

    InternalEventStorageImpl(QueueFiles queue, std::chrono::duration<double> checkpointInterval,
                             Scheduler scheduler);

    [[nodiscard]] Move moveOf(const StoredEvents& stored, const QueueFiles::Path& file,
                              const std::string& fault) const;
    [[nodiscard]] static Status clear(Move& move);
    [[nodiscard]] bool isCheckpointEmpty() const;
    void noteBoot(const std::string& boot) const;
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
    /// The events in the file, and the position of the list that they came from.
    EventList saved_ ZENTARA_GUARDED_BY(mutex_);
    std::optional<EventList::Position> savedPosition_ ZENTARA_GUARDED_BY(mutex_);
    /// What `recover` read, for the first `load`.
    std::optional<StoredEvents> recovered_ ZENTARA_GUARDED_BY(mutex_);
    // Saving would destroy the files that these move away.
    Move clearList_ ZENTARA_GUARDED_BY(mutex_);
    Move clearCheckpoint_ ZENTARA_GUARDED_BY(mutex_);
    std::vector<InternalEvent> inFlight_ ZENTARA_GUARDED_BY(mutex_);
    /// Background tasks have nothing to write.
    bool isAtRest_ ZENTARA_GUARDED_BY(mutex_) = false;
    /// The next save writes `.N.boot` again.
    bool isBootErased_ ZENTARA_GUARDED_BY(mutex_) = false;
    /// Whether the checkpoint has events in flight that the list did not have.
    bool isInFlightFlushed_ ZENTARA_GUARDED_BY(mutex_) = false;
    /// The last save lost an event and gained one: a prepared spare would be of no use.
    bool isFull_ ZENTARA_GUARDED_BY(mutex_) = false;
    bool spareScheduled_ ZENTARA_GUARDED_BY(mutex_) = false;
    bool checkpointScheduled_ ZENTARA_GUARDED_BY(mutex_) = false;
    std::optional<Clock::time_point> lastCheckpoint_ ZENTARA_GUARDED_BY(mutex_);

    Mutex checkpointMutex_;
    SwappedFile checkpoint_ ZENTARA_GUARDED_BY(checkpointMutex_);
    std::vector<InternalEvent> checkpointed_ ZENTARA_GUARDED_BY(checkpointMutex_);
};

}  // namespace zentara
