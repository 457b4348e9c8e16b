#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <vector>

#include "schemas/check/Rules.h"
#include "schemas/files/SourceMap.h"

namespace zentara::schemas {

/// Collects findings. Keeps the first faults and the first warnings, and counts the others.
class FindingList {
  public:
    static constexpr std::size_t mostOfSeverity = 200;

    explicit FindingList(const SourceMap& map) : map_(map) {}

    void add(RuleName rule, std::string pointer, std::string reason, std::string advice) {
        const auto position = map_.of(pointer);
        add(rule, std::move(pointer), position, std::move(reason), std::move(advice));
    }
    void add(RuleName rule, std::string pointer, Position position, std::string reason,
             std::string advice);

    /// In the order of the text.
    [[nodiscard]] std::vector<Finding> take();

  private:
    const SourceMap& map_;
    std::vector<Finding> findings_;
    std::array<std::size_t, 2> counts_{};  ///< by severity
};

}  // namespace zentara::schemas
