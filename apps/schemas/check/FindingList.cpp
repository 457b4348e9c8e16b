#include "schemas/check/FindingList.h"

#include <algorithm>
#include <tuple>
#include <utility>

namespace zentara::schemas {

void FindingList::add(RuleName rule, std::string pointer, Position position, std::string reason,
                      std::string advice) {
    const auto& known = ruleNamed(rule);
    if (counts_[static_cast<std::size_t>(known.severity)]++ >= mostOfSeverity) return;
    findings_.push_back(
        {&known, std::move(pointer), position, std::move(reason), std::move(advice)});
}

std::vector<Finding> FindingList::take() {
    const auto all = counts_[0] + counts_[1];
    if (all > findings_.size()) {
        const auto others = std::to_string(all - findings_.size());
        findings_.push_back({&ruleNamed(RuleName::moreFindings), "", map_.of(""),
                             "There are " + others + " more findings.", "Mend these first."});
    }
    std::stable_sort(
        findings_.begin(), findings_.end(), [](const Finding& one, const Finding& other) {
            return std::tuple(one.position.line, one.position.column, one.rule->number) <
                   std::tuple(other.position.line, other.position.column, other.rule->number);
        });
    return std::move(findings_);
}

}  // namespace zentara::schemas
