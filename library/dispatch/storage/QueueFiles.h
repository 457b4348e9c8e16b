#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "dispatch/storage/Storage.h"
#include "model/InternalEvent.h"
#include "platform/FileSystem.h"
#include "support/FailureReporter.h"
#include "support/Status.h"

namespace zentara {

/// What reading a file of events has found.
struct [[nodiscard]] StoredEvents {
    enum class State {
        missing,  ///< or of 0 bytes, as a loss of power leaves an unflushed file
        list,
        damaged,  ///< read, and not a list; or nothing that is ever read, such as a folder
        unread,   ///< cannot be read for the moment; its contents are not known
    };

    State state = State::missing;
    std::vector<InternalEvent> events = {};  ///< of a list
    Status status = {};                      ///< why it could not be read or parsed
    bool isCanonical = false;  ///< the list is in exactly the form that a save gives it
};

/// The files of one queue: their names, and what becomes of those that cannot be read.
struct QueueFiles {
    using Path = std::filesystem::path;

    /// The queue of that name in the documents directory. Touches nothing on disk. `fileSystem`
    /// must outlive this.
    QueueFiles(FileSystem& fileSystem, std::string_view name);

    FileSystem& files;
    const Path list;
    const Path spare;
    const Path checkpoint;
    const Path checkpointSpare;
    const Path boot;
    const Path inFlight;

    [[nodiscard]] StoredEvents read(const Path& file) const;

    /// Sets a damaged file aside under a name that no start reads, and tells its `fault` on
    /// standard error.
    [[nodiscard]] Status setAside(const Path& file,
                                  const std::string& fault = "could not be read") const;
    /// Moves a file that could not be read for the moment to a name under which a later start
    /// restores it, and tells the `cause` on standard error.
    [[nodiscard]] Status postpone(const Path& file, const Status& cause) const;
    /// Moves the list to a name under which a start restores it to the queue `other`.
    [[nodiscard]] Status handOver(const QueueFiles& other) const;
    /// The files that were postponed or handed over, the latest first.
    [[nodiscard]] Result<std::vector<Path>> postponed() const;
};

/// Keeps the events of a queue that are in flight in `QueueFiles::inFlight`: one compact JSON
/// array, whole at every moment, and no file while there are none. Survives the end of the process
/// by any means; not flushed.
class InFlightFile final : public Storage<InternalEvent> {
  public:
    explicit InFlightFile(QueueFiles queue);

    [[nodiscard]] Status save(std::span<const InternalEvent> events) override;

    /// The events that the last run left. A file that cannot be read is moved out of the way of the
    /// next save; if that fails, saving fails, as it would destroy the file.
    [[nodiscard]] Result<std::vector<InternalEvent>> load() override;

    [[nodiscard]] Status erase() override {
        inTheWay_ = {};
        return save({});
    }

  private:
    const QueueFiles queue_;
    /// Not ok while a file that cannot be read is in the way.
    Status inTheWay_;
    FailureReporter failures_;
};

/// Reports why a file stays as it is until the next start. Nothing when `status` is ok.
void reportLeft(const std::filesystem::path& file, const Status& status);

}  // namespace zentara
