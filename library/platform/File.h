#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "support/Status.h"

namespace zentara {

/// Which file a name stands for, whatever it is called.
struct FileIdentity {
    std::uint64_t device = 0;
    std::uint64_t number = 0;

    friend bool operator==(const FileIdentity&, const FileIdentity&) = default;
};

/// Which file it is, how long, and when it was written to last, since 1970. Where the clock of
/// files ticks, as on Linux before 6.13, what is written within a tick of 1 to 10 ms has one time.
struct FileState {
    FileIdentity identity;
    std::uint64_t size = 0;
    std::int64_t seconds = 0;
    std::int64_t nanoseconds = 0;  ///< beyond the seconds

    friend bool operator==(const FileState&, const FileState&) = default;
};

/// An open file that is written in place. Operations that can fail return null on success.
class File {
  public:
    /// Makes a new, empty file, readable by this user only, in place of one that has this name.
    /// Makes the folder too when it is missing.
    [[nodiscard]] static ErrorRef create(const std::filesystem::path& path, File& file);

    /// Opens an existing regular file for writing, and makes it readable by this user only.
    [[nodiscard]] static ErrorRef open(const std::filesystem::path& path, File& file);

    File() = default;
    ~File();
    File(File&& other) noexcept;
    File& operator=(File&& other) noexcept;
    File(const File&) = delete;
    File& operator=(const File&) = delete;

    [[nodiscard]] bool isOpen() const noexcept { return descriptor_ >= 0; }
    [[nodiscard]] FileIdentity identity() const noexcept { return identity_; }
    /// Whether what is written to it shows under another name as well.
    [[nodiscard]] bool hasOtherNames() const noexcept;

    /// Writes all of `bytes` at `offset`.
    [[nodiscard]] ErrorRef write(std::string_view bytes, std::uint64_t offset);
    /// Writes all `parts`, one behind the other, at `offset`.
    [[nodiscard]] ErrorRef write(std::span<const std::string_view> parts, std::uint64_t offset);
    [[nodiscard]] ErrorRef truncate(std::uint64_t size);

    /// Nothing when the system does not say.
    [[nodiscard]] std::optional<FileState> state() const noexcept;

    /// Waits until the content is on the device. Succeeds where the file system cannot flush.
    [[nodiscard]] ErrorRef synchronise();

    /// The first `size` bytes as memory, to be passed to `write` of another file and never to be
    /// looked at: if another process makes the file shorter, that write fails, where a look would
    /// end the process. Empty where the file system is not known to keep both the same. Stays until
    /// `closeView` or the next `view`.
    [[nodiscard]] std::string_view view(std::uint64_t size) noexcept;
    void closeView() noexcept;

    /// The same file once more, closed apart from this one; not open when this one is not.
    [[nodiscard]] ErrorRef duplicate(File& copy) const;

    void close() noexcept;

  private:
    int descriptor_ = -1;
    FileIdentity identity_;
    std::string_view view_;
};

/// Makes a folder and those above it that are missing, each for this user only. Null when it is
/// there.
ErrorRef makeFolder(const std::filesystem::path& folder);

/// The file of that name, or nothing when there is none.
[[nodiscard]] std::optional<FileIdentity> fileIdentity(const std::filesystem::path& path);
/// Its state, or nothing when there is none.
[[nodiscard]] std::optional<FileState> fileState(const std::filesystem::path& path);

/// A whole file, or why it could not be read. Without a file both members are empty.
struct [[nodiscard]] FileContents {
    std::optional<std::string> bytes;
    ErrorRef error;
    /// Whether it is nothing that would ever be read: not a regular file, or too large.
    bool isUnfit = false;
};

/// The largest file that is read; a larger one is an error, so that no file can take all memory.
inline constexpr std::uint64_t maximumFileSize = std::uint64_t{512} * 1024 * 1024;

FileContents readFile(const std::filesystem::path& path);

/// Puts `bytes` in place of the file in one step: the old content or the new one, never a mixture.
[[nodiscard]] ErrorRef writeFileAtomically(const std::filesystem::path& path,
                                           std::string_view bytes);

/// Lets two existing files of one folder trade names in one step. `unsupported` is set when the
/// file system cannot do it.
[[nodiscard]] ErrorRef exchangeNames(const std::filesystem::path& one,
                                     const std::filesystem::path& other, bool& unsupported);

/// Renames a file over another in one step.
[[nodiscard]] ErrorRef renameFile(const std::filesystem::path& from,
                                  const std::filesystem::path& to);

/// Removes a file if it is there.
void removeFile(const std::filesystem::path& path) noexcept;

/// Waits until the names in `folder` are on the device. Succeeds where the file system cannot
/// flush a folder.
[[nodiscard]] ErrorRef synchroniseFolder(const std::filesystem::path& folder);

}  // namespace zentara
