#include "collector/data/SequenceGaps.h"

#include <algorithm>
#include <iterator>
#include <limits>
#include <tuple>

namespace zentara::collector {

namespace {

/// The count of numbers between two, of which the first is the lower.
std::uint64_t between(std::int64_t low, std::int64_t high) {
    return static_cast<std::uint64_t>(high) - static_cast<std::uint64_t>(low) - 1;
}

/// The count of numbers from one to another, both included; not for the whole range.
std::uint64_t numberOf(std::int64_t first, std::int64_t last) {
    return static_cast<std::uint64_t>(last) - static_cast<std::uint64_t>(first) + 1;
}

}  // namespace

void SequenceGaps::add(std::string_view context, std::string_view clientUUID,
                       std::int64_t sequence) {
    auto known = contexts_.find(context);
    if (known == contexts_.end()) {
        begin(context, clientUUID, sequence);
        return;
    }
    auto& runs = known->second.runs;
    Client& client = clients_.find(known->second.clientUUID)->second;

    const auto next = runs.upper_bound(sequence);
    const auto previous = next == runs.begin() ? runs.end() : std::prev(next);
    if (previous != runs.end() && sequence <= previous->second) return;
    if (previous == runs.end()) {
        missing_ += between(sequence, next->first);
        cover(client, sequence, next->first - 1);
    } else if (next == runs.end()) {
        missing_ += between(previous->second, sequence);
        cover(client, previous->second + 1, sequence);
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

void SequenceGaps::begin(std::string_view context, std::string_view clientUUID,
                         std::int64_t sequence) {
    contexts_.emplace(context, Context{std::string(clientUUID), {{sequence, sequence}}});
    const auto [known, isNew] = clients_.try_emplace(std::string(clientUUID), Client{sequence, {}});
    if (isNew) return;
    Client& client = known->second;
    if (sequence > client.highest && between(client.highest, sequence) > 0) {
        missing_ += between(client.highest, sequence);
        client.holes.emplace(client.highest + 1, Hole{sequence - 1, std::string(context)});
    }
    cover(client, sequence, sequence);
}

/// Removes numbers from the holes between contexts, since a context now contains them.
void SequenceGaps::cover(Client& client, std::int64_t from, std::int64_t to) {
    client.highest = std::max(client.highest, to);
    auto hole = client.holes.upper_bound(to);
    while (hole != client.holes.begin()) {
        --hole;
        const auto [first, last] = std::pair(hole->first, hole->second.last);
        if (last < from) return;
        missing_ -= numberOf(std::max(first, from), std::min(last, to));
        if (last > to) client.holes.emplace(to + 1, hole->second);
        if (first < from) {
            hole->second.last = from - 1;
        } else {
            hole = client.holes.erase(hole);
        }
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
    for (const auto& [uuid, client] : clients_) {
        for (const auto& [first, hole] : client.holes)
            gaps.push_back({hole.context, uuid, first, hole.last, numberOf(first, hole.last)});
    }
    std::sort(gaps.begin(), gaps.end(), [](const Gap& one, const Gap& other) {
        return std::tie(one.context, one.from) < std::tie(other.context, other.from);
    });
    return gaps;
}

}  // namespace zentara::collector
