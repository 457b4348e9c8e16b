#include "dispatch/storage/SwappedFile.h"

#include <algorithm>
#include <memory>
#include <new>
#include <numeric>
#include <string_view>
#include <utility>
#include <vector>

#include "dispatch/storage/QueueFiles.h"
#include "support/PlatformError.h"

namespace zentara {

namespace {

ErrorRef notEncodable() {
    return std::make_shared<PlatformError>(PlatformError::Domain::json, 0,
                                           "JSON cannot hold one of the events");
}

std::uint64_t sizeOf(std::span<const std::string_view> parts) {
    return std::accumulate(
        parts.begin(), parts.end(), std::uint64_t{0},
        [](std::uint64_t size, std::string_view part) { return size + part.size(); });
}

/// Shorter ones stay in the processor's cache along with the texts; longer ones do not even
/// without.
constexpr std::uint64_t shortestCopy = std::uint64_t{1} << 20U;
constexpr std::uint64_t longestCopy = std::uint64_t{12} << 20U;

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
    // A copy that is a second name of the file must not change with it.
    if (current_.file.isOpen() && current_.file.hasOtherNames()) current_.file.close();
    current_.state = fileState(path_);
    if (current_.state && current_.state->size != current_.bytes) current_.state.reset();
}

void SwappedFile::forget() noexcept {
    current_ = {};
    spare_.known = false;
    isFull_ = false;
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
    const bool isSame = onlyAppended && events.size() == current_.count;
    // Of an empty list nothing can be lost.
    if (isSame && (events.empty() || isAsLeft(path_, current_))) return nullptr;

    if (auto error = fillSpare(events, left)) return error;
    bool spareIsGone = false;
    if (auto error = replaceFile(spareIsGone)) return error;
    isFull_ = left == 1 && events.size() == current_.count;
    std::swap(current_, spare_);
    current_.known = true;
    if (spareIsGone || !spare_.file.isOpen()) {
        spare_ = {};
    } else {
        spare_.known = spare_.known && onlyAppended;
    }
    return nullptr;
}

void SwappedFile::pause(std::span<const InternalEvent> events) noexcept {
    // What the caches hold after it is not known.
    current_.isWhole = false;
    if (isFull_) {
        closeViews();
    } else {
        prepareSpare(events);
    }
}

void SwappedFile::prepareSpare(std::span<const InternalEvent> events) noexcept {
    const bool isReady = spare_.known && spare_.count == events.size() && spare_.file.isOpen();
    if (current_.known && current_.count == events.size() && !isReady) {
        try {
            // A failure shows at the next write, which begins with this same step. Until then the
            // spare may hold a list of any age, which must not come back under the file's name.
            if (fillSpare(events, 0)) spare_ = {};
        } catch (const std::bad_alloc&) {
            spare_ = {};
        }
    }
    closeViews();
}

ErrorRef SwappedFile::fillSpare(std::span<const InternalEvent> events, std::size_t left) {
    // What others did to it while it had the file's name shows here, before it could come back.
    if (!spare_.file.isOpen() || !isAsLeft(sparePath_, spare_)) {
        spare_ = {};
        if (auto error = File::create(sparePath_, spare_.file)) return error;
    }
    // Until the write has succeeded, contents of the spare and pieces are not known.
    const bool extends = std::exchange(spare_.known, false) && left == 0;
    auto pieces = std::exchange(pieces_, {});
    if (pieces.count() != current_.count) pieces = {};
    if (!pieces.follow(events, left)) return notEncodable();

    auto error = extends ? extendSpare(events, pieces) : rewriteSpare(events, left, pieces);
    spare_.state = spare_.file.state();
    if (error) return error;
    if (durability_ == Durability::flushed) {
        error = spare_.file.synchronise();
        if (error) return error;
    }
    spare_.known = true;
    spare_.count = events.size();
    pieces_ = std::move(pieces);
    return nullptr;
}

ErrorRef SwappedFile::extendSpare(std::span<const InternalEvent> events, const TextPieces& pieces) {
    closeViews();
    parts_.clear();
    pieces.appendTo(parts_, events, spare_.count);
    parts_.emplace_back("]");
    const auto offset = spare_.bytes - 1;
    const auto size = sizeOf(parts_);
    if (offset + size > maximumFileSize) return tooLarge();
    if (auto error = spare_.file.write(parts_, offset)) return error;
    spare_.bytes = offset + size;
    spare_.appended += size;
    spare_.isWhole = false;
    return nullptr;
}

ErrorRef SwappedFile::rewriteSpare(std::span<const InternalEvent> events, std::size_t left,
                                   const TextPieces& pieces) {
    // Long pieces are written several times as fast as many short ones.
    parts_.assign({"["});
    pieces.appendTo(parts_, events, 0);
    parts_.emplace_back("]");
    const auto size = sizeOf(parts_);
    if (size > maximumFileSize) return tooLarge();
    if (spare_.appended > size / 4) {
        // The system caches a file in pieces as small as those it was written in, and overwriting
        // small pieces takes five times as long. Emptied first, they come back large.
        if (auto error = spare_.file.truncate(0)) return error;
    }
    if (!copyToSpare(events, left, pieces, size)) {
        if (auto error = spare_.file.write(parts_, 0)) return error;
    }
    spare_.bytes = size;
    spare_.appended = 0;
    spare_.isWhole = true;
    const auto state = spare_.file.state();
    return state && state->size == size ? nullptr : spare_.file.truncate(size);
}

bool SwappedFile::copyToSpare(std::span<const InternalEvent> events, std::size_t left,
                              const TextPieces& pieces, std::uint64_t size) {
    // What is flushed is written seldom, and no cache holds it from one time to the next.
    if (durability_ == Durability::flushed) return false;
    // What others wrote into the file is not to spread.
    const auto isAsWritten = [&] {
        return current_.state && current_.file.state() == current_.state;
    };
    if (!current_.isWhole || !isAsWritten()) return false;
    std::vector<std::string_view> parts{"[", ""};
    pieces.appendTo(parts, events, current_.count - left);
    parts.emplace_back("]");
    const auto copied = size - sizeOf(parts);
    if (copied < shortestCopy || copied > longestCopy) return false;
    const auto view = current_.file.view(current_.bytes);
    if (view.empty()) return false;
    parts[1] = view.substr(current_.bytes - 1 - copied, copied);
    // Failing it, the texts are there still. Others may have written there meanwhile.
    return spare_.file.write(parts, 0) == nullptr && isAsWritten();
}

void SwappedFile::closeViews() noexcept {
    current_.file.closeView();
    spare_.file.closeView();
}

bool SwappedFile::isAsLeft(const std::filesystem::path& path, const Side& side) {
    return side.state && fileState(path) == side.state;
}

ErrorRef SwappedFile::replaceFile(bool& spareIsGone) {
    auto error = exchangeNames(sparePath_, path_, spareIsGone);
    if (error && !spareIsGone) spareIsGone = !fileIdentity(path_);
    if (spareIsGone) error = renameFile(sparePath_, path_);
    // A call that reports an error may have done its work.
    if (error && fileIdentity(path_) == spare_.file.identity()) error = nullptr;
    // The old file is overwritten next time. By then its new name must be on the device, or a loss
    // of power would find a half-written list under the old one.
    if (!error && durability_ == Durability::flushed)
        error = synchroniseFolder(path_.parent_path());
    if (error) {
        // How far it came is not known, so the next write starts from nothing.
        closeViews();
        spare_ = {};
        current_.known = false;
    }
    return error;
}

}  // namespace zentara
