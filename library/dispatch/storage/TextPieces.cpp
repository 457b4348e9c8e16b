#include "dispatch/storage/TextPieces.h"

#include <algorithm>

namespace zentara {

bool TextPieces::follow(std::span<const InternalEvent> events, std::size_t left) {
    dropFront(std::min(left, count_));
    for (const auto& event : events.subspan(count_)) {
        if (!append(event)) return false;
    }
    return true;
}

void TextPieces::dropFront(std::size_t left) {
    count_ -= left;
    auto piece = pieces_.begin();
    for (; left > 0 && left >= piece->count; ++piece)
        left -= piece->count;
    if (left > 0) piece->count -= left;
    pieces_.erase(pieces_.begin(), piece);
}

bool TextPieces::append(const InternalEvent& event) {
    const auto text = event.text();
    if (text.json.empty()) return false;
    // Where one owner has both texts, the character between them is its own too.
    if (!pieces_.empty() && pieces_.back().owner == text.owner &&
        text.json.data() == pieces_.back().text.data() + pieces_.back().text.size() + 1 &&
        text.json.data()[-1] == ',') {
        auto& piece = pieces_.back();
        piece.text = {piece.text.data(), piece.text.size() + 1 + text.json.size()};
        ++piece.count;
    } else {
        pieces_.push_back({text.json, text.owner, 1});
    }
    ++count_;
    return true;
}

void TextPieces::appendTo(std::vector<std::string_view>& parts,
                          std::span<const InternalEvent> events, std::size_t from) const {
    // From the end, where appends are.
    auto piece = pieces_.end();
    auto first = count_;
    while (first > from)
        first -= (--piece)->count;
    if (piece == pieces_.end()) return;
    // In the middle of the piece, or where its first events are gone.
    const auto* start = events[from].text().json.data();
    if (first < from) {
        --start;
    } else if (from > 0) {
        parts.emplace_back(",");
    }
    parts.emplace_back(start,
                       static_cast<std::size_t>(piece->text.data() + piece->text.size() - start));
    while (++piece != pieces_.end()) {
        parts.emplace_back(",");
        parts.push_back(piece->text);
    }
}

}  // namespace zentara
