#include "dispatch/SwappedFile.h"

#include <algorithm>
#include <memory>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/PlatformError.h"

namespace zentara {

namespace {

ErrorRef notEncodable() {
    return std::make_shared<PlatformError>(PlatformError::Domain::json, 0,
                                           "JSON cannot hold one of the events");
}

ErrorRef tooLarge() {
    return std::make_shared<PlatformError>(PlatformError::Domain::file, 0,
                                           "the list is larger than a file may be");
}

}  // namespace

void SwappedFile::holds(std::span<const InternalEvent> events) {
    forget();
    current_.known = true;
    current_.count = events.size();
    current_.bytes = 2 + (events.empty() ? 0 : events.size() - 1);
    for (const auto& event : events) {
        current_.bytes += event.jsonText().value_or(std::string_view()).size();
    }
    // Open, it can become the spare of the next save. It need not.
    static_cast<void>(File::open(path_, current_.file));
    // A copy that somebody made by a second name is not to change with it.
    if (current_.file.isOpen() && current_.file.hasOtherNames()) current_.file.close();
}

void SwappedFile::forget() noexcept {
    current_ = {};
    spare_.known = false;
    pieces_ = {};
}

ErrorRef SwappedFile::duplicate(std::array<File, 2>& copies) const {
    if (auto error = current_.file.duplicate(copies[0])) return error;
    return spare_.file.duplicate(copies[1]);
}

ErrorRef SwappedFile::write(std::span<const InternalEvent> events, std::size_t left) {
    if (!current_.known) left = current_.count = 0;
    left = std::min(left, current_.count);
    const bool onlyAppended = current_.known && left == 0;
    if (onlyAppended && events.size() == current_.count) return nullptr;

    forgetReplacedFiles();
    if (auto error = fillSpare(events, left)) return error;

    bool spareIsGone = false;
    if (auto error = tradeNames(spareIsGone)) return error;
    std::swap(current_, spare_);
    current_.known = true;
    if (spareIsGone || !spare_.file.isOpen()) {
        spare_ = {};
    } else {
        spare_.known = spare_.known && onlyAppended;
    }
    return nullptr;
}

void SwappedFile::prepareSpare(std::span<const InternalEvent> events) {
    if (!current_.known || current_.count != events.size()) return;
    if (spare_.known && spare_.count == events.size() && spare_.file.isOpen()) return;
    // A failure shows at the next write, which begins with this same step. Until then the spare may
    // hold a list of any age, which must not come back under the file's name.
    if (fillSpare(events, 0)) spare_ = {};
}

ErrorRef SwappedFile::fillSpare(std::span<const InternalEvent> events, std::size_t left) {
    if (!spare_.file.isOpen()) {
        spare_ = {};
        if (auto error = File::create(sparePath_, spare_.file)) return error;
    }
    // Until the write has succeeded nobody knows what the spare holds, or may rely on the pieces.
    const bool extends = std::exchange(spare_.known, false) && left == 0;
    auto pieces = std::move(pieces_);
    pieces_ = {};
    if (pieces.count() != current_.count) pieces = {};
    if (!pieces.follow(events, left)) return notEncodable();

    const auto kept = extends ? spare_.count : 0;
    const std::uint64_t offset = extends ? spare_.bytes - 1 : 0;
    parts_.clear();
    if (!extends) parts_.emplace_back("[");
    // Long pieces are written several times as fast as many short ones.
    pieces.appendTo(parts_, events, kept);
    parts_.emplace_back("]");
    auto end = offset;
    for (const auto& part : parts_)
        end += part.size();
    if (!extends && spare_.appended > end / 4) {
        // The system caches a file in pieces as small as those it was written in, and overwriting
        // small pieces takes five times as long. Emptied first, they come back large.
        if (auto error = spare_.file.truncate(0)) return error;
    }
    if (auto error = spare_.file.write(parts_, offset)) return error;
    spare_.appended = extends ? spare_.appended + (end - offset) : 0;
    // What is longer would not be read again.
    if (end > maximumFileSize) return tooLarge();
    if (!extends) {
        if (auto error = spare_.file.truncate(end)) return error;
    }
    if (durability_ == Durability::flushed) {
        if (auto error = spare_.file.synchronise()) return error;
    }
    spare_.known = true;
    spare_.count = events.size();
    spare_.bytes = end;
    pieces_ = std::move(pieces);
    return nullptr;
}

ErrorRef SwappedFile::tradeNames(bool& spareIsGone) {
    bool unsupported = false;
    auto error = exchangeNames(sparePath_, path_, unsupported);
    if (error) {
        // No exchange on this file system, or no file of that name yet.
        spareIsGone = true;
        error = renameFile(sparePath_, path_);
    }
    // The old file is overwritten next time. By then its new name must be on the device, or a loss
    // of power would find a half-written list under the old one.
    if (!error && durability_ == Durability::flushed)
        error = synchroniseFolder(path_.parent_path());
    if (error) {
        // How far it came is not known, so the next write starts from nothing.
        spare_ = {};
        current_.known = false;
    }
    return error;
}

void SwappedFile::forgetReplacedFiles() {
    // Somebody may have removed or replaced a file, or the whole folder. Trading names with a file
    // of somebody else's would put that one's list in place of ours. Only the spare's name needs a
    // look: what takes the file's place passes through it before it could come back.
    if (spare_.file.isOpen() && fileIdentity(sparePath_) != spare_.file.identity()) spare_ = {};
}

}  // namespace zentara
