#include "dispatch/PostPlan.h"

#include <algorithm>
#include <optional>
#include <string>
#include <utility>

#include "model/JSONCodable.h"

namespace zentara {

namespace {

std::optional<std::string> entry(const StringMap& user, const std::string& key) {
    const auto found = user.find(key);
    if (found == user.end()) return std::nullopt;
    return found->second;
}

bool isOfSameUser(const InternalEvent& left, const InternalEvent& right) {
    // Decoding a batch for this took five times as long as the rest of its delivery.
    if (left.isOfSameUserText(right)) return true;
    const auto& one = left.user();
    const auto& other = right.user();
    return entry(one, "token") == entry(other, "token") &&
           entry(one, "type") == entry(other, "type");
}

}  // namespace

PostPlan::PostPlan(std::span<const InternalEvent> events) {
    for (const auto& event : events) {
        const auto post = std::ranges::find_if(
            posts_, [&](const auto& other) { return isOfSameUser(other.front(), event); });
        if (post == posts_.end()) {
            posts_.push_back({event});
        } else {
            post->push_back(event);
        }
    }
}

void PostPlan::removeUserOfNext() {
    const auto failed = std::move(posts_.front());
    posts_.pop_front();
    // The parts of a split post are neighbours.
    while (!posts_.empty() && isOfSameUser(posts_.front().front(), failed.front()))
        posts_.pop_front();
}

void PostPlan::splitNext(std::size_t count) {
    auto& first = posts_.front();
    if (count >= first.size()) return;
    const auto middle = first.begin() + static_cast<std::ptrdiff_t>(count);
    Batch rest(middle, first.end());
    first.erase(middle, first.end());
    posts_.insert(posts_.begin() + 1, std::move(rest));
}

}  // namespace zentara
