#include "dispatch/storage/ListText.h"

#include <algorithm>
#include <numeric>

#include "support/PlatformError.h"

namespace zentara {

namespace {

constexpr std::string_view opener = "[";
constexpr std::string_view comma = ",";
constexpr std::string_view closer = "]";

}  // namespace

std::uint64_t ListText::sizeOf(std::span<const InternalEvent> events) {
    const auto commas = events.empty() ? 0 : events.size() - 1;
    return std::accumulate(events.begin(), events.end(),
                           std::uint64_t{opener.size() + commas + closer.size()},
                           [](std::uint64_t size, const InternalEvent& event) {
                               return size + event.text().json.size();
                           });
}

Status ListText::follow(std::span<const InternalEvent> events, std::size_t left) {
    dropFront(std::min(left, count_));
    for (const auto& event : events.subspan(count_)) {
        if (!append(event)) return plainError("JSON cannot hold one of the events");
    }
    return {};
}

ListText::Part ListText::whole(std::span<const InternalEvent> events) {
    parts_.assign({opener});
    addFrom(events, 0);
    return finished(0);
}

ListText::Part ListText::tail(std::span<const InternalEvent> events, std::size_t from,
                              std::uint64_t size) {
    parts_.clear();
    addFrom(events, from);
    return finished(size - closer.size());
}

ListText::Part ListText::finished(std::uint64_t offset) {
    parts_.push_back(closer);
    const auto end = std::accumulate(
        parts_.begin(), parts_.end(), offset,
        [](std::uint64_t size, std::string_view part) { return size + part.size(); });
    return {parts_, offset, end};
}

void ListText::dropFront(std::size_t left) {
    count_ -= left;
    auto piece = pieces_.begin();
    for (; left > 0 && left >= piece->count; ++piece)
        left -= piece->count;
    if (left > 0) piece->count -= left;
    pieces_.erase(pieces_.begin(), piece);
}

bool ListText::append(const InternalEvent& event) {
    const auto text = event.text();
    if (text.json.empty()) return false;
    // If both texts have the same owner, it also owns the character between them.
    if (!pieces_.empty() && pieces_.back().owner == text.owner &&
        text.json.data() == pieces_.back().text.data() + pieces_.back().text.size() + 1 &&
        text.json.data()[-1] == comma.front()) {
        auto& piece = pieces_.back();
        piece.text = {piece.text.data(), piece.text.size() + 1 + text.json.size()};
        ++piece.count;
    } else {
        pieces_.push_back({text.json, text.owner, 1});
    }
    ++count_;
    return true;
}

void ListText::addFrom(std::span<const InternalEvent> events, std::size_t from) {
    // From the end, where appends are.
    auto piece = pieces_.end();
    auto first = count_;
    while (first > from)
        first -= (--piece)->count;
    if (piece == pieces_.end()) return;
    // The piece may begin before `from`, or with events that have left the list.
    const auto* start = events[from].text().json.data();
    if (first < from) {
        --start;
    } else if (from > 0) {
        parts_.push_back(comma);
    }
    parts_.emplace_back(start,
                        static_cast<std::size_t>(piece->text.data() + piece->text.size() - start));
    while (++piece != pieces_.end()) {
        parts_.push_back(comma);
        parts_.push_back(piece->text);
    }
}

InternalEvent ListText::Memory::packed(const InternalEvent& event) {
    const auto text = event.text();
    if (text.json.empty() || text.json.size() > longestText) return event.packed();
    if (!block_ || blockSize - used_ < text.json.size() + comma.size()) {
        // Not filled with zeros, so that the pages of an almost empty block take no memory.
        block_ = std::shared_ptr<char[]>(new char[blockSize]);
        used_ = 0;
    }
    // Other threads may be reading earlier texts of the block, but nothing behind them.
    char* const start = block_.get() + used_;
    *std::copy(text.json.begin(), text.json.end(), start) = comma.front();
    used_ += text.json.size() + comma.size();
    return InternalEvent::fromText(block_, {{start, text.json.size()}, text.userOffset});
}

}  // namespace zentara
