#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <string_view>

namespace zentara::track {

/// The outcomes of a line of input.
enum class Outcome {
    accepted,       ///< validated and queued
    invalid,        ///< its properties do not satisfy the schema
    unknownSchema,  ///< not validated, usually because there is no such schema
    heldBack,       ///< stored, to be validated later
    notQueued,      ///< could not be stored
    notSaved,       ///< queued in memory only, as the disk failed
    unreadable,     ///< the line is not an event
};

constexpr std::size_t outcomeCount = 7;

/// The name in results files.
[[nodiscard]] constexpr std::string_view outcomeName(Outcome outcome) noexcept {
    constexpr std::array<std::string_view, outcomeCount> names{
        "accepted", "invalid", "unknownSchema", "heldBack", "notQueued", "notSaved", "unreadable"};
    return names.at(static_cast<std::size_t>(outcome));
}

/// The outcome of one line, and its reason.
struct Result {
    Outcome outcome = Outcome::accepted;
    std::string message;  ///< empty when accepted
};

/// Counts outcomes.
class Tally {
  public:
    void add(Outcome outcome) { ++counts_.at(static_cast<std::size_t>(outcome)); }

    [[nodiscard]] std::size_t of(Outcome outcome) const {
        return counts_.at(static_cast<std::size_t>(outcome));
    }

    [[nodiscard]] std::size_t total() const noexcept {
        std::size_t sum = 0;
        for (const std::size_t count : counts_)
            sum += count;
        return sum;
    }

  private:
    std::array<std::size_t, outcomeCount> counts_{};
};

}  // namespace zentara::track
