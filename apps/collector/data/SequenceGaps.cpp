#include "collector/data/SequenceGaps.h"

#include <algorithm>
#include <iterator>
#include <limits>

namespace zentara::collector {

namespace {

/// How many numbers lie between two, of which the first is the lower one.
std::uint64_t between(std::int64_t low, std::int64_t high) {
    return static_cast<std::uint64_t>(high) - static_cast<std::uint64_t>(low) - 1;
}

}  // namespace

void SequenceGaps::add(std::string_view context, std::string_view clientUUID,
                       std::int64_t sequence) {
    auto known = contexts_.find(context);
    if (known == contexts_.end()) {
        known = contexts_.emplace(context, Context{std::string(clientUUID), {}}).first;
    }
    auto& runs = known->second.runs;
    if (runs.empty()) {
        runs.emplace(sequence, sequence);
        return;
    }

    const auto next = runs.upper_bound(sequence);
    const auto previous = next == runs.begin() ? runs.end() : std::prev(next);
    if (previous != runs.end() && sequence <= previous->second) return;
    if (previous == runs.end()) {
        missing_ += between(sequence, next->first);
    } else if (next == runs.end()) {
        missing_ += between(previous->second, sequence);
    } else {
        --missing_;
    }

    const bool continues = previous != runs.end() && between(previous->second, sequence) == 0;
    const bool precedes = next != runs.end() && between(sequence, next->first) == 0;
    const auto last = precedes ? next->second : sequence;
    if (precedes) runs.erase(next);
    if (continues) {
        previous->second = last;
    } else {
        runs.emplace(sequence, last);
    }
}

std::uint64_t SequenceGaps::missing() const noexcept {
    constexpr auto most = std::numeric_limits<std::uint64_t>::max();
    return static_cast<std::uint64_t>(std::min(missing_, Wide{most}));
}

std::vector<Gap> SequenceGaps::gaps() const {
    std::vector<Gap> gaps;
    for (const auto& [name, context] : contexts_) {
        for (auto run = context.runs.begin(); run != context.runs.end(); ++run) {
            const auto next = std::next(run);
            if (next == context.runs.end()) break;
            gaps.push_back({name, context.clientUUID, run->second + 1, next->first - 1,
                            between(run->second, next->first)});
        }
    }
    return gaps;
}

}  // namespace zentara::collector
