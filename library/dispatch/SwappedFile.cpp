#include "dispatch/SwappedFile.h"

#include <algorithm>
#include <memory>
#include <string>
#include <utility>

#include "platform/PlatformError.h"

namespace zentara {

namespace {

/// Writes texts one after the other, in large pieces.
class JoinedWriter {
  public:
    JoinedWriter(File& file, std::uint64_t offset) : file_(file), offset_(offset) {}

    void append(std::string_view text) {
        if (error_) return;
        if (!buffer_.empty() && buffer_.size() + text.size() > pieceSize) flush();
        buffer_ += text;
    }

    [[nodiscard]] ErrorRef finish() {
        flush();
        return error_;
    }

    [[nodiscard]] std::uint64_t offset() const noexcept { return offset_; }

  private:
    static constexpr std::size_t pieceSize = std::size_t{256} * 1024;

    void flush() {
        if (!error_) error_ = file_.write(buffer_, offset_);
        offset_ += buffer_.size();
        buffer_.clear();
    }

    File& file_;
    std::uint64_t offset_;
    std::string buffer_;
    ErrorRef error_;
};

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
    JoinedWriter writer(spare_.file, extends ? spare_.bytes - 1 : 0);
    // Until the last byte is written nobody knows what the spare holds.
    spare_.known = false;
    if (!extends) writer.append("[");
    for (std::size_t i = kept; i < events.size(); ++i) {
        const auto text = events[i].jsonText();
        if (!text) return notEncodable();
        if (i > 0) writer.append(",");
        writer.append(*text);
    }
    writer.append("]");
    if (auto error = writer.finish()) return error;
    // What is longer would not be read again.
    if (writer.offset() > maximumFileSize) return tooLarge();
    if (!extends) {
        if (auto error = spare_.file.truncate(writer.offset())) return error;
    }
    if (durability_ == Durability::flushed) {
        if (auto error = spare_.file.synchronise()) return error;
    }
    spare_.known = true;
    spare_.count = events.size();
    spare_.bytes = writer.offset();
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
    // of somebody else's would put that one's list in place of ours.
    if (spare_.file.isOpen() && fileIdentity(sparePath_) != spare_.file.identity()) spare_ = {};
    if (current_.file.isOpen() && fileIdentity(path_) != current_.file.identity()) {
        current_.file.close();
    }
}

}  // namespace zentara
