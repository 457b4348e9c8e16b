#pragma once

#include <span>
#include <string>
#include <vector>

#include "schemas/check/Check.h"

namespace zentara::schemas {

/// A schema that was checked.
struct CheckedFile {
    std::string path;
    std::vector<Finding> findings;
};

/// How many findings are faults, and how many are not.
struct FindingCounts {
    std::size_t faults = 0, warnings = 0;
};

[[nodiscard]] FindingCounts countOf(std::span<const CheckedFile> files);

/// "rule", "name", "severity", "pointer", "line", "column", "reason" and "advice".
[[nodiscard]] JSONObject findingAsJSON(const Finding& finding);

// The reports end with a line break.
/// A line for each finding, "path:line:column: fault ZS105 …", and a line with the numbers.
[[nodiscard]] std::string textReport(std::span<const CheckedFile> files);
/// An object with the numbers and the findings, each with its "path".
[[nodiscard]] std::string jsonReport(std::span<const CheckedFile> files);
/// SARIF 2.1.0.
[[nodiscard]] std::string sarifReport(std::span<const CheckedFile> files);

}  // namespace zentara::schemas
