#pragma once

#include <string>
#include <vector>

#include "Scenarios.h"

namespace zentara::fleet {

/// The figures of one variant.
struct Run {
    std::string name;
    std::vector<Sample> samples;  ///< one for each second
    Fleet::Books books;
    std::int64_t handedOn = 0;

    [[nodiscard]] static Run of(const Scenario& scenario, const Variant& variant);
};

/// A line of the table, and the line above it.
[[nodiscard]] std::string heading();
[[nodiscard]] std::string row(const Scenario& scenario, const Run& run);

}  // namespace zentara::fleet
