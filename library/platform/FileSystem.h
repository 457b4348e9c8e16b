#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "support/Status.h"

namespace zentara {

/// Tells files apart, whatever their names.
struct FileIdentity {
    std::uint64_t device = 0;
    std::uint64_t number = 0;

    friend bool operator==(const FileIdentity&, const FileIdentity&) = default;
};

/// The identity of a file, its size, and the time of its last write since 1970. Where the clock of
/// files ticks, as on Linux before 6.13, all writes within a tick of 1 to 10 ms have the same time.
struct FileState {
    enum class Kind { regular, folder, other };

    FileIdentity identity;
    Kind kind = Kind::regular;
    std::uint64_t names = 1;  ///< of the file: its hard links
    std::uint64_t size = 0;
    std::int64_t seconds = 0;
    std::int64_t nanoseconds = 0;  ///< beyond the seconds

    friend bool operator==(const FileState&, const FileState&) = default;
};

/// The largest file that is read or written, so that no file can take all memory.
inline constexpr std::uint64_t maximumFileSize = std::uint64_t{512} * 1024 * 1024;

/// An open file that is written in place. Closed by its destructor.
class File {
  public:
    virtual ~File() = default;

    /// Writes all `parts`, one behind the other, at `offset`.
    [[nodiscard]] virtual Status write(std::span<const std::string_view> parts,
                                       std::uint64_t offset) = 0;
    [[nodiscard]] virtual Status truncate(std::uint64_t size) = 0;
    /// Waits until the content is on the device. Succeeds where the file system cannot flush.
    [[nodiscard]] virtual Status flush() = 0;
    /// Nothing when the system does not say.
    [[nodiscard]] virtual std::optional<FileState> state() const noexcept = 0;
};

/// The right to be the only process that writes in a folder.
enum class FolderClaim {
    held,           ///< this process has it
    heldElsewhere,  ///< another process has it, or may have: there was no descriptor left
    unknown,        ///< other processes cannot be seen: no locks there, or no file to lock
};

/// The files of the operating system. All operations may be called from any thread, also at once.
/// New files and folders are for this user only.
class FileSystem {
  public:
    using Path = std::filesystem::path;

    virtual ~FileSystem() = default;

    /// Makes a new, empty file in place of one that has this name, and the folder if it is missing.
    virtual Result<std::unique_ptr<File>> create(const Path& path) = 0;
    /// Opens an existing regular file for writing, and makes it readable by this user only.
    virtual Result<std::unique_ptr<File>> open(const Path& path) = 0;
    /// The bytes of a whole file; fails with what `isMissing` or `isUnfit` tell. Never blocks.
    /// Throws `std::bad_alloc`, as a lack of memory says nothing about the file.
    virtual Result<std::string> read(const Path& path) = 0;
    /// What the name stands for, a link itself; nothing when there is none.
    [[nodiscard]] virtual std::optional<FileState> state(const Path& path) const noexcept = 0;
    /// The names in a folder, in no order; none when it is missing.
    virtual Result<std::vector<std::string>> names(const Path& folder) const = 0;

    /// Renames a file over another in one step.
    [[nodiscard]] virtual Status rename(const Path& from, const Path& to) = 0;
    /// Lets two existing files of one folder trade names in one step. Fails with what
    /// `isUnsupported` tells where the file system cannot do it.
    [[nodiscard]] virtual Status exchange(const Path& one, const Path& other) = 0;
    /// Succeeds when there is no such file any more.
    [[nodiscard]] virtual Status remove(const Path& path) = 0;
    /// Waits until the names in `folder` are on the device. Succeeds where the file system cannot
    /// flush a folder.
    [[nodiscard]] virtual Status flushFolder(const Path& folder) = 0;

    /// The hidden file in each claimed folder that stands for the claim.
    static constexpr const char* claimName = ".zentara-lock";
    /// Claims a folder, which is made when it is missing. The answer stays the same until this
    /// process releases the folder. Other processes are told otherwise as soon as this one is gone,
    /// however it ended.
    [[nodiscard]] virtual FolderClaim claim(const Path& folder) = 0;
    /// Gives a folder back, and removes it if there is nothing in it.
    virtual void release(const Path& folder) = 0;

    /// Differs each time the system has started; empty where the system does not say.
    [[nodiscard]] virtual std::string bootIdentity() const = 0;

    /// Puts `bytes`, in so many parts, in place of the file in one step: the old content or the new
    /// one, never a mixture.
    [[nodiscard]] Status writeAtomically(const Path& path, std::span<const std::string_view> bytes);
    [[nodiscard]] Status writeAtomically(const Path& path, std::string_view bytes) {
        return writeAtomically(path, std::span(&bytes, 1));
    }

    /// Removes the file and all files beside it that are named after it: dots, its name, and
    /// nothing or a dot and more. The file itself goes last. Waits until the names are off the
    /// device. After a failure it goes on with the others; the first failure is returned.
    [[nodiscard]] Status removeAllOf(const Path& path);
};

/// The files of this system.
[[nodiscard]] FileSystem& systemFiles();

/// The path of a file of that name in the documents directory. A system that names no such
/// directory is a fatal error. Touches nothing on disk.
[[nodiscard]] std::filesystem::path documentsFile(std::string_view name);

/// Makes a folder and those above it that are missing, each for this user only.
[[nodiscard]] Status makeFolder(const std::filesystem::path& folder);

/// Whether an operation failed because there is no such file.
[[nodiscard]] bool isMissing(const Status& status);
/// Whether `read` found nothing that would ever be read: no regular file, or one too large.
[[nodiscard]] bool isUnfit(const Status& status);
/// Whether the file system has no such operation.
[[nodiscard]] bool isUnsupported(const Status& status);

}  // namespace zentara
