#pragma once

#include <chrono>
#include <filesystem>
#include <functional>
#include <memory>
#include <string_view>

#include "dispatch/FileStorage.h"
#include "dispatch/Storage.h"

namespace zentara {

/// Keeps a queue of events in a file.
///
/// Files, all in one folder, for a queue named N:
/// - `N`: the list, one compact JSON array; whole at every moment.
/// - `.N.spare`: what the next save turns into `N`. Of no use to anybody else.
/// - `.N.checkpoint`, `.N.checkpoint-spare`: the list as it was when it was last flushed to the
///   device, and its spare.
/// - `N.unreadable-…`: what was read and is not a list, set aside by `recover`.
/// - `N.unread-…`: a list that could not be read for the moment, for `takeInFilesPutBy`.
///
/// Promised: when `save` has returned null, the list survives the end of the process by any means.
/// After a loss of power a whole list comes back, at most one checkpoint interval old.
///
/// Not promised: that a saved list survives a loss of power at once. `save` never waits for the
/// device; a background task flushes at most once per interval, and only after a change.
///
/// The owner serialises `save`, `load` and `recover`; the background tasks synchronise themselves.
class InternalEventStorageImpl final : public InternalEventStorage {
  public:
    /// Runs work after a delay, away from the caller. The worker pool outside of tests.
    using Scheduler =
        std::function<void(std::chrono::steady_clock::duration, std::function<void()>)>;

    explicit InternalEventStorageImpl(
        std::string_view fileName,
        std::chrono::duration<double> checkpointInterval = std::chrono::seconds(10),
        Scheduler scheduler = defaultScheduler());

    const std::filesystem::path fileURL;
    const JSONEncoder jsonEncoder{};
    const JSONDecoder jsonDecoder{};

    /// To be called once, before the first `load`: sets aside a file that is damaged, with a line
    /// on standard error, and puts a copy of the checkpoint in its place, as also when there is no
    /// file. One that cannot be read for the moment is put by, and the list begins empty.
    void recover();

    [[nodiscard]] ErrorRef save(const EventList& events) override;
    Loaded<InternalEvent> load() override;

    [[nodiscard]] static Scheduler defaultScheduler();

  private:
    struct Shared;

    const std::shared_ptr<Shared> shared_;
};

}  // namespace zentara
