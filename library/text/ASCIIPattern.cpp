#include "text/ASCIIPattern.h"

#include <algorithm>
#include <bit>

#include "text/PatternAutomaton.h"
#include "text/PatternCost.h"

namespace zentara {

namespace {

/// Entries of the table of states, two bytes each.
constexpr std::size_t maximumEntries = 1024;

template <typename Visit>
void forEachBit(std::uint64_t bits, const Visit& visit) {
    for (; bits != 0; bits &= bits - 1)
        visit(static_cast<std::size_t>(std::countr_zero(bits)));
}

}  // namespace

std::unique_ptr<const ASCIIPattern> ASCIIPattern::compile(std::string_view pattern) {
    if (pattern.size() > PatternCost::longestPattern || PatternCost(pattern).isTooHigh()) {
        return nullptr;
    }
    const auto automaton = PatternAutomaton::compile(pattern);
    if (!automaton) return nullptr;
    auto result = std::make_unique<ASCIIPattern>();
    auto& classes = result->readable_;
    for (std::size_t c = 0; c < result->classes_.size(); ++c) {
        std::uint64_t readable = 0;
        for (std::size_t position = 0; position < automaton->count; ++position)
            if (automaton->readable[position].contains(static_cast<char>(c)))
                readable |= std::uint64_t{1} << position;
        const auto found = std::find(classes.begin(), classes.end(), readable);
        result->classes_[c] = static_cast<std::uint8_t>(found - classes.begin());
        if (found == classes.end()) classes.push_back(readable);
    }
    const auto* const following = automaton->following.data();
    result->following_.assign(following, following + automaton->count);
    result->last_ = automaton->last;
    result->start_ = {automaton->first, automaton->canBeEmpty};
    result->isAnchoredAtStart_ = automaton->isAnchoredAtStart;
    result->isAnchoredAtEnd_ = automaton->isAnchoredAtEnd;
    result->tabulate();
    return result;
}

ASCIIPattern::State ASCIIPattern::after(State state, std::size_t characterClass) const noexcept {
    if (state.isMatch && !isAnchoredAtEnd_) return matched;
    const auto read = state.next & readable_[characterClass];
    State after{isAnchoredAtStart_ ? 0 : start_.next, (read & last_) != 0};
    // The empty text at the end matches.
    if (start_.isMatch && !isAnchoredAtStart_) after.isMatch = true;
    if (after.isMatch && !isAnchoredAtEnd_) return matched;
    forEachBit(read, [&](std::size_t position) { after.next |= following_[position]; });
    return after;
}

void ASCIIPattern::tabulate() {
    const auto width = readable_.size() + 1;
    std::vector<State> states{failed, matched, start_};
    for (std::size_t row = 0; row < states.size(); ++row) {
        if ((row + 1) * width > maximumEntries) {
            rows_.clear();
            return;
        }
        for (std::size_t each = 0; each < readable_.size(); ++each) {
            const auto next = after(states[row], each);
            const auto found = std::find(states.begin(), states.end(), next);
            rows_.push_back(static_cast<std::uint16_t>(
                static_cast<std::size_t>(found - states.begin()) * width));
            if (found == states.end()) states.push_back(next);
        }
        rows_.push_back(states[row].isMatch ? 1 : 0);
    }
    startRow_ = static_cast<std::uint16_t>(2 * width);
    undecided_ = static_cast<std::uint16_t>(isAnchoredAtEnd_ ? width : 2 * width);
}

bool ASCIIPattern::matches(std::string_view text) const noexcept {
    if (rows_.empty()) {
        auto state = start_;
        for (const char c : text)
            state = after(state, classes_[static_cast<unsigned char>(c)]);
        return state.isMatch;
    }
    std::size_t row = startRow_;
    for (const char c : text) {
        row = rows_[row + classes_[static_cast<unsigned char>(c)]];
        if (row < undecided_) break;
    }
    return rows_[row + readable_.size()] != 0;
}

}  // namespace zentara
