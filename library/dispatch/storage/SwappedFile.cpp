#include "dispatch/storage/SwappedFile.h"

#include <algorithm>
#include <new>
#include <utility>

namespace zentara {

void SwappedFile::holds(std::span<const InternalEvent> events) {
    forget();
    current_.known = true;
    current_.count = events.size();
    current_.bytes = ListText::sizeOf(events);
    // An open file can become the spare of the next save. Failing to open it is harmless.
    if (auto file = files_.open(path_); file.ok()) current_.file = *std::move(file);
    current_.state = files_.state(path_);
    // A copy that is a hard link to the file must not change with it.
    if (current_.state && current_.state->names > 1) current_.file.reset();
    if (current_.state && current_.state->size != current_.bytes) current_.state.reset();
}

void SwappedFile::forget() noexcept {
    current_ = {};
    spare_.known = false;
    text_ = {};
}

void SwappedFile::reset() noexcept {
    forget();
    spare_ = {};
}

Status SwappedFile::write(std::span<const InternalEvent> events, std::size_t left) {
    if (!current_.known) left = current_.count = 0;
    left = std::min(left, current_.count);
    const bool onlyAppended = current_.known && left == 0;
    const bool isSame = onlyAppended && events.size() == current_.count;
    // An empty list cannot lose anything.
    if (isSame && (events.empty() || isAsLeft(path_, current_))) return {};

    auto status = fillSpare(events, left);
    if (status.ok()) status = replaceFile();
    if (!status.ok()) return status;
    spare_.known = spare_.known && onlyAppended;
    return {};
}

void SwappedFile::prepareSpare(std::span<const InternalEvent> events) noexcept {
    const bool isReady = spare_.known && spare_.count == events.size() && spare_.file;
    if (!current_.known || current_.count != events.size() || isReady) return;
    try {
        // The next write begins with this step and reports the failure. Until then the spare may
        // hold a list of any age, which must not come back under the file's name.
        if (!fillSpare(events, 0).ok()) spare_ = {};
    } catch (const std::bad_alloc&) {
        spare_ = {};
    }
}

Status SwappedFile::fillSpare(std::span<const InternalEvent> events, std::size_t left) {
    // Other processes may have changed it while it had the file's name.
    if (!spare_.file || !isAsLeft(sparePath_, spare_)) {
        spare_ = {};
        auto file = files_.create(sparePath_);
        if (!file.ok()) return file.status();
        spare_.file = *std::move(file);
    }
    // Until the write has succeeded, the contents of the spare and the text are not known.
    const bool extends = std::exchange(spare_.known, false) && left == 0;
    auto text = std::exchange(text_, {});
    if (text.count() != current_.count) text = {};
    auto status = text.follow(events, left);
    if (!status.ok()) return status;
    status =
        writeSpare(extends ? text.tail(events, spare_.count, spare_.bytes) : text.whole(events));
    if (status.ok() && durability_ == Durability::flushed) status = spare_.file->flush();
    if (!status.ok()) return status;
    spare_.known = true;
    spare_.count = events.size();
    text_ = std::move(text);
    return {};
}

Status SwappedFile::writeSpare(const ListText::Part& part) {
    Status status;
    if (part.offset > 0) {
        spare_.appended += part.end - part.offset;
    } else if (std::exchange(spare_.appended, 0) > part.end / 4) {
        // The system caches a file in pieces as small as those that it was written in, and
        // overwriting small pieces takes five times as long. An emptied file gets large pieces.
        status = spare_.file->truncate(0);
    }
    // Long pieces are written several times as fast as many short ones.
    if (status.ok()) status = spare_.file->write(part.pieces, part.offset);
    spare_.state = spare_.file->state();
    if (status.ok() && (!spare_.state || spare_.state->size != part.end)) {
        status = spare_.file->truncate(part.end);
        spare_.state = spare_.file->state();
    }
    spare_.bytes = part.end;
    return status;
}

Status SwappedFile::replaceFile() {
    auto status = files_.exchange(sparePath_, path_);
    const bool isExchange = status.ok() || (!isUnsupported(status) && files_.state(path_));
    if (!isExchange) status = files_.rename(sparePath_, path_);
    if (!status.ok()) {
        // A call that reports an error may still have traded the names.
        const auto named = files_.state(path_);
        const auto written = spare_.file->state();
        if (named && written && named->identity == written->identity) status = {};
    }
    // The old file is overwritten next time. By then its new name must be on the device, or a loss
    // of power would find a half-written list under the old one.
    if (status.ok() && durability_ == Durability::flushed)
        status = files_.flushFolder(path_.parent_path());
    if (!status.ok()) {
        // The state of both names is not known, so the next write begins with a new spare.
        spare_ = {};
        current_.known = false;
        return status;
    }
    std::swap(current_, spare_);
    current_.known = true;
    if (!isExchange || !spare_.file) spare_ = {};
    return {};
}

}  // namespace zentara
