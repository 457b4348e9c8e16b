#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>

#include "text/RegularExpression.h"

namespace zentara::schemas {

/// What the engine makes of a pattern.
struct PatternVerdict {
    bool isValid = true;
    bool isExamined = true;       ///< false beyond the limit of time
    std::string costlyText = {};  ///< that takes much of the work of a match; or empty
    int percent = 0;              ///< of the most work of a match
};

/// Examines the patterns of a document. Each is examined once, within a limit of time for all.
class PatternExaminer {
  public:
    /// The result lives as long as this object.
    [[nodiscard]] const PatternVerdict& of(std::string_view pattern);

    /// Whether the pattern finds something in the name. True beyond the limit.
    [[nodiscard]] bool mayMatch(std::string_view pattern, std::string_view name);

    /// Whether `mayMatch` has answered true since the limit is reached.
    [[nodiscard]] bool hasGuessed() const noexcept { return matching_.exhausted(); }

    /// Whether no time is left.
    [[nodiscard]] bool isOver() const { return std::chrono::steady_clock::now() > end_; }

  private:
    struct Entry {
        explicit Entry(std::string_view pattern) : expression(pattern) {}

        RegularExpression expression;
        std::optional<PatternVerdict> verdict;
    };

    Entry& entryOf(std::string_view pattern) {
        return entries_.try_emplace(std::string(pattern), pattern).first->second;
    }
    void measure(const Entry& entry, PatternVerdict& verdict) const;

    static constexpr std::chrono::milliseconds longest{500};
    static constexpr std::int64_t mostMatching = 100'000'000;

    const std::chrono::steady_clock::time_point end_ = std::chrono::steady_clock::now() + longest;
    WorkAllowance matching_{mostMatching};
    std::unordered_map<std::string, Entry> entries_;
};

/// Why a pattern finds more than it seems to: a sentence. Nothing if every alternative has an
/// anchor at the same ends.
[[nodiscard]] std::optional<std::string> missingAnchors(std::string_view pattern);

}  // namespace zentara::schemas
