#include "dispatch/SwappedFile.h"

#include <algorithm>
#include <memory>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/PlatformError.h"

namespace zentara {

namespace {

/// Whether `next` lies behind `text` in one piece of memory, a comma between them.
bool follows(const InternalEvent::Text& text, const InternalEvent::Text& next) {
    // Where one owner has both, the character between them is theirs too.
    return text.owner == next.owner &&
           next.json.data() == text.json.data() + text.json.size() + 1 &&
           next.json.data()[-1] == ',';
}

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
    current_ = {};
    current_.known = true;
    current_.count = events.size();
    current_.bytes = 2 + (events.empty() ? 0 : events.size() - 1);
    for (const auto& event : events) {
        current_.bytes += event.jsonText().value_or(std::string_view()).size();
    }
    // Open, it can become the spare of the next save. It need not.
    static_cast<void>(File::open(path_, current_.file));
}

std::array<File, 2> SwappedFile::duplicates() const {
    return {current_.file.duplicate(), spare_.file.duplicate()};
}

ErrorRef SwappedFile::write(std::span<const InternalEvent> events, std::size_t unchanged) {
    unchanged = std::min({unchanged, events.size(), current_.known ? current_.count : 0});
    const bool onlyAppended = current_.known && unchanged == current_.count;
    if (onlyAppended && events.size() == current_.count) return nullptr;

    forgetReplacedFiles();
    if (auto error = fillSpare(events, unchanged)) return error;

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
    if (spare_.known && spare_.file.isOpen()) return;
    // A failure shows at the next write, which begins with this same step.
    static_cast<void>(fillSpare(events, events.size()));
}

ErrorRef SwappedFile::fillSpare(std::span<const InternalEvent> events, std::size_t unchanged) {
    if (!spare_.file.isOpen()) {
        spare_ = {};
        if (auto error = File::create(sparePath_, spare_.file)) return error;
    }
    const bool extends = spare_.known && spare_.count <= unchanged;
    const auto kept = extends ? spare_.count : 0;
    const std::uint64_t offset = extends ? spare_.bytes - 1 : 0;
    // Until the last byte is written nobody knows what the spare holds.
    spare_.known = false;
    std::vector<std::string_view> parts;
    std::uint64_t end = offset;
    const auto add = [&](std::string_view part) {
        parts.push_back(part);
        end += part.size();
    };
    if (!extends) add("[");
    InternalEvent::Text previous;
    for (std::size_t i = kept; i < events.size(); ++i) {
        const auto text = events[i].text();
        if (text.json.empty()) return notEncodable();
        if (i > kept && follows(previous, text)) {
            // Long parts, with their commas, are written several times as fast as many short ones.
            auto& run = parts.back();
            run = {run.data(), run.size() + 1 + text.json.size()};
            end += 1 + text.json.size();
        } else {
            if (i > 0) add(",");
            add(text.json);
        }
        previous = text;
    }
    add("]");
    if (!extends && spare_.appended > end / 4) {
        // The system caches a file in pieces as small as those it was written in, and overwriting
        // small pieces takes five times as long. Emptied first, they come back large.
        if (auto error = spare_.file.truncate(0)) return error;
    }
    if (auto error = spare_.file.write(parts, offset)) return error;
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
