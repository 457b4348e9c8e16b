#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <span>

#include "dispatch/storage/ListText.h"
#include "model/InternalEvent.h"
#include "platform/FileSystem.h"
#include "support/Status.h"

namespace zentara {

/// A file that holds a list of events as one compact JSON array, and its spare.
///
/// Promise: the file under its name is at every moment a whole list, the old one or the new one,
/// whatever happens to the process. With `Durability::flushed` that holds for a loss of power too.
///
/// A write brings the spare up to date and lets the two trade names in one step. After an append
/// the spare, which holds the list before last, lacks only the last events, so an append costs the
/// bytes of two events and no new file, at any length. Any other change rewrites the spare in
/// place, in as few and as long pieces as the texts lie in memory. Where the file system cannot
/// exchange names, a fresh file is renamed over the old one.
///
/// Before a file is written to, it must be as the last write left it: the same file, of that size
/// and time. A file that others have cut, overwritten or replaced is replaced by a new file.
///
/// Not promised: that two writers of the same name see each other's lists. Not synchronised.
class SwappedFile {
  public:
    using Path = std::filesystem::path;
    enum class Durability { process, flushed };

    /// `files` must outlive this.
    SwappedFile(FileSystem& files, Path path, Path sparePath, Durability durability)
        : files_(files),
          path_(std::move(path)),
          sparePath_(std::move(sparePath)),
          durability_(durability) {}

    /// Notes that the file was read and holds `events`, in canonical form.
    void holds(std::span<const InternalEvent> events);
    /// Notes that the contents of the file are not known.
    void forget() noexcept;
    /// Notes that both files are gone.
    void reset() noexcept;

    /// Makes the file hold `events`: those that it holds without the first `left`, and any number
    /// appended. On failure the file is unchanged.
    ///
    /// The texts of the events in the file must stay where they are until the next call.
    [[nodiscard]] Status write(std::span<const InternalEvent> events, std::size_t left);

    /// The files behind both names, for flushing them; either may be null.
    [[nodiscard]] std::array<std::shared_ptr<File>, 2> openFiles() const {
        return {current_.file, spare_.file};
    }

    /// Brings the spare up to `events`, which the file holds, so that both files hold the same and
    /// the next append is cheap.
    void prepareSpare(std::span<const InternalEvent> events) noexcept;

  private:
    struct Side {
        std::shared_ptr<File> file;
        bool known = false;  ///< for the spare: holds the first `count` events of the file
        std::size_t count = 0;
        std::uint64_t bytes = 0;     ///< whole length
        std::uint64_t appended = 0;  ///< how many bytes were written in small pieces
        /// After the last write; nothing when that is not known.
        std::optional<FileState> state = std::nullopt;
    };

    [[nodiscard]] bool isAsLeft(const Path& path, const Side& side) const {
        return side.state && files_.state(path) == side.state;
    }
    [[nodiscard]] Status fillSpare(std::span<const InternalEvent> events, std::size_t left);
    /// Makes the spare's file hold what `part` ends.
    [[nodiscard]] Status writeSpare(const ListText::Part& part);
    /// Puts the spare in the file's place. The old file becomes the spare if it still exists.
    [[nodiscard]] Status replaceFile();

    FileSystem& files_;
    const Path path_;
    const Path sparePath_;
    const Durability durability_;
    Side current_;
    Side spare_;
    ListText text_;  // of what the file holds, or of nothing
};

}  // namespace zentara
