#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include "dispatch/storage/TextPieces.h"
#include "model/InternalEvent.h"
#include "platform/File.h"
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
/// and time. One that others have cut, overwritten or replaced makes way for a new one.
///
/// Not promised: that two writers on one name see each other's lists. Not synchronised.
class SwappedFile {
  public:
    enum class Durability { process, flushed };

    SwappedFile(std::filesystem::path path, std::filesystem::path sparePath, Durability durability)
        : path_(std::move(path)), sparePath_(std::move(sparePath)), durability_(durability) {}

    /// Tells that the file was read and holds `events`, in canonical form.
    void holds(std::span<const InternalEvent> events);
    /// Tells that the contents of the file are not known.
    void forget() noexcept;

    /// Makes the file hold `events`: what it holds without the first `left` events, and more at the
    /// end. On failure the file holds what it held.
    ///
    /// From one call to the next the texts of what the file holds have to stay where they are.
    [[nodiscard]] ErrorRef write(std::span<const InternalEvent> events, std::size_t left);

    /// The files behind both names, for flushing what they hold by now.
    [[nodiscard]] ErrorRef duplicate(std::array<File, 2>& copies) const;

    /// To be called when writes have paused, with the events that the file holds: makes the next
    /// append cheap. A list that is full is left alone, as it loses an event with each append.
    void pause(std::span<const InternalEvent> events) noexcept;

    /// Brings the spare up to `events`, which the file holds, so that both files hold the same.
    void prepareSpare(std::span<const InternalEvent> events) noexcept;

  private:
    struct Side {
        File file;
        bool known = false;  ///< for the spare: holds the first `count` events of the file
        std::size_t count = 0;
        std::uint64_t bytes = 0;     ///< whole length
        std::uint64_t appended = 0;  ///< how many of them came in small pieces
        bool isWhole = false;        ///< the last write was of the whole file
        /// As it was left by the last write; nothing when that is not known.
        std::optional<FileState> state = std::nullopt;
    };

    [[nodiscard]] static bool isAsLeft(const std::filesystem::path& path, const Side& side);

    [[nodiscard]] ErrorRef fillSpare(std::span<const InternalEvent> events, std::size_t left);
    [[nodiscard]] ErrorRef extendSpare(std::span<const InternalEvent> events,
                                       const TextPieces& pieces);
    [[nodiscard]] ErrorRef rewriteSpare(std::span<const InternalEvent> events, std::size_t left,
                                        const TextPieces& pieces);
    /// Takes what the file holds already from there instead of the texts. A list that is rewritten
    /// time and again lies in two files then, and not in the texts as well: of 8,000 events these
    /// are 14 MB rather than 21, which fewer caches of processors hold, and take a fifth less time.
    [[nodiscard]] bool copyToSpare(std::span<const InternalEvent> events, std::size_t left,
                                   const TextPieces& pieces, std::uint64_t size);
    void closeViews() noexcept;
    /// Puts the spare in the file's place. The old file is the spare then, unless that is gone.
    [[nodiscard]] ErrorRef replaceFile(bool& spareIsGone);

    const std::filesystem::path path_;
    const std::filesystem::path sparePath_;
    const Durability durability_;
    Side current_;
    Side spare_;
    bool isFull_ = false;  // the last write lost one event and gained one
    TextPieces pieces_;    // of what the file holds, or of nothing
    std::vector<std::string_view> parts_;
};

}  // namespace zentara
